// A program that Windows' service control manager has started.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string>

namespace tarn {

/// The program's side of the manager; one at a time in a process, from any thread. A program that
/// ends without Stopped has failed in the manager's eyes.
class Win32Service {
 public:
  /// Connects with the manager; null where it was somebody else who started the program.
  static std::unique_ptr<Win32Service> Connect();

  Win32Service(const Win32Service&) = delete;
  Win32Service& operator=(const Win32Service&) = delete;
  /// `stop` is not called any more.
  ~Win32Service();

  /// Reports that the start is over. From now on `stop` is called, on another thread, when the
  /// service is to stop or the machine shuts down; at once if that has happened already.
  void Running(std::function<void()> stop);
  bool IsToStop() const;
  /// Reports the end, after which the manager may end the process; only the first time counts. An
  /// error other than 0 makes the manager take the actions for a failed service.
  void Stopped(DWORD error);

  /// Writes an error of the service into the system's event log, for one that has no trace yet.
  static void Complain(const std::wstring& service, const std::string& text);

 private:
  struct Link;

  explicit Win32Service(Link* link) : link_(link) {}

  Link* const link_;  ///< shared with the manager's threads
};

}  // namespace tarn
