#include "server/server_site.hpp"

#include "platform/attempt.hpp"
#include "scale/tarn_scale.hpp"
#include "server/class_registry.hpp"

namespace tarn {

void ServerSite::LogPrint(const TarnScale& scale) {
  log_.Write(host_.Locale(), scale.AliasName(), *scale.PrintData());
}

std::shared_ptr<Persistable> ServerSite::Create(std::string_view className) {
  return CreateClass(className, shared_from_this());
}

void ServerSite::Close() {
  log_.Enabled(false);
  Attempt(host_, "The activity log did not close cleanly", [this] { log_.Close(); });
  form_.Unload();
}

}  // namespace tarn
