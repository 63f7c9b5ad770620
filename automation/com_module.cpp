#include "automation/com_module.hpp"

#include <objbase.h>

#include <utility>

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

ComModule::ComModule(Host& host, const std::wstring& program, double eventLimit,
                     std::function<void()> unused, std::function<void()> abandoned)
    : host_(host),
      types_(program),
      callsOut_(std::make_shared<OutgoingCalls>(eventLimit)),
      unused_(std::move(unused)),
      clients_(host, *callsOut_, std::move(abandoned)) {}

const DispatchTable& ComModule::MembersOf(const CLSID& coclass,
                                          const std::vector<IID>& interfaces) {
  const std::wstring name = GuidText(coclass);
  const auto known = members_.find(name);
  if (known != members_.end()) return known->second;
  return members_.emplace(name, DispatchTable(types_, interfaces)).first->second;
}

std::shared_ptr<ScaleSite> ComModule::ClientSite() {
  if (!clientSite_) clientSite_ = std::make_shared<UnattachedSite>(host_);
  return clientSite_;
}

IUnknown* ComModule::Find(const void* core) const {
  const auto object = objects_.find(core);
  return object == objects_.end() ? nullptr : object->second;
}

/// A successor may stand there already, when the core object was asked for once more while its
/// former COM object went.
void ComModule::Forget(const void* core, const IUnknown* object) {
  const auto entry = objects_.find(core);
  if (entry != objects_.end() && entry->second == object) objects_.erase(entry);
}

/// The system is told too, so that it starts another process for whoever comes after the last
/// reference has gone.
void ComModule::AddReference() {
  wasUsed_ = true;
  ++references_;
  CoAddRefServerProcess();
}

void ComModule::ReleaseReference() {
  CoReleaseServerProcess();
  if (--references_ == 0) unused_();
}

}  // namespace tarn
