// The registration, tried on this test program, which carries the type library as the server does.
#include "automation/registration.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sddl.h>
#include <shlobj.h>

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "automation/type_library.hpp"
#include "platform/win32/win32_text.hpp"
#include "server/class_registry.hpp"

namespace tarn {
namespace {

using Registry = std::map<std::wstring, std::wstring>;  // "key" or "key|name" to the data

void AddBelow(HKEY key, const std::wstring& path, REGSAM view, Registry& all) {
  all[path] = L"";
  for (DWORD index = 0;; ++index) {
    std::wstring name(16384, L'\0'), data(65536, L'\0');
    auto nameLength = static_cast<DWORD>(name.size());
    auto size = static_cast<DWORD>(data.size() * sizeof(wchar_t));
    const LSTATUS status = RegEnumValueW(key, index, name.data(), &nameLength, nullptr, nullptr,
                                         reinterpret_cast<BYTE*>(data.data()), &size);
    if (status == ERROR_NO_MORE_ITEMS) break;
    ASSERT_EQ(status, ERROR_SUCCESS);
    data.resize(size / sizeof(wchar_t));
    while (!data.empty() && data.back() == L'\0') data.pop_back();
    all[path + L'|' + name.substr(0, nameLength)] = data;
  }
  for (DWORD index = 0;; ++index) {
    std::wstring name(300, L'\0');
    auto length = static_cast<DWORD>(name.size());
    if (RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    name.resize(length);
    HKEY child = nullptr;
    if (RegOpenKeyExW(key, name.c_str(), 0, KEY_READ | view, &child) != ERROR_SUCCESS) continue;
    AddBelow(child, path + L'\\' + name, view, all);
    RegCloseKey(child);
  }
}

Registry Snapshot(const RegistrationScope& scope, REGSAM view, const std::wstring& key = L"") {
  Registry all;
  HKEY opened = nullptr;
  if (RegOpenKeyExW(scope.hive, (scope.classes + key).c_str(), 0, KEY_READ | view, &opened) ==
      ERROR_SUCCESS) {
    AddBelow(opened, L"", view, all);
    RegCloseKey(opened);
  }
  return all;
}

std::string ReadText(const RegistrationScope& scope, const std::wstring& key,
                     const std::wstring& name, REGSAM view) {
  const Registry all = Snapshot(scope, view, L'\\' + key);
  const auto value = all.find(L'|' + name);
  return value == all.end() ? "(none)" : FromWide(value->second);
}

std::wstring Program() {
  std::wstring path(1024, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

constexpr wchar_t kConnectionClass[] = L"{88F40787-3631-4D54-BD1A-75D825CB0882}";
constexpr wchar_t kScaleClass[] = L"{3C0D3950-965D-4ED6-A259-A3CEF3025F65}";
constexpr wchar_t kScaleInterface[] = L"{490395F8-924A-485F-BBC7-44DBD85BA168}";
constexpr wchar_t kScaleEvents[] = L"{CB194C11-6C00-487C-B1D5-C7A516F2C9C2}";
constexpr wchar_t kLibrary[] = L"{2E5AF1A8-4271-4EEC-9868-56F07055D47D}";

struct ScopeCase {
  const char* name;
  RegistrationScope scope;
  RegistrationCommand on;
  RegistrationCommand off;
};

/// A machine on which the server is installed has it back after the test.
class SetsAside {
 public:
  explicit SetsAside(const ScopeCase& where) : where_(where) {
    const std::string server =
        ReadText(where.scope, std::wstring(L"CLSID\\") + kConnectionClass + L"\\LocalServer32", L"",
                 KEY_WOW64_64KEY);
    if (server.front() != '"' || server == '"' + FromWide(Program()) + '"') return;
    program_.assign(server.begin() + 1, server.end() - 1);
    RunRegistration(where_.off, program_);
  }
  ~SetsAside() {
    RunRegistration(where_.off, Program());
    if (!program_.empty()) RunRegistration(where_.on, program_);
  }

 private:
  ScopeCase where_;
  std::wstring program_;
};

class Registration : public testing::TestWithParam<ScopeCase> {
 protected:
  void SetUp() override {
    if (GetParam().on == RegistrationCommand::Register && !IsUserAnAdmin()) {
      GTEST_SKIP() << "NOT TESTED: registering for the machine needs an administrator";
    }
  }
  /// Both ways through the commands that a user gives.
  void Run(RegistrationCommand command) {
    const RegistrationResult result = RunRegistration(command, Program());
    ASSERT_EQ(result.exitCode, 0) << result.text;
  }
  std::string Read(const std::wstring& key, const std::wstring& name = L"",
                   REGSAM view = KEY_WOW64_64KEY) {
    return ReadText(GetParam().scope, key, name, view);
  }

 private:
  SetsAside installed_{GetParam()};
};

TEST_P(Registration, WritesWhatProgramsOfEitherWidthLookUp) {
  Run(GetParam().on);
  const std::wstring clsid = std::wstring(L"CLSID\\") + kConnectionClass;
  const std::wstring scale = std::wstring(L"Interface\\") + kScaleInterface;
  const std::wstring events = std::wstring(L"Interface\\") + kScaleEvents;
  const struct {
    std::wstring key, name;
    std::string text;
  } values[] = {{clsid + L"\\LocalServer32", L"", '"' + FromWide(Program()) + '"'},
                {clsid + L"\\ProgID", L"", "TarnSclServer.TarnServerConnection.1"},
                {clsid + L"\\VersionIndependentProgID", L"", "TarnSclServer.TarnServerConnection"},
                {clsid + L"\\TypeLib", L"", FromWide(kLibrary)},
                {clsid + L"\\Programmable", L"", ""},
                {clsid, L"AppID", Read(L"AppID\\TarnSclServer.exe", L"AppID")},
                {scale, L"", "_TarnScale"},
                {scale + L"\\ProxyStubClsid32", L"", "{00020424-0000-0000-C000-000000000046}"},
                {scale + L"\\TypeLib", L"", FromWide(kLibrary)},
                {scale + L"\\TypeLib", L"Version", "1.0"},
                {events, L"", "__TarnScale"},
                {events + L"\\ProxyStubClsid32", L"", "{00020420-0000-0000-C000-000000000046}"},
                {std::wstring(L"CLSID\\") + kScaleClass, L"", "(none)"}};
  for (const REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
    for (const auto& [key, name, text] : values) EXPECT_EQ(Read(key, name, view), text);
  }
  EXPECT_EQ(Read(clsid, L"AppID").size(), 38U);
  for (const std::wstring name : {L"Connection", L"TarnServerConnection", L"TarnKesBasicConfig"}) {
    const std::wstring progId = L"TarnSclServer." + name;
    EXPECT_EQ(Read(progId + L"\\CurVer"), FromWide(progId) + ".1");
    EXPECT_EQ(Read(progId + L"\\CLSID").size(), 38U) << FromWide(progId);
    EXPECT_EQ(Read(progId + L".1\\CLSID"), Read(progId + L"\\CLSID"));
  }
  EXPECT_EQ(Read(L"TarnSclServer.TarnScale"), "(none)");
}

/// Interactive users, administrators and the system; nothing from other machines.
TEST_P(Registration, LetsLocalUsersAndAdministratorsLaunchAndCall) {
  Run(GetParam().on);
  const std::wstring app =
      GetParam().scope.classes + L"\\AppID\\" + ToWide(Read(L"AppID\\TarnSclServer.exe", L"AppID"));
  for (const auto& [name, rights] :
       {std::pair(L"LaunchPermission", L"D:(A;;CCDCSW;;;IU)(A;;CCDCSW;;;BA)(A;;CCDCSW;;;SY)"),
        std::pair(L"AccessPermission", L"D:(A;;CCDC;;;IU)(A;;CCDC;;;BA)(A;;CCDC;;;SY)")}) {
    std::vector<DWORD> descriptor(256);
    auto size = static_cast<DWORD>(descriptor.size() * sizeof(DWORD));
    LPWSTR found = nullptr;
    ASSERT_EQ(
        RegGetValueW(GetParam().scope.hive, app.c_str(), name,
                     RRF_RT_REG_BINARY | RRF_SUBKEY_WOW6464KEY, nullptr, descriptor.data(), &size),
        ERROR_SUCCESS);
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(
        descriptor.data(), SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &found, nullptr));
    EXPECT_EQ(FromWide(found), FromWide(rights));
    LocalFree(found);
  }
}

TEST_P(Registration, NamesATypeLibraryOfEachWidth) {
  Run(GetParam().on);
  const std::wstring key = std::wstring(L"TypeLib\\") + kLibrary + L"\\1.0\\0\\";
  for (const auto& [platform, kind] :
       {std::pair(L"win64", SYS_WIN64), std::pair(L"win32", SYS_WIN32)}) {
    const std::string file = Read(key + platform);
    const TypeLibrary library(std::wstring(file.begin(), file.end()));
    EXPECT_EQ(library.Attributes().syskind, kind) << file;
    EXPECT_EQ(FromWide(GuidText(library.Attributes().guid)), FromWide(kLibrary));
  }
}

TEST_P(Registration, IsGoneWithoutATraceAfterwards) {
  for (const REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
    const Registry before = Snapshot(GetParam().scope, view);
    Run(GetParam().on);
    Run(GetParam().on);
    EXPECT_GT(Snapshot(GetParam().scope, view).size(), before.size() + 100);
    Run(GetParam().off);
    EXPECT_THAT(Snapshot(GetParam().scope, view), testing::ContainerEq(before));
    Run(GetParam().off);
  }
}

TEST_P(Registration, LeavesANameThatAnotherProgramTookOver) {
  Run(GetParam().on);
  const auto& [hive, classes] = GetParam().scope;
  const std::wstring name = classes + L"\\TarnSclServer.Protocol";
  RegSetKeyValueW(hive, (name + L"\\CLSID").c_str(), nullptr, REG_SZ, kScaleClass,
                  sizeof kScaleClass);
  Run(GetParam().off);
  EXPECT_EQ(Read(L"TarnSclServer.Protocol\\CLSID"), FromWide(kScaleClass));
  EXPECT_EQ(Read(L"TarnSclServer.Protocol.1\\CLSID"), "(none)");
  RegDeleteTreeW(hive, name.c_str());
}

const ScopeCase kMachine{"Machine", MachineScope(), RegistrationCommand::Register,
                         RegistrationCommand::Unregister};
const ScopeCase kUser{"User", UserScope(), RegistrationCommand::RegisterPerUser,
                      RegistrationCommand::UnregisterPerUser};
constexpr auto kScopeName = [](const auto& tested) { return tested.param.name; };

INSTANTIATE_TEST_SUITE_P(Scopes, Registration, testing::Values(kMachine, kUser), kScopeName);

/// A key of the test's own, below which nobody may create anything.
class ForbiddenKey {
 public:
  ForbiddenKey() {
    RegCreateKeyExW(HKEY_CURRENT_USER, kPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_,
                    nullptr);
    PSECURITY_DESCRIPTOR readOnly = nullptr;  // but for its removal
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;KRSDWD;;;WD)", SDDL_REVISION_1,
                                                         &readOnly, nullptr);
    RegSetKeySecurity(key_, DACL_SECURITY_INFORMATION, readOnly);
    LocalFree(readOnly);
  }
  ~ForbiddenKey() {
    RegCloseKey(key_);
    RegDeleteKeyW(HKEY_CURRENT_USER, kPath);
  }
  static RegistrationScope Scope() { return {HKEY_CURRENT_USER, kPath}; }

 private:
  static constexpr const wchar_t* kPath = L"Software\\TarnRegistrationTest";
  HKEY key_ = nullptr;
};

TEST(RegistrationFailure, SaysThatRightsAreMissingAndHowToDoWithout) {
  const ForbiddenKey forbidden;
  const RegistrationResult result =
      RunRegistration(RegistrationCommand::Register, Program(), ForbiddenKey::Scope());
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_NE(result.text.find("TarnRegistrationTest"), std::string::npos) << result.text;
  EXPECT_NE(result.text.find("/RegServerPerUser"), std::string::npos) << result.text;
}

TEST(RegistrationFailure, NamesAProgramWithoutATypeLibrary) {
  const RegistrationResult result =
      RunRegistration(RegistrationCommand::RegisterPerUser, L"C:\\no such program.exe");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.text.find("no such program.exe"), std::string::npos) << result.text;
}

constexpr wchar_t kService[] = L"TarnSclServer";
std::string ServiceValue(const wchar_t* name) {
  return ReadText({HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Services"}, kService, name, 0);
}

TEST(ServiceRegistration, StartsTheProgramForTheMachineAndForItsClients) {
  if (!IsUserAnAdmin()) GTEST_SKIP() << "NOT TESTED: services need an administrator";
  if (ServiceValue(L"ImagePath") != "(none)") GTEST_SKIP() << "NOT TESTED: a service here already";
  const SetsAside installed(kMachine);
  // Who registers first on a machine makes the containers of classes, which stay.
  RunRegistration(RegistrationCommand::Register, Program());
  RunRegistration(RegistrationCommand::Unregister, Program());
  const Registry before = Snapshot(MachineScope(), KEY_WOW64_64KEY);
  const ServiceRegistration service(Program());
  const auto client = [] {
    const std::string id =
        ReadText(MachineScope(), L"AppID\\TarnSclServer.exe", L"AppID", KEY_WOW64_64KEY);
    return ReadText(MachineScope(), L"AppID\\" + ToWide(id), L"LocalService", KEY_WOW64_64KEY);
  };
  for (int times = 0; times < 2; ++times) {
    service.Register();
    EXPECT_EQ(ServiceValue(L"ImagePath"), '"' + FromWide(Program()) + "\" /RunService");
    EXPECT_EQ(ServiceValue(L"ObjectName"), "LocalSystem");
    EXPECT_EQ(ServiceValue(L"DependOnService"), "RpcSs");
    EXPECT_EQ(RunRegistration(RegistrationCommand::Register, Program()).exitCode, 0);
    EXPECT_EQ(client(), "TarnSclServer") << "lost when the classes are registered again";
  }
  ServiceRegistration::Unregister();
  EXPECT_EQ(client(), "(none)");
  EXPECT_EQ(ServiceValue(L"ImagePath"), "(none)");
  service.Register();
  for (int times = 0; times < 2; ++times) {
    EXPECT_EQ(RunRegistration(RegistrationCommand::Unregister, Program()).exitCode, 0);
    EXPECT_EQ(ServiceValue(L"ImagePath"), "(none)");
    EXPECT_THAT(Snapshot(MachineScope(), KEY_WOW64_64KEY), testing::ContainerEq(before));
  }
}

/// What settings files name, clients must be able to name, too.
TEST(TypeLibraryOfTheServer, HasEveryClassOfTheRegistry) {
  std::set<std::string> published;
  const TypeLibrary library(Program());
  for (UINT i = 0; i < library.Count(); ++i) {
    const auto type = library.Type(i);
    if (AttributesOf(type)->typekind == TKIND_COCLASS) published.insert(FromWide(NameOf(type)));
  }
  for (const ClassRow& row : RegisteredClasses()) {
    EXPECT_EQ(published.count(std::string(row.name)), 1U) << row.name;
  }
}

TEST(RegistrationSwitches, AreReadInAnyCase) {
  EXPECT_EQ(RegistrationCommandOf(L"/RegServer"), RegistrationCommand::Register);
  EXPECT_EQ(RegistrationCommandOf(L"-unregserver"), RegistrationCommand::Unregister);
  EXPECT_EQ(RegistrationCommandOf(L"/REGSERVERPERUSER"), RegistrationCommand::RegisterPerUser);
  EXPECT_EQ(RegistrationCommandOf(L"/UnregServerPerUser"), RegistrationCommand::UnregisterPerUser);
  EXPECT_EQ(RegistrationCommandOf(L"-service"), RegistrationCommand::RegisterService);
  for (const wchar_t* other : {L"", L"/", L"RegServer", L"/Embedding", L"/RegServerX"}) {
    EXPECT_FALSE(RegistrationCommandOf(other)) << FromWide(other);
  }
}

}  // namespace
}  // namespace tarn
