#include "bench/endurance/plant_scale.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "connections/serial_connection.hpp"
#include "platform/socket_error.hpp"
#include "platform/terminal_line.hpp"
#include "shareddata/terminal_data.hpp"
#include "tests/support/fake_terminal.hpp"
#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnsim/continuous_terminal.hpp"
#include "tools/tarnsim/fixed_terminal.hpp"
#include "tools/tarnsim/mira_terminal.hpp"
#include "tools/tarnsim/template_terminal.hpp"

namespace tarn {
namespace {

constexpr double kNextFault = 20 * kMinute;  // on average
constexpr double kShortestFault = 300;       // milliseconds; most are short
constexpr double kLongestFault = 10 * kMinute;
/// What is left of a fault in the buffers is gone by then.
constexpr double kAfterFault = 10 * kSecond;
/// Until a scale whose terminal is heard again is good, a terminal that prints has to print. Of one
/// that is polled the watchdog has to run out twice until it is asked again, and twice more where
/// the answer comes behind what is left of a disturbed one.
constexpr double kNextPrint = 6 * kSecond;
constexpr int kWatchdogs = 5;
/// The longest pause between two attempts to connect, and what precedes it.
constexpr double kReconnection = 32 * kSecond;
constexpr std::size_t kMostRequests = 1000;  // in one turn: a round and the next one's beginning

std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words(1);
  for (const char c : text) {
    if (c == ' ')
      words.emplace_back();
    else
      words.back() += c;
  }
  return words;
}

std::uint64_t Rejected(const LineCounters& c) {
  return c.rejectedLength + c.rejectedParse + c.rejectedOverflow + c.rejectedTimeout;
}

}  // namespace

std::vector<ScaleKind> AllKinds() {
  using enum ScaleKind::Terminal;
  const char* const diagnostics = "connection=ethernet protocol=variables type=diagnostics rate=1";
  return {
      {Continuous, "connection=serial protocol=continuous type=standard"},
      {Continuous, "connection=serial protocol=continuous type=standard-setpoint"},
      {Continuous, "connection=serial protocol=continuous type=standard-count"},
      {Continuous, "connection=serial protocol=continuous type=short"},
      {Continuous, "connection=serial protocol=continuous type=short-setpoint corrected=yes"},
      {Mira, "connection=serial protocol=mira type=sir rate=5"},
      {Mira, "connection=serial protocol=mira type=mode-commands rate=2"},
      {Template, "connection=serial protocol=template fields=3 terminator=\\r\\n"},
      {Fixed, "connection=serial protocol=generic type=cardinal"},
      {Fixed, "connection=serial protocol=generic type=fairbanks"},
      {Fixed, "connection=serial protocol=generic type=gse550"},
      {Fixed, "connection=serial protocol=generic type=ricelake corrected=yes"},
      {Fixed, "connection=serial protocol=generic type=wi120 rate=5"},
      {Template, "connection=ethernet protocol=tcp-template fields=3 terminator=\\r\\n", true},
      {SharedData, "connection=ethernet protocol=shared-data rate=5"},
      {Network, "connection=arcnet cluster=a node=% protocol=shared-data corrected=yes rate=2"},
      {DataSet,
       "connection=ethernet protocol=variables type=cells rate=2 counts=cnt errors=err "
       "overloads=ovl scantable=scn"},
      {DataSet, "connection=ethernet protocol=variables type=prediction rate=1"},
      {DataSet, diagnostics},
      {DataSet,
       "connection=ethernet protocol=variables type=basic rate=5 "
       "variables=a:bas01:float:4:poll,b:bas02:string:40:poll:write"},
      {None, "connection=none protocol=none"},
      {Continuous, "connection=serial protocol=continuous type=standard corrected=yes"},
      {Continuous, "connection=serial protocol=continuous type=short corrected=yes"},
      {Mira, "connection=serial protocol=mira type=sir rate=2 corrected=yes"},
      {Mira, "connection=serial protocol=mira type=mode-commands rate=5 corrected=yes"},
      {Template, "connection=serial protocol=template fields=3 terminator=\\r\\n corrected=yes"},
      {Fixed, "connection=serial protocol=generic type=cardinal corrected=yes"},
      {Fixed, "connection=serial protocol=generic type=gse550 corrected=yes"},
      {Fixed, "connection=serial protocol=generic type=wi120 rate=2 corrected=yes"},
      {Template,
       "connection=ethernet protocol=tcp-template fields=3 terminator=\\r\\n corrected=yes", true},
      {SharedData, "connection=ethernet protocol=shared-data rate=2 corrected=yes"},
      {DataSet, "connection=ethernet protocol=variables type=diagnostics rate=0 timeout=3000"},
  };
}

