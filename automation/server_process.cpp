#include "automation/server_process.hpp"

#include <windows.h>

#include <objbase.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "automation/class_factories.hpp"
#include "automation/com_module.hpp"
#include "automation/trace_file.hpp"
#include "base/number_text.hpp"
#include "platform/native_host.hpp"
#include "platform/program.hpp"
#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

constexpr const char* kName = "TarnSclServer";

/// Milliseconds that a process which nobody asks for anything stays.
constexpr std::int32_t kUnusedTime = 15000;
/// The same for one that took over: its client, if it was not served by the former process, is
/// there.
constexpr std::int32_t kUnusedTimeOfSuccessor = 5000;
/// Milliseconds that a second process waits for the first one to end.
constexpr DWORD kSuccessionTime = 5000;
/// Milliseconds that a client may take for an event, unless the settings say otherwise.
constexpr double kEventLimit = 5000;

/// Two clients that start at the same moment may each have a process launched. Only one serves: the
/// second one waits, either to take over from one that is just ending, or until its client has
/// found the first one.
class OnlyInstance {
 public:
  OnlyInstance() : mutex_(CreateMutexW(nullptr, FALSE, L"Local\\TarnSclServer.OnlyInstance")) {
    Wait(0);
    tookOver_ = !owned_;
    if (!owned_) Wait(kSuccessionTime);
  }
  OnlyInstance(const OnlyInstance&) = delete;
  OnlyInstance& operator=(const OnlyInstance&) = delete;
  ~OnlyInstance() {
    if (owned_) ReleaseMutex(mutex_.Get());
  }
  explicit operator bool() const { return owned_; }
  bool TookOver() const { return tookOver_; }

 private:
  void Wait(DWORD milliseconds) {
    const DWORD result = WaitForSingleObject(mutex_.Get(), milliseconds);
    owned_ = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
  }

  OwnedHandle mutex_;
  bool owned_ = false;
  bool tookOver_ = false;
};

/// A process that the system launches starts in a system folder. Relative file names, the log's and
/// the settings file's, must land where the user may write.
std::wstring MoveToOwnFolder() {
  const std::wstring folder = ToWide(ProgramDataFolder(kName));
  SetCurrentDirectoryW(folder.c_str());
  return folder;
}

double EventLimit(Host& host) {
  try {
    const auto text = host.Settings().Get("Settings", "EventTimeout");
    const double limit = text ? WholeNumber(*text) : kEventLimit;
    if (limit > 0) return limit;
  } catch (const std::exception& error) {
    host.Trace(std::string("The setting EventTimeout cannot be read: ") + error.what());
  }
  return kEventLimit;
}

class Apartment {
 public:
  Apartment() { Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "starting COM"); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  ~Apartment() { CoUninitialize(); }
};

void Serve(Host& host, const std::wstring& program, std::int32_t unusedTime) {
  MessageLoop& loop = host.Loop();
  std::optional<ClassFactories> factories;
  std::unique_ptr<ComModule> module;
  const auto end = [&] {
    factories->Revoke();
    loop.Quit();
  };
  const auto endWhenUnused = [&] {
    if (module->InUse())
      factories->Resume();  // the system had shut the door already
    else
      end();
  };
  // Posted, so that a client which comes at this very moment is still served by this process.
  module = std::make_unique<ComModule>(
      host, program, EventLimit(host), [&] { loop.Post(endWhenUnused); }, end);
  {
    const Apartment apartment;  // ends before the module that its objects use
    factories.emplace(*module);
    const auto unusedTimer = loop.CreateTimer();
    const auto onUnused = unusedTimer->Tick.Subscribe([&] {
      unusedTimer->Enabled(false);
      if (!module->WasUsed()) endWhenUnused();
    });
    unusedTimer->Interval(unusedTime);
    unusedTimer->Enabled(true);
    loop.Post([&] { factories->Resume(); });
    loop.Run();
    factories.reset();
  }
}

}  // namespace

int RunServerProcess(const std::wstring& program) {
  const std::wstring folder = MoveToOwnFolder();
  const OnlyInstance onlyInstance;
  if (!onlyInstance) return 0;
  TraceFile trace(std::filesystem::path(folder) / "TarnSclServer.trace");
  try {
    HostOptions options;
    options.trace = [&trace](std::string_view text) { trace.Write(text); };
    const auto host = CreateNativeHost(std::move(options));
    Serve(*host, program, onlyInstance.TookOver() ? kUnusedTimeOfSuccessor : kUnusedTime);
    return 0;
  } catch (const std::exception& error) {
    trace.Write(std::string("The server ends: ") + error.what());
    return 1;
  }
}

}  // namespace tarn
