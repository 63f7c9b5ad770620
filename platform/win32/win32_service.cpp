#include "platform/win32/win32_service.hpp"

#include <array>
#include <utility>

#include "platform/win32/win32_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

/// Milliseconds that the manager waits for the next report while a start or a stop is under way.
constexpr DWORD kPendingTime = 60000;
/// Milliseconds for the end of a service that is removed, and between two looks.
constexpr DWORD kStopTime = 60000;
constexpr DWORD kLookTime = 100;

/// ServiceMain has no other way to its object.
Win32Service* runningService = nullptr;

[[noreturn]] void ThrowServiceError(const std::string& doing, DWORD code = GetLastError()) {
  ThrowSystemError(
      code == ERROR_ACCESS_DENIED ? ErrorNumber::PermissionDenied : ErrorNumber::DeviceInputOutput,
      doing, code);
}

class ServiceHandle {
 public:
  explicit ServiceHandle(SC_HANDLE handle) : handle_(handle) {}
  ServiceHandle(const ServiceHandle&) = delete;
  ServiceHandle& operator=(const ServiceHandle&) = delete;
  ~ServiceHandle() {
    if (handle_ != nullptr) CloseServiceHandle(handle_);
  }
  SC_HANDLE Get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  SC_HANDLE handle_;
};

ServiceHandle Manager(DWORD rights) {
  SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, rights);
  if (manager == nullptr) ThrowServiceError("The service control manager");
  return ServiceHandle(manager);
}

void Configure(SC_HANDLE service, DWORD what, void* value, const char* doing) {
  // Windows knows them all; Wine 8 knows some.
  if (ChangeServiceConfig2W(service, what, value) || GetLastError() == ERROR_INVALID_LEVEL) return;
  ThrowServiceError(doing);
}

void ConfigureFurther(SC_HANDLE service, const Win32ServiceEntry& entry) {
  SERVICE_DESCRIPTIONW description{const_cast<wchar_t*>(entry.description.c_str())};
  Configure(service, SERVICE_CONFIG_DESCRIPTION, &description, "Describing the service");

  std::array<SC_ACTION, 3> actions{
      {{SC_ACTION_RESTART, 5000}, {SC_ACTION_RESTART, 30000}, {SC_ACTION_RESTART, 60000}}};
  constexpr DWORD kForgotten = 24 * 3600;  // seconds without a failure
  SERVICE_FAILURE_ACTIONSW recovery{kForgotten, nullptr, nullptr, actions.size(), actions.data()};
  Configure(service, SERVICE_CONFIG_FAILURE_ACTIONS, &recovery, "The recovery of the service");
  SERVICE_FAILURE_ACTIONS_FLAG alsoErrors{TRUE};
  Configure(service, SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &alsoErrors,
            "The recovery of the service");

  wchar_t privileges[] = L"SeChangeNotifyPrivilege\0";
  SERVICE_REQUIRED_PRIVILEGES_INFOW required{privileges};
  Configure(service, SERVICE_CONFIG_REQUIRED_PRIVILEGES_INFO, &required,
            "The privileges of the service");
}

DWORD StateOf(SC_HANDLE service) {
  SERVICE_STATUS status{};
  return QueryServiceStatus(service, &status) ? status.dwCurrentState : SERVICE_STOPPED;
}

void StopAndWait(SC_HANDLE service) {
  SERVICE_STATUS status{};
  if (!ControlService(service, SERVICE_CONTROL_STOP, &status)) return;  // it does not run
  for (DWORD waited = 0; waited < kStopTime && StateOf(service) != SERVICE_STOPPED;
       waited += kLookTime) {
    Sleep(kLookTime);
  }
}

}  // namespace

DWORD Win32Service::Run(Main main) {
  Win32Service service(std::move(main));
  runningService = &service;
  wchar_t name[] = L"";  // a process with one service has no need of it
  const std::array<SERVICE_TABLE_ENTRYW, 2> table{{{name, Start}, {nullptr, nullptr}}};
  const DWORD error = StartServiceCtrlDispatcherW(table.data()) ? 0 : GetLastError();
  runningService = nullptr;
  return error;
}