std::string_view FaultName(Fault fault) {
  static constexpr std::array<std::string_view, 9> kNames = {
      "held up or commanded", "silent",  "noise",   "cut frames", "unplugged", "terminal restarted",
      "handlers that throw",  "stopped", "settings"};
  return kNames[static_cast<std::size_t>(fault)];
}

/// The terminal's end of the line.
class PlantScale::Link final : public TerminalLine {
 public:
  explicit Link(PlantScale& scale) : scale_(scale) {}
  void Attach() override {}
  void Detach() override {}
  bool IsAttached() const override { return true; }
  std::size_t Write(std::string_view bytes) override {
    scale_.Deliver(bytes);
    return bytes.size();
  }

 private:
  PlantScale& scale_;
};

PlantScale::PlantScale(FakeHost& host, TarnScaleServer& server, PlantFigures& figures,
                       const ScaleKind& kind, std::int16_t number, std::uint64_t seed)
    : host_(host),
      server_(server),
      figures_(figures),
      kind_(kind),
      number_(number),
      random_(seed, 100U + static_cast<std::uint64_t>(number)) {
  nextFault_ = Now() + random_.Between(kMinute, kNextFault);
  SwitchOn();
}

void PlantScale::Require(bool holds, const char* what) const {
  if (holds) return;
  const Condition present = scale_->Condition()->Present();
  std::printf("FAILED: scale %d (%s) at %.1f ms: %s\n  %s %s, age %.0f, fault %s, the last %s\n",
              number_, kind_.pairs, Now(), what, std::string(QualityName(present.quality)).c_str(),
              present.words.c_str(), present.age.value_or(-1),
              std::string(FaultName(fault_)).c_str(), std::string(FaultName(lastFault_)).c_str());
  const LineCounters now = scale_->Condition()->Counters(false);
  std::printf("  delivered %llu, sent %llu, frames sent %ld; since the window began:\n ",
              static_cast<unsigned long long>(delivered_), static_cast<unsigned long long>(sent_),
              framesSent_ - windowSent_);
  for (const LineCounterRow& row : kLineCounters) {
    std::printf(" %s %llu", std::string(row.name).c_str(),
                static_cast<unsigned long long>(now.*row.member - windowCounters_.*row.member));
  }
  std::printf("\n");
  std::fflush(stdout);
  std::_Exit(1);  // a throw would end in the loop's guard
}

// --- The server's side -----------------------------------------------------------------------

void PlantScale::Configure() {
  std::string pairs = kind_.pairs;
  const std::string number = std::to_string(number_);
  if (pairs.find("=serial") != std::string::npos) {
    pairs += " bidirectional=yes reconnect=yes port=" + number;
  } else if (pairs.find("=ethernet") != std::string::npos) {
    pairs += " bidirectional=yes reconnect=yes address=127.0.0." + number;
  }
  if (const auto place = pairs.find('%'); place != std::string::npos) {
    pairs.replace(place, 1, number);
  }
  const auto scale = server_.GetScale(number_);
  tool::ApplyPairs(*scale, scale->Site(), Words(pairs + " enabled=yes alias=Scale" + number));
}

void PlantScale::Bind() {
  scale_ = server_.GetScale(number_);
  subscriptions_.clear();
  delivered_ = sent_ = 0;
  heardAt_ = -1;
  FindLine();
  const auto on = [this](Event<>& event) {
    subscriptions_.push_back(event.Subscribe([this] {
      ++figures_.readings;
      if (fault_ == Fault::Handler && random_.Chance(0.2)) throw std::runtime_error("a client's");
    }));
  };
  on(scale_->WeightData()->NewWeight);
  on(scale_->TarnRecordTemplateData()->NewDataReady);
  if (const auto data = std::dynamic_pointer_cast<TerminalData>(scale_->SummitData())) {
    on(data->NewDataReady);
  }
  subscriptions_.push_back(scale_->UpdateWeight.Subscribe([this] { Tick(); }));
  const auto announce = [this] {
    announced_ = scale_->Condition()->Present().quality;
    ++announcements_;
  };
  announce();
  subscriptions_.push_back(scale_->Condition()->Changed.Subscribe(announce));
}

