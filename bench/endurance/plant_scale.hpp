// One scale of the simulated plant: the server's scale, its simulated terminal on the other end of
// a fake line, the faults that befall both, and what must hold whatever befalls them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "server/tarn_scale_server.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tools/tarnsim/random.hpp"
#include "tools/tarnsim/shared_data_terminal.hpp"
#include "tools/tarnsim/terminal.hpp"

namespace tarn {

inline constexpr double kSecond = 1000;  // milliseconds
inline constexpr double kMinute = 60 * kSecond;

/// A kind of scale: a dialect over a connection.
struct ScaleKind {
  enum class Terminal { None, Continuous, Fixed, Mira, Template, SharedData, DataSet, Network };

  Terminal terminal;
  const char* pairs;  ///< as for tarnscale, without what depends on the number
  bool isTcp = false;
};

/// As long as 32 scales need: every dialect by the published rules, most by the corrected ones too.
std::vector<ScaleKind> AllKinds();

enum class Fault {
  None,
  Silence,
  Noise,
  Cut,
  Unplugged,
  Restart,
  Handler,
  Stopped,
  Settings,
  kCount
};
std::string_view FaultName(Fault fault);

struct PlantFigures {
  struct OfFault {
    long count = 0;
    double longest = 0;  ///< milliseconds from its end until the scale was good again
  };
  std::map<Fault, OfFault> faults;
  long readings = 0;
  long framesCompared = 0;
  long ticks = 0;
};

class PlantScale {
 public:
  PlantScale(FakeHost& host, TarnScaleServer& server, PlantFigures& figures, const ScaleKind& kind,
             std::int16_t number, std::uint64_t seed);

  /// Gives the scale that the server has now its settings.
  void Configure();
  /// Takes the scale that the server has now; what is counted begins anew.
  void Bind();
  /// The server has started the scale.
  void Started();
  /// The terminal does what is due. Faults begin and end.
  void Step();
  /// What must hold now. Called once a second.
  void Check();
  /// The loop is about to be held up for so long.
  void HeldUp(double milliseconds);
  void EndFault();
  void Calm(bool calm) { calm_ = calm; }  ///< no fault begins meanwhile
  /// The plant has done something that may cost readings.
  void Disturbed();
  /// Of what was sent and taken since the last fault. Before what may cost readings.
  void CompareFrames();

  const std::shared_ptr<TarnScale>& Scale() const { return scale_; }

 private:
  using Terminal = ScaleKind::Terminal;

  class Link;

  bool Is(Terminal terminal) const { return kind_.terminal == terminal; }
  double Now() const { return host_.loop.Now(); }
  void SwitchOn();
  void Run();
  void FindLine();
  void Exchange();
  void AnswerRequests();
  void Deliver(std::string_view bytes);
  std::string Spoilt(std::string_view bytes);
  bool IsOpen() const;
  void BeginFault();
  void Plug(bool in);
  void Unplug(bool gone);
  void ChangeSettings();
  void CheckQuality(const Condition& present);
  void CheckCounters();
  void CheckTicks();
  void Tick();
  void Require(bool holds, const char* what) const;

  FakeHost& host_;
  TarnScaleServer& server_;
  PlantFigures& figures_;
  ScaleKind kind_;
  std::int16_t number_;
  sim::Random random_;

  std::shared_ptr<TarnScale> scale_;
  std::shared_ptr<FakeSerialPort> port_;
  std::shared_ptr<FakeSocket> socket_;
  std::unique_ptr<sim::Terminal> terminal_;
  sim::SharedDataTerminal* variables_ = nullptr;  ///< terminal_, where it is one
  Link* link_ = nullptr;                          ///< of terminal_, where it has one
  double switchedOn_ = 0;
  bool plugged_ = true;  ///< into the terminals' own network

  Fault fault_ = Fault::None;
  double faultEnds_ = 0;
  double nextFault_ = 0;
  bool calm_ = false;
  Fault lastFault_ = Fault::None;
  double faultEnded_ = -1;  ///< below 0: the scale has been good since
  double lastEnd_ = 0;

  double heardAt_ = -1;  ///< the last byte that the terminal got through
  std::uint64_t delivered_ = 0;
  std::uint64_t sent_ = 0;
  long framesSent_ = 0;

  double windowBegan_ = -1;  ///< since when nothing has disturbed the line
  long windowSent_ = 0;
  LineCounters windowCounters_;

  double runsSince_ = 0;  ///< the update timer
  std::int32_t interval_ = 0;
  long ticks_ = 0;
  long ticksMissed_ = 0;
  double lateUntil_ = -1;

  Quality announced_ = Quality::Off;
  long announcements_ = 0;
  long whenUnknown_ = -1;  ///< as many had been made when a quality was seen that was not announced
  std::vector<Subscription> subscriptions_;
  std::vector<Subscription> terminalSubscriptions_;
};

}  // namespace tarn
