#include "automation/registration.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <cwctype>

#include "automation/security.hpp"
#include "automation/type_library.hpp"
#include "automation/windows_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

// The server as one thing to launch and to secure, beside its classes.
constexpr wchar_t kAppId[] = L"{6B57621F-4DC2-4830-A3DE-990FD3CB817D}";
constexpr wchar_t kProgramName[] = L"TarnSclServer.exe";

constexpr wchar_t kServiceName[] = L"TarnSclServer";
/// Where COM finds the service that serves the classes.
constexpr wchar_t kServiceValue[] = L"LocalService";

// The system's own marshallers that work from a type library: for dual and for event interfaces.
constexpr wchar_t kDualMarshaller[] = L"{00020424-0000-0000-C000-000000000046}";
constexpr wchar_t kDispatchMarshaller[] = L"{00020420-0000-0000-C000-000000000046}";

constexpr std::array<REGSAM, 2> kViews = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};
constexpr REGSAM kShared = KEY_WOW64_64KEY;

constexpr const wchar_t* kOwnTypeLibrary = L"";       // resource 1, found without a number
constexpr const wchar_t* kOtherTypeLibrary = L"\\2";  // resource 2

class RegistryKey {
 public:
  explicit RegistryKey(HKEY key) : key_(key) {}
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  ~RegistryKey() { RegCloseKey(key_); }
  HKEY Get() const { return key_; }

 private:
  HKEY key_;
};

std::wstring PathIn(const RegistrationScope& scope, const std::wstring& key) {
  return scope.classes + L'\\' + key;
}

void CheckRegistry(LSTATUS status, const char* doing, const std::wstring& path) {
  if (status == ERROR_SUCCESS) return;
  const std::string text = std::string(doing) + ' ' + FromWide(path);
  Check(HRESULT_FROM_WIN32(static_cast<unsigned long>(status)), text.c_str());
}

bool IsMissing(LSTATUS status) {
  return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

void WriteValue(const RegistrationScope& scope, const std::wstring& key, REGSAM view,
                const std::wstring& name, const RegistryData& data) {
  const std::wstring path = PathIn(scope, key);
  HKEY opened = nullptr;
  CheckRegistry(RegCreateKeyExW(scope.hive, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE | view,
                                nullptr, &opened, nullptr),
                "creating the registry key", path);
  const RegistryKey owner(opened);
  CheckRegistry(RegSetValueExW(opened, name.empty() ? nullptr : name.c_str(), 0, data.type,
                               data.bytes.data(), static_cast<DWORD>(data.bytes.size())),
                "writing into the registry key", path);
}

/// A key goes with all that is below it; one that is missing is no error.
void RemoveKey(const RegistrationScope& scope, const std::wstring& key, REGSAM view) {
  const std::wstring path = PathIn(scope, key);
  HKEY opened = nullptr;
  const LSTATUS status = RegOpenKeyExW(
      scope.hive, path.c_str(), 0,
      DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE | view, &opened);
  if (IsMissing(status)) return;
  CheckRegistry(status, "opening the registry key", path);
  const RegistryKey owner(opened);
  CheckRegistry(RegDeleteTreeW(opened, nullptr), "emptying the registry key", path);
  CheckRegistry(RegDeleteKeyExW(scope.hive, path.c_str(), view, 0), "removing the registry key",
                path);
}

bool IsEmpty(const RegistrationScope& scope, const std::wstring& key, REGSAM view) {
  HKEY opened = nullptr;
  if (RegOpenKeyExW(scope.hive, PathIn(scope, key).c_str(), 0, KEY_QUERY_VALUE | view, &opened) !=
      ERROR_SUCCESS) {
    return false;
  }
  const RegistryKey owner(opened);
  DWORD keys = 0, values = 0;
  return RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values,
                          nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
         keys == 0 && values == 0;
}

std::string Describe(RegistrationCommand command, const WindowsError& error) {
  std::string text = error.what();
  if (error.Result() != E_ACCESSDENIED) return text;
  if (command == RegistrationCommand::Register) {
    text += "\nRegistering for all users needs an administrator; /RegServerPerUser does not.";
  } else if (command == RegistrationCommand::Unregister) {
    text += "\nUnregistering for all users needs an administrator.";
  } else if (command == RegistrationCommand::RegisterService ||
             command == RegistrationCommand::UnregisterService) {
    text += "\nServices are an administrator's.";
  }
  return text;
}

/// Returns what it did.
std::string Run(RegistrationCommand command, const std::wstring& program,
                const RegistrationScope& scope) {
  switch (command) {
    case RegistrationCommand::Register:
    case RegistrationCommand::RegisterPerUser:
      ServerRegistration(program).Register(scope);
      return "The server is registered: " + FromWide(program);
    case RegistrationCommand::RegisterService: {
      const ServiceRegistration service(program);
      service.Register();
      service.Start();
      return "The server runs as a service: " + FromWide(program);
    }
    case RegistrationCommand::UnregisterService:
      ServiceRegistration::Unregister();
      return "The server is no service any more.";
    case RegistrationCommand::Unregister:
      ServiceRegistration::Unregister();
      break;
    case RegistrationCommand::UnregisterPerUser:
      break;
  }
  ServerRegistration(program).Unregister(scope);
  return "The server is no longer registered.";
}

}  // namespace