void WINAPI Win32Service::Start(DWORD /*count*/, wchar_t** arguments) {
  Win32Service& self = *runningService;
  {
    const std::lock_guard lock(self.mutex_);
    self.handle_ = RegisterServiceCtrlHandlerExW(arguments[0], Control, &self);
    self.Report(SERVICE_START_PENDING, 0);
  }
  self.main_(self);
  self.Stopped(0);
}

DWORD WINAPI Win32Service::Control(DWORD control, DWORD /*type*/, void* /*data*/, void* self) {
  if (control == SERVICE_CONTROL_INTERROGATE) return NO_ERROR;
  if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_SHUTDOWN)
    return ERROR_CALL_NOT_IMPLEMENTED;
  auto& service = *static_cast<Win32Service*>(self);
  const std::lock_guard lock(service.mutex_);
  service.stopAsked_ = true;
  if (service.state_ != SERVICE_STOPPED) service.Report(SERVICE_STOP_PENDING, 0);
  if (service.stop_) service.stop_();
  return NO_ERROR;
}

void Win32Service::Running(std::function<void()> stop) {
  const std::lock_guard lock(mutex_);
  stop_ = std::move(stop);
  if (stopAsked_)
    stop_();
  else
    Report(SERVICE_RUNNING, 0);
}

void Win32Service::Stopped(DWORD error) {
  const std::lock_guard lock(mutex_);
  stop_ = {};
  if (state_ != SERVICE_STOPPED) Report(SERVICE_STOPPED, error);
}

/// Under the mutex.
void Win32Service::Report(DWORD state, DWORD error) {
  state_ = state;
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwWin32ExitCode = error;
  const bool isPending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
  if (isPending) status.dwWaitHint = kPendingTime;
  if (state == SERVICE_RUNNING)
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
  SetServiceStatus(handle_, &status);
}

void Win32ServiceEntry::Install() const {
  const ServiceHandle manager = Manager(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
  constexpr DWORD kRights = SERVICE_CHANGE_CONFIG | SERVICE_START | DELETE;
  constexpr wchar_t kNeeded[] = L"RpcSs\0";  // COM is served from there
  const ServiceHandle known(OpenServiceW(manager.Get(), name.c_str(), kRights));
  if (known) {
    if (!ChangeServiceConfigW(known.Get(), SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                              SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr, kNeeded,
                              nullptr, nullptr, title.c_str())) {
      ThrowServiceError("Changing the service");
    }
    return ConfigureFurther(known.Get(), *this);
  }
  const ServiceHandle made(CreateServiceW(manager.Get(), name.c_str(), title.c_str(), kRights,
                                          SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                          SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr,
                                          kNeeded, nullptr, nullptr));
  if (!made) ThrowServiceError("Making the service");
  try {
    ConfigureFurther(made.Get(), *this);
  } catch (...) {
    DeleteService(made.Get());
    throw;
  }
}

void Win32ServiceEntry::Start() const {
  const ServiceHandle manager = Manager(SC_MANAGER_CONNECT);
  const ServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_START));
  if (!service || (!StartServiceW(service.Get(), 0, nullptr) &&
                   GetLastError() != ERROR_SERVICE_ALREADY_RUNNING)) {
    ThrowServiceError("Starting the service");
  }
}

bool Win32ServiceEntry::Remove(const std::wstring& name) {
  const ServiceHandle manager = Manager(SC_MANAGER_CONNECT);
  const ServiceHandle service(
      OpenServiceW(manager.Get(), name.c_str(), SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
  if (!service) {
    if (GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) return false;
    ThrowServiceError("Opening the service");
  }
  StopAndWait(service.Get());
  if (!DeleteService(service.Get()) && GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE) {
    ThrowServiceError("Removing the service");
  }
  return true;
}

}  // namespace tarn