/// A connection that was replaced has brought another port.
void PlantScale::FindLine() {
  port_.reset();
  socket_.reset();
  if (const auto serial = std::dynamic_pointer_cast<SerialConnection>(scale_->Connection())) {
    port_ = std::dynamic_pointer_cast<FakeSerialPort>(serial->SaxPort());
    port_->written.clear();
  } else if (scale_->Connection()->Ctype() == ConnectionType::EtherNet) {
    socket_ = std::dynamic_pointer_cast<FakeSocket>(scale_->Site().Winsock(number_));
    socket_->sender.ip = 0x7F000000U + static_cast<std::uint32_t>(number_);
    socket_->sent.clear();
  }
}

void PlantScale::Run() {
  if (!Is(Terminal::None)) scale_->RunScale();
  Started();
}

void PlantScale::Started() {
  runsSince_ = Now();
  interval_ = Is(Terminal::None) ? 0 : scale_->UpdateTimer()->Interval();
  ticks_ = ticksMissed_ = 0;
  Disturbed();
}

// --- The terminal's side ---------------------------------------------------------------------

void PlantScale::SwitchOn() {
  using namespace sim;
  switchedOn_ = Now();
  link_ = nullptr;
  variables_ = nullptr;
  terminalSubscriptions_.clear();
  if (Is(Terminal::None) || Is(Terminal::DataSet) || Is(Terminal::Network)) return Plug(true);
  const Graduation graduation = MakeGraduation(100, 0.01, {});
  auto indicator = std::make_unique<Indicator>(
      Indicator::Options{graduation},
      ParseLoadScript("load 0; wait 2s..4s; load 10%..90%; wait 3s..6s; repeat"),
      LoadModel::Options{.seed = random_.Below(1000)});
  auto link = std::make_unique<Link>(*this);
  link_ = link.get();
  auto line = std::make_unique<PacedLine>(std::move(link),
                                          ParseSerialSettings("9600,e,7,2").CharacterTime(),
                                          Pace::Pieces, FaultInjector({}, 7, 1));
  const std::string_view pairs = kind_.pairs;
  const auto has = [pairs](std::string_view word) { return pairs.find(word) != pairs.npos; };
  if (Is(Terminal::Continuous)) {
    ContinuousTerminal::Options options{.layout = {.graduation = graduation}};
    options.layout.standard = has("type=standard");
    options.framePeriod = has("setpoint") ? 100 : 200;
    terminal_ =
        std::make_unique<ContinuousTerminal>(options, std::move(indicator), std::move(line));
  } else if (Is(Terminal::Fixed)) {
    FixedTerminal::Options options{.frame = {.graduation = graduation}, .framePeriod = 200};
    for (const std::string& word : Words(pairs)) {
      if (word.starts_with("type=")) options.frame.layout = FixedLayoutOf(word.substr(5));
    }
    terminal_ = std::make_unique<FixedTerminal>(options, std::move(indicator), std::move(line));
  } else if (Is(Terminal::Mira)) {
    terminal_ = std::make_unique<MiraTerminal>(MiraTerminal::Options{.graduation = graduation},
                                               std::move(indicator), std::move(line));
  } else if (Is(Terminal::Template)) {
    TemplateTerminal::Options options;
    options.layout.fields = ParseRecordFields("number,net,units");
    options.layout.graduation = graduation;
    options.demand = kind_.isTcp ? "\b" : "P";
    options.printEvery = 5 * kSecond;
    options.keepAlive = kind_.isTcp ? 3.3 * kSecond : 0;
    terminal_ = std::make_unique<TemplateTerminal>(options, std::move(indicator), std::move(line));
  } else {
    SharedDataTerminal::Options options;
    AddVariables(options.table, ScaleVariables('a'));
    options.graduation = graduation;
    link_ = nullptr;
    auto made = std::make_unique<SharedDataTerminal>(options, std::move(indicator));
    variables_ = made.get();
    terminalSubscriptions_.push_back(
        made->Answer.Subscribe([this](std::string_view reply, const Peer&) { Deliver(reply); }));
    terminal_ = std::move(made);
  }
  terminalSubscriptions_.push_back(terminal_->FrameSent.Subscribe([this](std::string_view frame) {
    if (frame != TemplateTerminal::kKeepAliveText) ++framesSent_;
  }));
}

