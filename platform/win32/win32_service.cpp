#include "platform/win32/win32_service.hpp"

#include <array>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/win32/win32_text.hpp"

namespace tarn {

/// Lives as long as the process.
struct Win32Service::Link {
  enum class Start { Asked, Begun, Refused };

  static inline Link* only = nullptr;  ///< the manager's call of Main has no other way to it
  static void WINAPI Main(DWORD count, wchar_t** arguments);
  static DWORD WINAPI Control(DWORD control, DWORD type, void* data, void* self);

  /// Under the mutex.
  void Report(DWORD newState, DWORD error);

  std::mutex mutex;  ///< of all below: the manager's calls come on threads of their own
  std::condition_variable changed;
  Start start = Start::Asked;
  SERVICE_STATUS_HANDLE handle = nullptr;
  DWORD state = SERVICE_START_PENDING;
  bool isToStop = false;
  std::function<void()> stop;
};

namespace {

/// Milliseconds that the manager waits for the next report while a start or a stop is under way.
constexpr DWORD kPendingTime = 60000;

}  // namespace

std::unique_ptr<Win32Service> Win32Service::Connect() {
  // The manager's threads may outlast all but the process.
  auto* const link = Link::only = new Link;
  std::thread([link] {
    wchar_t name[] = L"";  // a process with one service has no need of it
    const std::array<SERVICE_TABLE_ENTRYW, 2> table{{{name, Link::Main}, {nullptr, nullptr}}};
    if (StartServiceCtrlDispatcherW(table.data())) return;
    const std::lock_guard lock(link->mutex);
    link->start = Link::Start::Refused;
    link->changed.notify_all();
  }).detach();
  std::unique_lock lock(link->mutex);
  link->changed.wait(lock, [link] { return link->start != Link::Start::Asked; });
  if (link->start == Link::Start::Refused) return nullptr;
  return std::unique_ptr<Win32Service>(new Win32Service(link));
}

Win32Service::~Win32Service() {
  const std::lock_guard lock(link_->mutex);
  link_->stop = {};
}

void WINAPI Win32Service::Link::Main(DWORD /*count*/, wchar_t** arguments) {
  std::unique_lock lock(only->mutex);
  only->handle = RegisterServiceCtrlHandlerExW(arguments[0], Control, only);
  only->Report(SERVICE_START_PENDING, 0);
  only->start = Start::Begun;
  only->changed.notify_all();
  only->changed.wait(lock, [] { return only->state == SERVICE_STOPPED; });
}

DWORD WINAPI Win32Service::Link::Control(DWORD control, DWORD /*type*/, void* /*data*/,
                                         void* self) {
  if (control == SERVICE_CONTROL_INTERROGATE) return NO_ERROR;
  if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_SHUTDOWN)
    return ERROR_CALL_NOT_IMPLEMENTED;
  auto& link = *static_cast<Link*>(self);
  const std::lock_guard lock(link.mutex);
  link.isToStop = true;
  if (link.state != SERVICE_STOPPED) link.Report(SERVICE_STOP_PENDING, 0);
  if (link.stop) link.stop();
  return NO_ERROR;
}

void Win32Service::Running(std::function<void()> stop) {
  const std::lock_guard lock(link_->mutex);
  link_->stop = std::move(stop);
  if (link_->isToStop)
    link_->stop();
  else
    link_->Report(SERVICE_RUNNING, 0);
}

bool Win32Service::IsToStop() const {
  const std::lock_guard lock(link_->mutex);
  return link_->isToStop;
}

void Win32Service::Stopped(DWORD error) {
  const std::lock_guard lock(link_->mutex);
  link_->stop = {};
  if (link_->state != SERVICE_STOPPED) link_->Report(SERVICE_STOPPED, error);
}

void Win32Service::Link::Report(DWORD newState, DWORD error) {
  state = newState;
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwWin32ExitCode = error;
  const bool isPending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
  if (isPending) status.dwWaitHint = kPendingTime;
  if (state == SERVICE_RUNNING)
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
  SetServiceStatus(handle, &status);
  changed.notify_all();
}

void Win32Service::Complain(const std::wstring& service, const std::string& text) {
  HANDLE log = RegisterEventSourceW(nullptr, service.c_str());
  if (log == nullptr) return;
  const std::wstring wide = ToWide(text);
  const wchar_t* texts[] = {wide.c_str()};
  ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 1, 0, texts, nullptr);
  DeregisterEventSource(log);
}

}  // namespace tarn
