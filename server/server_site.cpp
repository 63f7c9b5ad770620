#include "server/server_site.hpp"

#include <exception>
#include <string>

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
  try {
    log_.Close();
  } catch (const std::exception& error) {
    host_.Trace(std::string("The activity log did not close cleanly: ") + error.what());
  }
  form_.Unload();
}

}  // namespace tarn
