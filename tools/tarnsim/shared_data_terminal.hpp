// A terminal whose shared-data variables are read and written by datagrams. It takes requests and
// gives replies as bytes; the network is elsewhere.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "tools/tarnsim/fault_injector.hpp"
#include "tools/tarnsim/indicator.hpp"
#include "tools/tarnsim/random.hpp"
#include "tools/tarnsim/terminal.hpp"
#include "tools/tarnsim/variable_table.hpp"

namespace tarn::sim {

/// Chances of each reply, from 0 to 1.
struct ReplyFaults {
  double lost = 0;
  double late = 0;
  double lateBy = 500;  ///< milliseconds
  double doubled = 0;
  double reordered = 0;  ///< held back until another reply has gone out, or kLongestHold
  double foreign = 0;    ///< with a reply of another variable in front of it
  double malformed = 0;  ///< cut short, with a wrong length, or noise
  double joined = 0;     ///< in one datagram with the reply that follows, or kLongestHold
  Schedule silent{};
};

/// The sender of a request, as the socket reports it.
struct Peer {
  std::string host;
  std::int32_t port = 0;
};

class SharedDataTerminal final : public Terminal {
 public:
  static constexpr double kLongestHold = 100;  // milliseconds
  /// At most so many replies wait; any more are lost.
  static constexpr std::size_t kMostWaiting = 256;

  struct Options {
    VariableTable table;
    Units units = Units::Kilogram;
    Graduation graduation;
    int printReads = 2;          ///< reads of the status that show one print
    double printEvery = 0;       ///< milliseconds between automatic prints; 0 for never
    bool answerUnknown = false;  ///< with a reply without data
    ReplyFaults faults;
    std::uint64_t seed = 1;
  };

  SharedDataTerminal(const Options& options, std::unique_ptr<Indicator> indicator);

  void Tick(double now) override;
  void Press(const TerminalCommand& command) override { indicator_->Press(command); }

  /// Takes a datagram that arrived after the latest tick.
  void Receive(std::string_view datagram, const Peer& from);

  /// Raised for a datagram to be sent, also from inside Receive.
  Event<std::string_view, const Peer&> Answer;

 private:
  struct Waiting {
    double due;
    std::string reply;
    Peer to;
    bool heldBack;  ///< goes out behind the next reply
    bool joins;     ///< goes out in front of the next reply, in the same datagram
  };

  std::optional<std::string> AnswerTo(std::string_view request);
  std::string ReadValue(Variable& variable);
  void WriteValue(Variable& variable, std::string_view bytes);
  std::string LiveBytes(LiveValue value);
  void SendThroughFaults(std::string reply, const Peer& to);
  std::string Spoilt(std::string reply);
  void Queue(Waiting waiting);
  void Send(std::string reply, const Peer& to);
  void Raise(std::string_view reply, const Peer& to);

  Options options_;
  Random random_;
  std::unique_ptr<Indicator> indicator_;
  double now_ = 0;
  double nextPrint_;
  int printReadsLeft_ = 0;
  std::vector<Waiting> waiting_;
  Subscription noteSubscription_;
  Subscription printSubscription_;
};

}  // namespace tarn::sim