bool PlantScale::IsOpen() const {
  if (port_) return port_->PortOpen();
  if (!socket_) return false;
  const SocketState state = socket_->State();
  return state == SocketState::Open || state == SocketState::Connected;
}

/// What gets through to the server counts; the server counts the same.
void PlantScale::Deliver(std::string_view bytes) {
  if (fault_ == Fault::Silence || fault_ == Fault::Unplugged || !IsOpen()) return;
  const std::string arriving = Spoilt(bytes);
  if (arriving.empty()) return;
  delivered_ += arriving.size();
  heardAt_ = Now();
  host_.loop.Guard([&] { port_ ? port_->Deliver(arriving) : socket_->Deliver(arriving); });
}

std::string PlantScale::Spoilt(std::string_view bytes) {
  std::string arriving(bytes);
  if (fault_ == Fault::Cut) arriving.resize(random_.Below(arriving.size() + 1));
  if (fault_ != Fault::Noise) return arriving;
  for (char& c : arriving) {
    if (random_.Chance(0.05)) c = static_cast<char>(random_.Below(256));
  }
  const std::size_t more = random_.Below(30);
  for (std::size_t i = 0; i < more; ++i) arriving += static_cast<char>(random_.Below(256));
  return arriving;
}

/// What the server has sent reaches the terminal.
void PlantScale::Exchange() {
  const bool listens = link_ != nullptr && fault_ != Fault::Unplugged;
  if (port_) {
    port_->calls.clear();
    const std::string bytes = std::exchange(port_->written, {});
    sent_ += bytes.size();
    if (listens && !bytes.empty()) link_->Received.Raise(bytes);
  } else if (socket_ && kind_.isTcp) {
    if (fault_ != Fault::Unplugged)
      socket_->Accept();
    else if (socket_->State() == SocketState::Connecting)
      socket_->Fail(SocketError::kRefused, "The connection was refused");
    for (const std::string& bytes : std::exchange(socket_->sent, {})) {
      sent_ += bytes.size();
      if (listens) link_->Received.Raise(bytes);
    }
  } else if (socket_) {
    AnswerRequests();
  } else if (Is(Terminal::Network) && plugged_) {
    heardAt_ = Now();
  }
  if (!socket_) return;
  socket_->calls.clear();
  socket_->reached.clear();
}

/// An answer sets off the next request.
void PlantScale::AnswerRequests() {
  for (std::size_t count = 0; !socket_->sent.empty() && count < kMostRequests; ++count) {
    const std::string bytes = socket_->sent.front();
    socket_->sent.erase(socket_->sent.begin());
    sent_ += bytes.size();
    if (fault_ == Fault::Restart) continue;
    if (variables_ != nullptr) {
      variables_->Receive(bytes, {"127.0.0.1", 1700});
    } else {
      const Request request(bytes);
      ++framesSent_;
      Deliver(ReplyOf(request.name, request.header.sequenceNumber,
                      request.IsRead() ? std::string(320, '0') : std::string()));
    }
  }
}

void PlantScale::Step() {
  Exchange();
  if (terminal_) terminal_->Tick(Now() - switchedOn_);
  if (fault_ != Fault::None && Now() >= faultEnds_) EndFault();
  if (fault_ == Fault::None && !calm_ && Now() >= nextFault_) BeginFault();
}

// --- Faults ----------------------------------------------------------------------------------

