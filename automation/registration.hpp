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

 private:
  struct Value {
    std::wstring key;
    std::wstring name;  // empty: the key's default value
    RegistryData data;
    REGSAM view;
  };
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

enum class RegistrationCommand { Register, Unregister, RegisterPerUser, UnregisterPerUser };

/// /RegServer, /UnregServer, /RegServerPerUser, /UnregServerPerUser; "-" does as well as "/", and
/// case does not matter. Empty for anything else.
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
