// Registers the server and its type library with Windows: /RegServer and its variants.
//
// Everything is derived from the type library in the program's own resources: each creatable class
// gets its CLSID and ProgIDs, each interface the standard marshaller, which works from the type
// library, so that the server needs no proxy code. What is written is a list of values; both
// scopes write the same list, below Software\Classes of the machine or of the user.
//
// Windows redirects only CLSID and Interface for 32-bit programs, so these are written in both
// views and the rest once. Unregistering removes the keys that carry our GUIDs, whatever others
// added below them, and those named keys that still point to our GUIDs.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "automation/windows_service.hpp"

namespace tarn {

/// Where classes are registered: the machine (needs an administrator) or the user.
struct RegistrationScope {
  HKEY hive;
  std::wstring classes;
};
RegistrationScope MachineScope();
RegistrationScope UserScope();

/// What a registry value holds: a text, a number or bytes.
struct RegistryData {
  RegistryData(const std::wstring& text);  // NOLINT(google-explicit-constructor): a list's element
  RegistryData(const wchar_t* text) : RegistryData(std::wstring(text)) {}  // NOLINT: as above
  RegistryData(DWORD number);                                              // NOLINT: as above
  RegistryData(std::vector<BYTE> binary) : type(REG_BINARY), bytes(std::move(binary)) {}  // NOLINT
  DWORD type;
  std::vector<BYTE> bytes;
};

class ServerRegistration {
 public:
  /// Reads the type library of the program, whose full path this is. Throws WindowsError.
  explicit ServerRegistration(const std::wstring& program);

  /// A former registration, of another path too, is replaced. When it fails nothing stays
  /// registered. Throws WindowsError with the key in its text.
  void Register(const RegistrationScope& scope) const;
  /// What is not there is no error. Throws WindowsError.
  void Unregister(const RegistrationScope& scope) const;

  /// One value of the registry, below RegistrationScope::classes.
  struct Value {
    std::wstring key;
    std::wstring name;  // empty: the key's default value
    RegistryData data;
    REGSAM view;
  };
  const std::vector<Value>& Values() const { return values_; }

 private:
  /// A key that goes with everything below it.
  struct OwnKey {
    std::wstring key;
    REGSAM view;
    /// Where a key that is not named by a GUID says that it is ours; empty for the others.
    std::wstring proofKey;
    std::wstring proofName;
    std::wstring proof;
  };

  void AddServer();
  void AddTypeLibrary(const std::wstring& program, const std::wstring& help);
  void AddClass(const std::wstring& name, const std::wstring& clsid, const std::wstring& help,
                const std::wstring& program);
  void AddInterface(const std::wstring& name, const std::wstring& iid, bool dual);
  void AddProgId(const std::wstring& progId, const std::wstring& clsid, const std::wstring& help);
  void AddInBothViews(const std::wstring& key, const std::vector<Value>& values);
  bool IsOurs(const RegistrationScope& scope, const OwnKey& own) const;

  std::wstring library_;         // the library's name, which leads the ProgIDs
  std::wstring libraryId_;       // its GUID
  std::wstring libraryVersion_;  // "1.0"
  std::wstring major_;           // "1"
  std::vector<Value> values_;
  std::vector<OwnKey> keys_;
  std::vector<OwnKey> containers_;  // removed when nothing is left in them
};

/// The switch that the service is started with.
inline constexpr wchar_t kServiceSwitch[] = L"/RunService";

/// Registers the server as a service of the machine, for those who run without a user: the
/// service's entry, and the value of the registration that has COM start the service for a client
/// in place of a process of the client's user.
class ServiceRegistration {
 public:
  explicit ServiceRegistration(std::wstring program) : program_(std::move(program)) {}

  /// Registers the classes for the machine as well. When it fails, no service stays. Throws
  /// WindowsError.
  void Register() const;
  /// Throws WindowsError.
  void Start() const;
  /// Stops the service and removes it; the classes stay registered. What is not there is no error.
  static void Unregister();

 private:
  ServiceEntry Entry() const;

  std::wstring program_;
};

enum class RegistrationCommand {
  Register,
  Unregister,
  RegisterPerUser,
  UnregisterPerUser,
  RegisterService,
  UnregisterService
};

/// /RegServer, /UnregServer, /RegServerPerUser, /UnregServerPerUser, /Service, /UnregService; "-"
/// does as well as "/", and case does not matter. Empty for anything else.
std::optional<RegistrationCommand> RegistrationCommandOf(std::wstring_view argument);

struct RegistrationResult {
  int exitCode;  // 0, 5 when rights are missing, 1 otherwise
  std::string text;
};

/// Runs the command and describes the outcome. Throws nothing.
RegistrationResult RunRegistration(RegistrationCommand command, const std::wstring& program);
/// The same in a scope that the caller names.
RegistrationResult RunRegistration(RegistrationCommand command, const std::wstring& program,
                                   const RegistrationScope& scope);

}  // namespace tarn