void PlantScale::BeginFault() {
  if (Is(Terminal::None)) return;
  CompareFrames();
  fault_ = Fault{1 + static_cast<int>(random_.Below(static_cast<std::size_t>(Fault::kCount) - 1))};
  faultEnds_ = Now() + kShortestFault * std::pow(kLongestFault / kShortestFault, random_.Unit());
  ++figures_.faults[fault_].count;
  if (fault_ == Fault::Unplugged) Unplug(true);
  if (fault_ == Fault::Restart) terminal_.reset();
  if (fault_ == Fault::Restart) link_ = nullptr;
  if (fault_ == Fault::Stopped) scale_->StopScale();
  if (fault_ == Fault::Stopped) interval_ = 0;
  if (fault_ == Fault::Settings) ChangeSettings();
  const bool onWire =
      fault_ != Fault::Settings && fault_ != Fault::Stopped && fault_ != Fault::Handler;
  if (Is(Terminal::Network) && onWire) Plug(false);
}

void PlantScale::EndFault() {
  if (fault_ == Fault::None) return;
  const Fault ended = std::exchange(fault_, Fault::None);
  if (ended == Fault::Unplugged) Unplug(false);
  if (ended == Fault::Restart) SwitchOn();
  if (ended == Fault::Stopped) Run();
  if (Is(Terminal::Network)) Plug(true);
  nextFault_ = Now() - kNextFault * std::log(1 - random_.Unit());
  Disturbed();
  lastFault_ = ended;
}

void PlantScale::Disturbed() {
  if (fault_ != Fault::None) return;
  if (faultEnded_ < 0) lastFault_ = Fault::None;  // it recovers from this, not from the last fault
  faultEnded_ = lastEnd_ = Now();
}

/// On the terminals' own network there is no line, but variables that are there or not.
void PlantScale::Plug(bool in) {
  if (!Is(Terminal::Network)) return;
  plugged_ = in;
  auto& variables = host_.terminalNetwork.variables;
  const std::string node = "/a" + std::to_string(number_) + "/";
  const std::pair<const char*, const char*> values[] = {
      {"_safl", "\x20\x02"}, {"wt101", "12.5"}, {"wt102", "10.0"}, {"ws102", "2.5"},
      {"wt103", "kg"},       {"t_690", ""},     {"t_691", ""},     {"t_692", ""},
      {"t_693", ""},         {"bas12", ""}};
  for (const auto& [name, value] : values) {
    if (in)
      variables[node + name] = value;
    else
      variables.erase(node + name);
  }
}

void PlantScale::Unplug(bool gone) {
  const AutomationError missing(ErrorNumber::InvalidPort, "There is no such port");
  const AutomationError noNetwork(ErrorNumber{SocketError::kNetworkUnreachable}, "No network");
  if (port_) {
    port_->failOpen = gone ? std::optional(missing) : std::nullopt;
    if (gone) port_->FakeLines::Unplug();
  } else if (socket_ && kind_.isTcp) {
    if (gone) socket_->HangUp();
  } else if (socket_) {
    socket_->failSend = gone ? std::optional(noNetwork) : std::nullopt;
  }
}

/// Whatever was changed, the scale runs again afterwards.
void PlantScale::ChangeSettings() {
  faultEnds_ = Now();
  Exchange();  // the line may be another one afterwards
  const auto apply = [this](const std::string& pair) {
    tool::ApplyPair(*scale_, scale_->Site(), pair);
  };
  static const std::array<const char*, 3> kRates = {"rate=1", "rate=2", "rate=5"};
  switch (random_.Below(6)) {
    case 0:
      return apply("alias=Renamed " + std::to_string(random_.Below(1000)));
    case 1:
      apply(kRates[random_.Below(kRates.size())]);
      break;
    case 2:
      // By the published rules some of these have no weight.
      if (std::string_view(kind_.pairs).find("corrected=yes") == std::string_view::npos)
        apply(scale_->CorrectReadings() ? "corrected=no" : "corrected=yes");
      break;
    case 3:
      if (!port_) return;
      return apply(random_.Chance(0.5) ? "baud=19200" : "baud=9600");  // opens again by itself
    case 4:
      apply("disabled=yes");
      break;
    default:
      apply(random_.Chance(0.5) ? "protocol=none" : "connection=none");
      Configure();
      FindLine();
      break;
  }
  apply("enabled=yes");
  Run();
}

// --- What must hold --------------------------------------------------------------------------

void PlantScale::Check() {
  if (Is(Terminal::None)) return;
  CheckQuality(scale_->Condition()->Present());
  CheckCounters();
  CheckTicks();
}

