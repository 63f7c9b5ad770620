// A program under Windows' service control manager.
#pragma once

#include <windows.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tarn {

/// The running service. One at a time in a process.
class WindowsService {
 public:
  using Main = std::function<void(WindowsService&)>;

  /// Connects with the manager, which calls `main` on a thread of its own, and returns when `main`
  /// has reported Stopped. Returns 0, or the system's error: 1063 where it was not the manager who
  /// started the program.
  static DWORD Run(Main main);

  WindowsService(const WindowsService&) = delete;
  WindowsService& operator=(const WindowsService&) = delete;

  /// Writes an error into the system's event log, for a service that cannot write its own trace.
  static void Complain(const std::string& text);
  /// Reports that the start is over. From now on `stop` is called, on another thread, when the
  /// service is to stop or the machine shuts down; at once if that has happened already.
  void Running(std::function<void()> stop);
  /// Reports the end, after which the manager may end the process; only the first time counts. An
  /// error other than 0 makes the manager take the actions for a failed service.
  void Stopped(DWORD error);

 private:
  explicit WindowsService(Main main) : main_(std::move(main)) {}

  static void WINAPI Start(DWORD count, wchar_t** arguments);
  static DWORD WINAPI Control(DWORD control, DWORD type, void* data, void* self);
  void Report(DWORD state, DWORD error);

  Main main_;
  std::mutex mutex_;  ///< of all below: the manager's calls come on a thread of their own
  SERVICE_STATUS_HANDLE handle_ = nullptr;
  DWORD state_ = SERVICE_START_PENDING;
  bool stopAsked_ = false;
  std::function<void()> stop_;
};

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
