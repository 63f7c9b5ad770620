#include "platform/posix/posix_service_manager.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "base/number_text.hpp"
#include "platform/posix/posix_host.hpp"

namespace tarn {
namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

/// Milliseconds. The variables are inherited, so they may be meant for a parent of this process.
double WatchdogTimeOfProcess() {
  const std::string process = Variable("WATCHDOG_PID");
  if (!process.empty() && process != std::to_string(::getpid())) return 0;
  const auto microseconds = LocaleNumber(Variable("WATCHDOG_USEC"), ".");
  return microseconds && *microseconds > 0 ? *microseconds / 1000 : 0;
}

}  // namespace

PosixServiceManager::PosixServiceManager(std::string address, double watchdogTime)
    : address_(std::move(address)),
      watchdogTime_(watchdogTime),
      socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {}

bool PosixServiceManager::Notify(std::string_view states) {
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  if (address_.empty() || address_.size() >= sizeof to.sun_path) return false;
  address_.copy(to.sun_path, address_.size());
  if (to.sun_path[0] == '@') to.sun_path[0] = 0;
  // An abstract name is as long as the address says, without a zero at its end.
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
  const auto sent = Retry([&] {
    return ::sendto(socket_.Get(), states.data(), states.size(), MSG_NOSIGNAL,
                    reinterpret_cast<const sockaddr*>(&to), length);
  });
  return sent >= 0;
}

std::unique_ptr<ServiceManager> PosixHost::CreateServiceManager() {
  const std::string address = Variable("NOTIFY_SOCKET");
  const bool isLocal = address.starts_with('/') || address.starts_with('@');
  if (!isLocal) return nullptr;
  return std::make_unique<PosixServiceManager>(address, WatchdogTimeOfProcess());
}

}  // namespace tarn
