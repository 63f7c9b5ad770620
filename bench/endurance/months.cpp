// Months in minutes: a server with 32 scales of all dialects, their simulated terminals, faults and
// clients, on a clock that the program turns. docs/endurance.md says what is checked, and the
// program where it checks it; it ends with 1 at the first thing that does not hold.
//
// Usage: endure_months DAYS SEED
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/endurance/memory_count.hpp"
#include "bench/endurance/plant_scale.hpp"

namespace tarn {
namespace {

constexpr double kHour = 60 * kMinute;
constexpr double kDay = 24 * kHour;
constexpr double kStep = 100;  // milliseconds
/// Twenty minutes before a count of milliseconds in 32 bits begins again.
constexpr double kStart = 4294967296.0 - 20 * kMinute + 0.37;
constexpr std::size_t kMostClients = 64;
constexpr const char* kLog = "plant.log";

/// Somebody who listens, and does something now and then. One that has missed the replacement of
/// its scale holds the former one.
struct Client {
  std::shared_ptr<TarnScale> scale;
  std::vector<Subscription> subscriptions;
  long events = 0;
  long eventsAtLeaving = -1;  ///< the scale has left the table since
};

class Plant {
 public:
  explicit Plant(std::uint64_t seed) : random_(seed, 1) {
    host_.loop.ComeLate(kStart);
    host_.wallTime = [this] {
      const auto now = std::chrono::duration<double, std::milli>(host_.loop.Now() + wallJump_);
      return std::chrono::system_clock::time_point(
          std::chrono::duration_cast<std::chrono::system_clock::duration>(now));
    };
    host_.store.values = {{"settings/logfile", kLog},
                          {"settings/loggingenabled", "True"},
                          {"settings/lastfile", "plant.scl"}};
    server_ = std::make_unique<TarnScaleServer>(host_, StartMode::NoScale);
    std::int16_t number = 0;
    for (const ScaleKind& kind : AllKinds()) {
      scales_.push_back(
          std::make_unique<PlantScale>(host_, *server_, figures_, kind, ++number, seed));
      scales_.back()->Configure();
    }
    server_->SaveScaleSettings();
    Start();
    onTick_ = server_->GetScale(1)->Site().TickTimer()->Tick.Subscribe([this] { ++ticks_; });
    ticksSince_ = kStart;  // the server was made then
  }

  void Run(double days) {
    const double end = kStart + days * kDay;
    const double period = std::min(kDay, days * kDay / 3);
    double measured = kStart;
    double hour = kStart + kHour;
    while (host_.loop.Now() < end) {
      Second();
      if (host_.loop.Now() >= hour) {
        hour += kHour;
        Tidy();
        if (random_.Chance(0.2)) ReplaceScales();
      }
      if (host_.loop.Now() < measured + period) continue;
      measured += period;
      Measure();
    }
    Report();
  }

 private:
  void Require(bool holds, const char* what) const {
    if (holds) return;
    std::printf("FAILED: at %.1f ms: %s\n", host_.loop.Now(), what);
    std::exit(1);
  }

  void Start() {
    for (const auto& scale : scales_) scale->Bind();
    const auto failures = server_->RunEachScale();
    Require(failures.empty(), "a scale did not start");
    for (const auto& scale : scales_) scale->Started();
  }

  void Second() {
    for (double passed = 0; passed < kSecond; passed += kStep) {
      if (random_.Chance(kStep / (30 * kMinute))) HoldUp(random_.Between(50, 3000));
      host_.loop.Advance(kStep);
      for (const auto& scale : scales_) scale->Step();
    }
    for (const auto& scale : scales_) scale->Check();
    host_.traces.clear();
    host_.terminalNetwork.calls.clear();
    if (calm_) return;
    if (random_.Chance(1.0 / 30)) StirClients();
    if (random_.Chance(1.0 / 3600)) JumpWallClock();
  }