RegistrationScope MachineScope() {
  return {HKEY_LOCAL_MACHINE, L"Software\\Classes"};
}
RegistrationScope UserScope() {
  return {HKEY_CURRENT_USER, L"Software\\Classes"};
}

RegistryData::RegistryData(const std::wstring& text) : type(REG_SZ) {
  const auto* begin = reinterpret_cast<const BYTE*>(text.c_str());
  bytes.assign(begin, begin + (text.size() + 1) * sizeof(wchar_t));
}

RegistryData::RegistryData(DWORD number) : type(REG_DWORD), bytes(sizeof number) {
  std::memcpy(bytes.data(), &number, sizeof number);
}

ServerRegistration::ServerRegistration(const std::wstring& program) {
  const TypeLibrary library(program);
  library_ = library.Name();
  libraryId_ = GuidText(library.Attributes().guid);
  libraryVersion_ = library.Version();
  major_ = std::to_wstring(library.Attributes().wMajorVerNum);

  AddServer();
  AddTypeLibrary(program, library.Help());
  for (UINT index = 0; index < library.Count(); ++index) {
    const ComPtr<ITypeInfo> type = library.Type(index);
    const TypeAttributes attributes = AttributesOf(type);
    const std::wstring name = NameOf(type), id = GuidText(attributes->guid);
    if (attributes->typekind == TKIND_DISPATCH) {
      AddInterface(name, id, attributes->wTypeFlags & TYPEFLAG_FDUAL);
    } else if (attributes->typekind == TKIND_COCLASS &&
               (attributes->wTypeFlags & TYPEFLAG_FCANCREATE)) {
      AddClass(name, id, HelpOf(type), program);
    }
  }

  for (const REGSAM view : kViews) {
    containers_.push_back({L"CLSID", view, {}, {}, {}});
    containers_.push_back({L"Interface", view, {}, {}, {}});
  }
  for (const wchar_t* shared : {L"Wow6432Node", L"AppID"}) {
    containers_.push_back({shared, kShared, {}, {}, {}});
  }
  containers_.push_back({L"TypeLib\\" + libraryId_, kShared, {}, {}, {}});
  containers_.push_back({L"TypeLib", kShared, {}, {}, {}});
}

