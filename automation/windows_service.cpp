#include "automation/windows_service.hpp"

#include <array>
#include <utility>

#include "automation/windows_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

/// Milliseconds that the manager waits for the next report while a start or a stop is under way.
constexpr DWORD kPendingTime = 60000;
/// Milliseconds for the end of a service that is removed, and between two looks.
constexpr DWORD kStopTime = 60000;
constexpr DWORD kLookTime = 100;

/// ServiceMain has no other way to its object.
WindowsService* runningService = nullptr;

void CheckService(bool succeeded, const char* doing) {
  if (!succeeded) Check(HRESULT_FROM_WIN32(GetLastError()), doing);
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
  CheckService(manager != nullptr, "The service control manager");
  return ServiceHandle(manager);
}

void Configure(SC_HANDLE service, DWORD what, void* value, const char* doing) {
  // Windows knows them all; Wine 8 knows some.
  CheckService(ChangeServiceConfig2W(service, what, value) || GetLastError() == ERROR_INVALID_LEVEL,
               doing);
}

void ConfigureFurther(SC_HANDLE service, const ServiceEntry& entry) {
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

DWORD WindowsService::Run(Main main) {
  WindowsService service(std::move(main));
  runningService = &service;
  wchar_t name[] = L"";  // a process with one service has no need of it
  const std::array<SERVICE_TABLE_ENTRYW, 2> table{{{name, Start}, {nullptr, nullptr}}};
  const DWORD error = StartServiceCtrlDispatcherW(table.data()) ? 0 : GetLastError();
  runningService = nullptr;
  return error;
}

void WINAPI WindowsService::Start(DWORD /*count*/, wchar_t** arguments) {
  WindowsService& self = *runningService;
  {
    const std::lock_guard lock(self.mutex_);
    self.handle_ = RegisterServiceCtrlHandlerExW(arguments[0], Control, &self);
    self.Report(SERVICE_START_PENDING, 0);
  }
  self.main_(self);
  self.Stopped(0);
}

DWORD WINAPI WindowsService::Control(DWORD control, DWORD /*type*/, void* /*data*/, void* self) {
  if (control == SERVICE_CONTROL_INTERROGATE) return NO_ERROR;
  if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_SHUTDOWN)
    return ERROR_CALL_NOT_IMPLEMENTED;
  auto& service = *static_cast<WindowsService*>(self);
  const std::lock_guard lock(service.mutex_);
  service.stopAsked_ = true;
  if (service.state_ != SERVICE_STOPPED) service.Report(SERVICE_STOP_PENDING, 0);
  if (service.stop_) service.stop_();
  return NO_ERROR;
}

void WindowsService::Running(std::function<void()> stop) {
  const std::lock_guard lock(mutex_);
  stop_ = std::move(stop);
  if (stopAsked_)
    stop_();
  else
    Report(SERVICE_RUNNING, 0);
}

void WindowsService::Complain(const std::string& text) {
  HANDLE log = RegisterEventSourceW(nullptr, L"TarnSclServer");
  if (log == nullptr) return;
  const std::wstring wide = ToWide(text);
  const wchar_t* texts[] = {wide.c_str()};
  ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 1, 0, texts, nullptr);
  DeregisterEventSource(log);
}

void WindowsService::Stopped(DWORD error) {
  const std::lock_guard lock(mutex_);
  stop_ = {};
  if (state_ != SERVICE_STOPPED) Report(SERVICE_STOPPED, error);
}

/// Under the mutex.
void WindowsService::Report(DWORD state, DWORD error) {
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

void ServiceEntry::Install() const {
  const ServiceHandle manager = Manager(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
  constexpr DWORD kRights = SERVICE_CHANGE_CONFIG | SERVICE_START | DELETE;
  constexpr wchar_t kNeeded[] = L"RpcSs\0";  // COM is served from there
  const ServiceHandle known(OpenServiceW(manager.Get(), name.c_str(), kRights));
  if (known) {
    CheckService(ChangeServiceConfigW(known.Get(), SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                      SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr,
                                      kNeeded, nullptr, nullptr, title.c_str()),
                 "Changing the service");
    return ConfigureFurther(known.Get(), *this);
  }
  const ServiceHandle made(CreateServiceW(manager.Get(), name.c_str(), title.c_str(), kRights,
                                          SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                          SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr,
                                          kNeeded, nullptr, nullptr));
  CheckService(static_cast<bool>(made), "Making the service");
  try {
    ConfigureFurther(made.Get(), *this);
  } catch (...) {
    DeleteService(made.Get());
    throw;
  }
}

void ServiceEntry::Start() const {
  const ServiceHandle manager = Manager(SC_MANAGER_CONNECT);
  const ServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_START));
  CheckService(service && (StartServiceW(service.Get(), 0, nullptr) ||
                           GetLastError() == ERROR_SERVICE_ALREADY_RUNNING),
               "Starting the service");
}

void ServiceEntry::Remove(const std::wstring& name) {
  const ServiceHandle manager = Manager(SC_MANAGER_CONNECT);
  const ServiceHandle service(
      OpenServiceW(manager.Get(), name.c_str(), SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
  if (!service) {
    return CheckService(GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST, "Opening the service");
  }
  StopAndWait(service.Get());
  CheckService(DeleteService(service.Get()) || GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE,
               "Removing the service");
}

}  // namespace tarn