  /// The loop comes late, as when a client or the system has kept it.
  void HoldUp(double milliseconds) {
    for (const auto& scale : scales_) scale->HeldUp(milliseconds);
    const auto due = [this](double now) {
      return static_cast<long>(std::floor((now - ticksSince_) / 200 + 1e-6));
    };
    const double now = host_.loop.Now();
    ticksMissed_ += std::max(due(now + milliseconds) - due(now) - 1, 0L);
    host_.loop.ComeLate(milliseconds);
  }

  /// No reading gets older or younger by it, and no scale better or worse.
  void JumpWallClock() {
    const auto conditions = [this] {
      std::vector<Condition> all;
      for (const auto& scale : scales_) all.push_back(scale->Scale()->Condition()->Present());
      return all;
    };
    const auto before = conditions();
    const double jump = random_.Between(-2 * kDay, 2 * kDay);
    wallJump_ += jump;
    const auto after = conditions();
    for (std::size_t i = 0; i < before.size(); ++i) {
      Require(before[i].quality == after[i].quality && before[i].age == after[i].age,
              "the wall clock has changed a reading's quality or age");
      if (!before[i].readAt) continue;
      const std::chrono::duration<double, std::milli> moved = *after[i].readAt - *before[i].readAt;
      Require(std::fabs(moved.count() - jump) < 1,
              "the time of a reading did not follow the clock");
    }
    ++jumps_;
  }

  void StirClients() {
    if (clients_.size() > random_.Below(kMostClients)) {
      const std::size_t which = random_.Below(clients_.size());
      CheckFormer(*clients_[which]);
      clients_.erase(clients_.begin() + static_cast<std::ptrdiff_t>(which));
      return;
    }
    auto client = std::make_unique<Client>();
    client->scale = scales_[random_.Below(scales_.size())]->Scale();
    const auto hear = [heard = client.get()] { ++heard->events; };
    TarnScale& scale = *client->scale;
    for (Event<>* event :
         {&scale.WeightData()->NewWeight, &scale.WeightData()->StatusChange, &scale.NewStatus,
          &scale.UpdateWeight, &scale.PrintData()->NewWeight, &scale.Condition()->Changed}) {
      if (random_.Chance(0.7)) client->subscriptions.push_back(event->Subscribe(hear));
    }
    clients_.push_back(std::move(client));
    ++clientsSeen_;
    if (random_.Chance(0.3)) Command();
  }

  void Command() {
    PlantScale& one = *scales_[random_.Below(scales_.size())];
    TarnScale& scale = *one.Scale();
    one.CompareFrames();
    one.Disturbed();
    // A print that is demanded while another one is on its way deliberately waits for the next
    // event of the line, and may be late for it then.
    const bool prints = scale.Protocol()->ReadingsComeByHand();
    double tare = 2.5;
    try {
      switch (random_.Below(6)) {
        case 0:
          return scale.T();
        case 1:
          return scale.C();
        case 2:
          return scale.Z();
        case 3:
          return scale.SetTare(tare);
        case 4:
          return prints ? scale.printRequest(true) : scale.P();
        default:
          return scale.printRequest(false);
      }
    } catch (const AutomationError&) {
      ++refused_;  // the line is away
    }
  }

  void CheckFormer(const Client& client) const {
    if (client.eventsAtLeaving < 0) return;
    Require(client.events == client.eventsAtLeaving, "a scale that has left raised an event");
    Require(client.scale->Condition()->Present().quality == Quality::Off, "it is not off");
  }

  void ReplaceScales() {
    for (const auto& scale : scales_) scale->EndFault();
    server_->SaveScaleSettings();
    server_->LoadScaleSettings(false);
    host_.loop.RunPending();  // the former ones announce that they are off
    for (const auto& client : clients_) {
      if (client->eventsAtLeaving < 0) client->eventsAtLeaving = client->events;
    }
    Start();
    ++replaced_;
  }