void ServerRegistration::AddServer() {
  const std::wstring id = std::wstring(L"AppID\\") + kAppId;
  const std::wstring name = std::wstring(L"AppID\\") + kProgramName;
  values_.push_back({id, L"", library_, kShared});
  values_.push_back({id, L"LaunchPermission", LaunchPermission(), kShared});
  values_.push_back({id, L"AccessPermission", AccessPermission(), kShared});
  values_.push_back({id, L"AuthenticationLevel", kAuthenticationLevel, kShared});
  values_.push_back({name, L"AppID", kAppId, kShared});
  keys_.push_back({id, kShared, {}, {}, {}});
  keys_.push_back({name, kShared, name, L"AppID", kAppId});
}

void ServerRegistration::AddTypeLibrary(const std::wstring& program, const std::wstring& help) {
  const std::wstring key = L"TypeLib\\" + libraryId_ + L'\\' + libraryVersion_;
  const bool wide = sizeof(void*) == 8;
  values_.push_back({key, L"", help, kShared});
  values_.push_back({key + L"\\FLAGS", L"", L"0", kShared});
  values_.push_back({key + L"\\HELPDIR", L"", program.substr(0, program.rfind(L'\\')), kShared});
  values_.push_back(
      {key + L"\\0\\win64", L"", program + (wide ? kOwnTypeLibrary : kOtherTypeLibrary), kShared});
  values_.push_back(
      {key + L"\\0\\win32", L"", program + (wide ? kOtherTypeLibrary : kOwnTypeLibrary), kShared});
  keys_.push_back({key, kShared, {}, {}, {}});
}

void ServerRegistration::AddInBothViews(const std::wstring& key, const std::vector<Value>& values) {
  for (const REGSAM view : kViews) {
    for (const Value& value : values) {
      values_.push_back({key + value.key, value.name, value.data, view});
    }
    keys_.push_back({key, view, {}, {}, {}});
  }
}

void ServerRegistration::AddClass(const std::wstring& name, const std::wstring& clsid,
                                  const std::wstring& help, const std::wstring& program) {
  const std::wstring progId = library_ + L'.' + name;
  const std::wstring versioned = progId + L'.' + major_;
  AddInBothViews(L"CLSID\\" + clsid, {{L"", L"", help, 0},
                                      {L"", L"AppID", kAppId, 0},
                                      {L"\\LocalServer32", L"", L'"' + program + L'"', 0},
                                      {L"\\ProgID", L"", versioned, 0},
                                      {L"\\VersionIndependentProgID", L"", progId, 0},
                                      {L"\\TypeLib", L"", libraryId_, 0},
                                      {L"\\Version", L"", libraryVersion_, 0},
                                      {L"\\Programmable", L"", L"", 0}});
  AddProgId(progId, clsid, help);
  AddProgId(versioned, clsid, help);
  values_.push_back({progId + L"\\CurVer", L"", versioned, kShared});
}

void ServerRegistration::AddProgId(const std::wstring& progId, const std::wstring& clsid,
                                   const std::wstring& help) {
  values_.push_back({progId, L"", help, kShared});
  values_.push_back({progId + L"\\CLSID", L"", clsid, kShared});
  keys_.push_back({progId, kShared, progId + L"\\CLSID", L"", clsid});
}

void ServerRegistration::AddInterface(const std::wstring& name, const std::wstring& iid,
                                      bool dual) {
  AddInBothViews(L"Interface\\" + iid,
                 {{L"", L"", name, 0},
                  {L"\\ProxyStubClsid32", L"", dual ? kDualMarshaller : kDispatchMarshaller, 0},
                  {L"\\TypeLib", L"", libraryId_, 0},
                  {L"\\TypeLib", L"Version", libraryVersion_, 0}});
}

void ServerRegistration::Register(const RegistrationScope& scope) const {
  try {
    for (const Value& value : values_) {
      WriteValue(scope, value.key, value.view, value.name, value.data);
    }
  } catch (const WindowsError&) {
    try {
      Unregister(scope);
    } catch (const WindowsError&) {
      // The first failure is the one that matters.
    }
    throw;
  }
}

