// The entries of Windows' service control manager.
#pragma once

#include <string>

namespace tarn {

/// A service as the manager knows it. The members throw WindowsError.
struct ServiceEntry {
  std::wstring name;
  std::wstring title;
  std::wstring description;
  std::wstring command;  ///< the command line of the program

  /// Makes the entry, or changes the one of this name: the service runs as the system with no
  /// privilege beyond those of any user, starts with the machine, and again 5, 30 and then every
  /// 60 seconds after a failure.
  void Install() const;
  void Start() const;
  /// Stops the service and removes its entry. What is not there is no error.
  static void Remove(const std::wstring& name);
};

}  // namespace tarn
