#include "automation/unattached_site.hpp"

#include "scale/activity_timer.hpp"
#include "server/class_registry.hpp"

namespace tarn {
namespace {

class UnattachedSite final : public ScaleSite, public std::enable_shared_from_this<UnattachedSite> {
 public:
  explicit UnattachedSite(Host& host) : host_(host) {}

  Host& System() override { return host_; }
  std::shared_ptr<Timer> UpdateTimer(std::int16_t /*scaleNumber*/) override { return nullptr; }
  std::shared_ptr<SocketControl> Winsock(std::int16_t /*scaleNumber*/) override { return nullptr; }
  void ReleaseSocket(std::int16_t /*scaleNumber*/) override {}
  /// Made when first asked for, since most connections and protocols never do.
  std::shared_ptr<Timer> TickTimer() override {
    if (!tick_) {
      tick_ = host_.Loop().CreateTimer();
      tick_->Interval(ActivityTimer::kTick);
      tick_->Enabled(true);
    }
    return tick_;
  }
  void LogPrint(const TarnScale& /*scale*/) override {}
  std::shared_ptr<Persistable> Create(std::string_view className) override {
    return CreateClass(className, shared_from_this());
  }

 private:
  Host& host_;
  std::shared_ptr<Timer> tick_;
};

}  // namespace

std::shared_ptr<ScaleSite> MakeUnattachedSite(Host& host) {
  return std::make_shared<UnattachedSite>(host);
}

}  // namespace tarn