bool ServerRegistration::IsOurs(const RegistrationScope& scope, const OwnKey& own) const {
  if (own.proof.empty()) return true;
  std::array<wchar_t, 64> data{};
  DWORD size = sizeof(data);
  const DWORD view = own.view == KEY_WOW64_32KEY ? RRF_SUBKEY_WOW6432KEY : RRF_SUBKEY_WOW6464KEY;
  return RegGetValueW(scope.hive, PathIn(scope, own.proofKey).c_str(),
                      own.proofName.empty() ? nullptr : own.proofName.c_str(), RRF_RT_REG_SZ | view,
                      nullptr, data.data(), &size) == ERROR_SUCCESS &&
         own.proof == data.data();
}

void ServerRegistration::Unregister(const RegistrationScope& scope) const {
  for (const OwnKey& own : keys_) {
    if (IsOurs(scope, own)) RemoveKey(scope, own.key, own.view);
  }
  for (const OwnKey& container : containers_) {
    if (IsEmpty(scope, container.key, container.view)) {
      RemoveKey(scope, container.key, container.view);
    }
  }
}

ServiceEntry ServiceRegistration::Entry() const {
  return {kServiceName, L"Tarn Scale Server",
          L"Keeps the weighing scales connected, logs their prints, and serves programs that read "
          L"them.",
          L'"' + program_ + L"\" " + kServiceSwitch};
}

void ServiceRegistration::Register() const {
  ServerRegistration(program_).Register(MachineScope());
  Entry().Install();
  try {
    WriteValue(MachineScope(), std::wstring(L"AppID\\") + kAppId, kShared, kServiceValue,
               std::wstring(kServiceName));
  } catch (const WindowsError&) {
    ServiceEntry::Remove(kServiceName);
    throw;
  }
}

void ServiceRegistration::Start() const {
  Entry().Start();
}

void ServiceRegistration::Unregister() {
  const RegistrationScope machine = MachineScope();
  const std::wstring key = PathIn(machine, std::wstring(L"AppID\\") + kAppId);
  ServiceEntry::Remove(kServiceName);
  const LSTATUS status = RegDeleteKeyValueW(machine.hive, key.c_str(), kServiceValue);
  if (!IsMissing(status)) CheckRegistry(status, "changing the registry key", key);
}

std::optional<RegistrationCommand> RegistrationCommandOf(std::wstring_view argument) {
  constexpr std::array<std::pair<const wchar_t*, RegistrationCommand>, 6> kCommands = {
      {{L"regserver", RegistrationCommand::Register},
       {L"unregserver", RegistrationCommand::Unregister},
       {L"regserverperuser", RegistrationCommand::RegisterPerUser},
       {L"unregserverperuser", RegistrationCommand::UnregisterPerUser},
       {L"service", RegistrationCommand::RegisterService},
       {L"unregservice", RegistrationCommand::UnregisterService}}};
  if (argument.empty() || (argument[0] != L'/' && argument[0] != L'-')) return {};
  std::wstring name(argument.substr(1));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](wchar_t character) { return static_cast<wchar_t>(std::towlower(character)); });
  for (const auto& [known, command] : kCommands) {
    if (name == known) return command;
  }
  return {};
}

RegistrationResult RunRegistration(RegistrationCommand command, const std::wstring& program,
                                   const RegistrationScope& scope) {
  try {
    return {0, Run(command, program, scope)};
  } catch (const WindowsError& error) {
    const bool denied = error.Result() == E_ACCESSDENIED;
    return {denied ? ERROR_ACCESS_DENIED : 1, Describe(command, error)};
  } catch (const std::exception& error) {
    return {1, error.what()};
  }
}

RegistrationResult RunRegistration(RegistrationCommand command, const std::wstring& program) {
  const bool user = command == RegistrationCommand::RegisterPerUser ||
                    command == RegistrationCommand::UnregisterPerUser;
  return RunRegistration(command, program, user ? UserScope() : MachineScope());
}

}  // namespace tarn