void PlantScale::CheckQuality(const Condition& present) {
  const bool good = present.quality == Quality::Good;
  const bool byHand = scale_->Protocol()->ReadingsComeByHand();
  const double limit = scale_->ActivityTimeoutTime() > 0 ? scale_->ActivityTimeoutTime() : 3500;
  if (present.age) Require(Now() - *present.age <= heardAt_ + 0.001, "younger than its bytes");
  Require(!good || byHand || (present.age && *present.age <= limit), "good, and too old");
  Require(!good || byHand || Now() - heardAt_ <= limit, "good, and nothing has been heard");
  Require(!good || !byHand || fault_ != Fault::Unplugged, "good without a line");
  if (fault_ == Fault::Stopped) Require(present.quality == Quality::Off, "stopped, and not off");

  // Two checks are five ticks apart.
  const bool known = present.quality == announced_;
  Require(known || announcements_ != whenUnknown_, "a change was not announced");
  whenUnknown_ = known ? -1 : announcements_;

  if (fault_ != Fault::None) return;
  if (faultEnded_ < 0) return Require(good, "not good, without a fault");
  const double since = Now() - faultEnded_;
  // The reading of before the fault may be good for a while.
  if (good && present.age && Now() - *present.age > faultEnded_) {
    auto& figures = figures_.faults[lastFault_];
    figures.longest = std::max(figures.longest, since);
    faultEnded_ = -1;
    windowBegan_ = -1;
  } else {
    const double bound =
        kNextPrint + kWatchdogs * limit + (lastFault_ == Fault::Unplugged ? kReconnection : 0);
    Require(since <= bound, "not good again in time");
  }
}

void PlantScale::CheckCounters() {
  const LineCounters now = scale_->Condition()->Counters(false);
  std::uint64_t waiting = port_ ? port_->written.size() : 0;
  if (socket_) {
    for (const std::string& bytes : socket_->sent) waiting += bytes.size();
  }
  Require(now.bytesIn == delivered_, "another number of bytes came in than were delivered");
  Require(now.bytesOut == sent_ + waiting, "another number of bytes went out than arrived");

  // What is left of the last fault may still be rejected.
  if (fault_ != Fault::None || faultEnded_ >= 0 || Now() - lastEnd_ < kAfterFault) return;
  if (windowBegan_ >= 0) return;
  windowBegan_ = Now();
  windowSent_ = framesSent_;
  windowCounters_ = now;
}

/// Where nothing has disturbed the line, each frame that was sent was taken, and none was rejected.
/// One may have been on its way at the beginning, and one may be so now.
void PlantScale::CompareFrames() {
  const bool calm = fault_ == Fault::None && faultEnded_ < 0 && windowBegan_ >= 0;
  if (!calm || Is(Terminal::Network)) return;
  const LineCounters now = scale_->Condition()->Counters(false);
  const long sent = framesSent_ - windowSent_;
  const long taken = static_cast<long>(now.frames - windowCounters_.frames);
  Require(Rejected(now) == Rejected(windowCounters_), "a frame was rejected without a fault");
  Require(std::abs(sent - taken) <= 2, "frames were lost, or counted that were not sent");
  figures_.framesCompared += sent;
  windowBegan_ = -1;
}

/// Every tick is where the first one was, a whole number of intervals later.
void PlantScale::Tick() {
  ++ticks_;
  ++figures_.ticks;
  if (interval_ <= 0 || Now() <= lateUntil_) return;
  const double phase = std::fmod(Now() - runsSince_, interval_);
  Require(std::min(phase, interval_ - phase) < 0.01, "the update timer has drifted");
}

void PlantScale::CheckTicks() {
  if (interval_ <= 0) return;
  const double due = std::floor((Now() - runsSince_) / interval_ + 1e-6);
  Require(static_cast<long>(due) == ticks_ + ticksMissed_, "ticks of the update timer are missing");
}

void PlantScale::HeldUp(double milliseconds) {
  CompareFrames();
  lateUntil_ = Now() + milliseconds;
  if (interval_ > 0) {
    const auto due = [this](double now) {
      return static_cast<long>(std::floor((now - runsSince_) / interval_ + 1e-6));
    };
    ticksMissed_ += std::max(due(lateUntil_) - due(Now()) - 1, 0L);
  }
  Disturbed();
}

}  // namespace tarn
