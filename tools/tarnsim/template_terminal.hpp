// A terminal that prints records: at its print key, at regular times, and on demand from the line.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "tools/tarnsim/line_terminal.hpp"
#include "tools/tarnsim/random.hpp"
#include "tools/tarnsim/template_record.hpp"

namespace tarn::sim {

class TemplateTerminal final : public LineTerminal {
 public:
  static constexpr std::string_view kKeepAliveText = "!!I'm Alive!!";
  /// Prints that wait for the line; more are refused.
  static constexpr std::size_t kMostWaiting = 64;

  struct Options {
    TemplateLayout layout;
    std::string demand = "P";  ///< the bytes that demand a record
    double printEvery = 0;     ///< milliseconds between automatic prints; 0 for never
    double fieldDelay = 0;     ///< milliseconds between the fields of a record
    double keepAlive = 0;      ///< milliseconds between keep-alive texts; 0 for never
    double shortRecords = 0;   ///< chance of a record to have fewer fields
    std::uint64_t seed = 1;
  };

  TemplateTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
                   std::unique_ptr<PacedLine> line);

  void Tick(double now) override;

 private:
  void Receive(std::string_view bytes) override;
  double NextStart(double earliest) override;
  std::string NextFrame(double start) override;
  void Print();
  void QueueKeepAlive();

  struct Piece {
    std::string bytes;
    double queued;  ///< when it was printed
    double delay;   ///< milliseconds behind the piece before it
  };

  Options options_;
  Random random_;
  std::deque<Piece> pieces_;
  std::string demandTail_;
  std::int64_t prints_ = 0;
  double nextPrint_;
  double nextKeepAlive_;
  double sentAt_ = 0;
  Subscription printSubscription_;
};

}  // namespace tarn::sim
