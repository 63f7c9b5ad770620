#include "automation/windows_service.hpp"

#include <windows.h>

#include <array>

#include "automation/windows_error.hpp"

namespace tarn {
namespace {

/// Milliseconds for the end of a service that is removed, and between two looks.
constexpr DWORD kStopTime = 60000;
constexpr DWORD kLookTime = 100;

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