  /// The fakes write everything down and hold everything that was ever made.
  void Tidy() {
    const auto unused = [](const auto& made) { return made.use_count() == 1; };
    std::erase_if(host_.ports, unused);
    std::erase_if(host_.sockets, unused);
    logged_ += host_.files.contents[kLog].size();
    host_.files.contents[kLog] = {};
  }

  /// With everything at rest and no client there the plant holds what it held after the first day,
  /// and no tick has been lost since.
  void Measure() {
    calm_ = true;
    for (const auto& scale : scales_) scale->Calm(true);
    for (const auto& scale : scales_) scale->EndFault();
    for (const auto& client : clients_) CheckFormer(*client);
    clients_.clear();
    clients_.shrink_to_fit();
    ReplaceScales();
    for (int second = 0; second < 180; ++second) Second();
    for (const auto& scale : scales_) scale->CompareFrames();
    Tidy();
    host_.traces = {};
    host_.terminalNetwork.calls = {};
    const HeldMemory held = HeldNow();
    if (!first_.blocks) first_ = held;
    const double days = (host_.loop.Now() - kStart) / kDay;
    std::printf("day %.2f: %lld blocks of %lld bytes held, %ld readings so far\n", days,
                static_cast<long long>(held.blocks), static_cast<long long>(held.bytes),
                figures_.readings);
    std::fflush(stdout);
    Require(held.blocks <= first_.blocks + kMoreBlocks, "blocks of memory were left behind");
    Require(held.bytes <= first_.bytes + kMoreBytes, "memory was left behind");
    const double due = std::floor((host_.loop.Now() - ticksSince_) / 200 + 1e-6);
    Require(static_cast<long>(due) == ticks_ + ticksMissed_, "ticks of 200 ms are missing");
    calm_ = false;
    for (const auto& scale : scales_) scale->Calm(false);
  }

  void Report() const {
    std::printf("\n%-22s %8s  %s\n", "fault", "times", "longest until good again");
    for (const auto& [fault, of] : figures_.faults) {
      std::printf("%-22s %8ld  %.1f s\n", std::string(FaultName(fault)).c_str(), of.count,
                  of.longest / kSecond);
    }
    std::printf("%ld readings, %ld frames compared, %ld update ticks, %ld ticks of 200 ms\n",
                figures_.readings, figures_.framesCompared, figures_.ticks, ticks_);
    std::printf(
        "%ld clients, %ld commands refused, %ld jumps of the clock, %ld replacements, "
        "%zu bytes of log\n",
        clientsSeen_, refused_, jumps_, replaced_, logged_);
  }

  /// The trace's filter remembers up to 256 texts, which say what went wrong so far.
  static constexpr std::int64_t kMoreBlocks = 2 * TraceFilter::kRemembered + 100;
  static constexpr std::int64_t kMoreBytes = 300 * kMoreBlocks;

  FakeHost host_;
  sim::Random random_;
  double wallJump_ = 0;
  PlantFigures figures_;
  std::unique_ptr<TarnScaleServer> server_;
  std::vector<std::unique_ptr<PlantScale>> scales_;
  std::vector<std::unique_ptr<Client>> clients_;
  bool calm_ = false;
  HeldMemory first_;
  double ticksSince_ = 0;
  long ticks_ = 0;
  long ticksMissed_ = 0;
  long clientsSeen_ = 0;
  long refused_ = 0;
  long jumps_ = 0;
  long replaced_ = 0;
  std::size_t logged_ = 0;
  Subscription onTick_;
};

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  const double days = argc > 1 ? std::atof(argv[1]) : 0;
  if (argc != 3 || !(days > 0)) {
    std::fputs("Usage: endure_months DAYS SEED\n", stderr);
    return 2;
  }
  tarn::Plant(static_cast<std::uint64_t>(std::atoll(argv[2]))).Run(days);
  return 0;
}
