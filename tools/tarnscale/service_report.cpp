#include "tools/tarnscale/service_report.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {
namespace {

constexpr int kMostNamed = 5;
constexpr std::int32_t kPause = 1000;  // milliseconds between two states

std::string StatusState(const std::string& status) {
  return "STATUS=" + status + "\n";
}

}  // namespace

std::string ServiceStatus(const TarnScaleServer& server) {
  int enabled = 0;
  int good = 0;
  std::string others;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = server.GetScale(number);
    if (!scale || scale->Disabled()) continue;
    ++enabled;
    const Condition condition = scale->Condition()->Present();
    if (condition.quality == Quality::Good) {
      ++good;
    } else if (enabled - good <= kMostNamed) {
      others += "; " + std::to_string(number);
      if (!scale->AliasName().empty()) others += " (" + scale->AliasName() + ")";
      // Without what changes from second to second.
      others += ": " + std::string(ReasonWords(condition.reason));
    }
  }
  const int unnamed = enabled - good - kMostNamed;
  if (unnamed > 0) others += "; " + std::to_string(unnamed) + " more";
  return Printable(std::to_string(good) + " of " + std::to_string(enabled) + " scales good" +
                   others);
}

ServiceReport::ServiceReport(std::unique_ptr<ServiceManager> manager, MessageLoop& loop,
                             TarnScaleServer& server)
    : manager_(std::move(manager)), loop_(loop), server_(server) {
  if (!manager_) return;
  later_ = loop.CreateTimer();
  onLater_ = later_->Tick.Subscribe([this] { OnLater(); });
  for (std::int16_t number = 1; number <= kScaleCount; ++number) Watch(number);
  onReplaced_ = server.ScaleReplaced.Subscribe([this](std::int16_t number) {
    Watch(number);
    Later();
  });
  if (const double time = manager_->WatchdogTime(); time > 0) {
    constexpr double kLongest = std::numeric_limits<std::int32_t>::max();
    watchdog_ = loop.CreateTimer();
    watchdog_->Interval(static_cast<std::int32_t>(std::clamp(time / 2, 1.0, kLongest)));
    watchdog_->Enabled(true);
    onWatchdog_ = watchdog_->Tick.Subscribe([this] { manager_->Notify("WATCHDOG=1\n"); });
  }
  Ready();
}

ServiceReport::~ServiceReport() {
  if (manager_) manager_->Notify("STOPPING=1\nSTATUS=Stopping\n");
}

void ServiceReport::Watch(std::int16_t number) {
  const auto scale = server_.GetScale(number);
  onCondition_[static_cast<std::size_t>(number - 1)] =
      scale ? scale->Condition()->Changed.Subscribe([this] { Later(); }) : Subscription();
}

void ServiceReport::Reloading() {
  if (!manager_) return;
  const double microseconds = std::floor(loop_.Now() * 1000);
  Send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(static_cast<std::uint64_t>(microseconds)) +
       "\n");
}

void ServiceReport::Ready() {
  if (!manager_) return;
  status_ = ServiceStatus(server_);
  Send("READY=1\n" + StatusState(status_));
}

/// What the manager does not take now it gets a second later, with what has come since: without the
/// state that the program is ready it would end it.
void ServiceReport::Send(const std::string& states) {
  constexpr std::size_t kMostWaiting = 4096;
  waiting_ += states;
  if (manager_->Notify(waiting_) || waiting_.size() > kMostWaiting)
    waiting_.clear();
  else
    Later();
}

void ServiceReport::Later() {
  if (later_->Enabled()) return;
  later_->Interval(kPause);
  later_->Enabled(true);
}

void ServiceReport::OnLater() {
  later_->Enabled(false);
  std::string status = ServiceStatus(server_);
  const bool isNews = status != status_;
  status_ = std::move(status);
  if (isNews || !waiting_.empty()) Send(isNews ? StatusState(status_) : std::string());
}

}  // namespace tarn::tool
