#include "automation/server_process.hpp"

#include <windows.h>

#include <objbase.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "automation/class_factories.hpp"
#include "automation/com_module.hpp"
#include "automation/com_unknown.hpp"
#include "automation/security.hpp"
#include "automation/trace_file.hpp"
#include "automation/windows_error.hpp"
#include "base/number_text.hpp"
#include "platform/native_host.hpp"
#include "platform/program.hpp"
#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_service.hpp"
#include "platform/win32/win32_text.hpp"
#include "server/tarn_server_connection.hpp"

namespace tarn {
namespace {

constexpr const char* kName = "TarnSclServer";

/// Milliseconds that a process stays for which no client comes.
constexpr std::int32_t kUnusedTime = 15000;
/// The same for one that took over: its client, if it was not served by the former process, is
/// there.
constexpr std::int32_t kUnusedTimeOfSuccessor = 5000;
/// The same after the last outside reference has gone. Clients come in series, and one that comes
/// now need not wait for another process.
constexpr std::int32_t kLingeringTime = 1000;
/// Milliseconds that taking the registrations back may take.
constexpr std::int32_t kClosingTime = 2000;
/// Milliseconds, and how many times, that the process then waits for clients that found a class
/// factory before.
constexpr std::int32_t kLastCallTime = 100;
constexpr int kLastCalls = 20;
/// Milliseconds that a second process waits for the first one to end. The first one needs less once
/// it has taken its registrations back.
constexpr DWORD kSuccessionTime = 5000;

/// Two clients that start at the same moment may each have a process launched. Only one serves: the
/// second one waits, either to take over from one that is just ending, or until its client has
/// found the first one. Given back by the end of the process.
class OnlyInstance {
 public:
  OnlyInstance() : mutex_(CreateMutexW(nullptr, FALSE, L"Local\\TarnSclServer.OnlyInstance")) {
    Wait(0);
    tookOver_ = !owned_;
    if (!owned_) Wait(kSuccessionTime);
  }
  OnlyInstance(const OnlyInstance&) = delete;
  OnlyInstance& operator=(const OnlyInstance&) = delete;
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
  std::wstring folder = ToWide(ProgramDataFolder(kName));
  SetCurrentDirectoryW(folder.c_str());
  return folder;
}

/// A whole number from 1 to `most`; the present one where there is none.
void ReadSetting(Host& host, const char* name, double most, double& value) {
  try {
    const auto text = host.Settings().Get("Settings", name);
    if (!text) return;
    const double number = WholeNumber(*text);
    if (number >= 1 && number <= most) {
      value = number;
      return;
    }
    host.Trace(std::string("The setting ") + name + " is out of its range");
  } catch (const std::exception& error) {
    host.Trace(std::string("The setting ") + name + " cannot be read: " + error.what());
  }
}

LaneLimits LimitsOfClients(Host& host) {
  LaneLimits limits;
  ReadSetting(host, "EventTimeout", std::numeric_limits<std::int32_t>::max(), limits.hung);
  ReadSetting(host, "ClientShare", 100, limits.oneClient);
  ReadSetting(host, "AllClientsShare", 100, limits.allClients);
  return limits;
}

/// Reports the calls that come in. Lives as long as the process.
class CallFilter final : public UncountedObject<IMessageFilter> {
 public:
  explicit CallFilter(ProcessWatch& clients) : clients_(clients) {}

  STDMETHODIMP_(DWORD) HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO) override {
    clients_.Called();
    return SERVERCALL_ISHANDLED;
  }
  STDMETHODIMP_(DWORD) RetryRejectedCall(HTASK, DWORD, DWORD) override {
    return static_cast<DWORD>(-1);
  }
  STDMETHODIMP_(DWORD) MessagePending(HTASK, DWORD, DWORD) override {
    return PENDINGMSG_WAITDEFPROCESS;
  }

 private:
  ProcessWatch& clients_;
};

/// Decides when the process ends. Some time after the last outside reference has gone, the
/// registrations are taken back, and the system sends new clients to the next process. The process
/// waits for clients that have found a factory before, and registers again when one of them creates
/// something. So a client that comes at any moment is served by this process or by the next one.
class OpeningHours {
 public:
  OpeningHours(MessageLoop& loop, const ComModule& module, ClassFactories& factories)
      : loop_(loop),
        module_(module),
        factories_(factories),
        timer_(loop.CreateTimer()),
        onTick_(timer_->Tick.Subscribe([this] { OnTick(); })) {}

  /// The process may be in use no more.
  void Unused() {
    if (door_ != Door::Closed) LookIn(kLingeringTime);
  }
  void LookIn(std::int32_t milliseconds) {
    timer_->Interval(milliseconds);
    timer_->Enabled(true);
  }

 private:
  enum class Door { Open, Closing, Closed };

  void OnTick() {
    timer_->Enabled(false);
    if (door_ == Door::Closed) return EndOrReopen();
    if (module_.InUse()) return;
    if (door_ == Door::Open) return Close();
    // A client that hangs keeps the system from closing; it hangs on with the next process.
    if (factories_.Refuse()) loop_.Quit();
  }

  void Close() {
    door_ = Door::Closing;
    LookIn(kClosingTime);
    factories_.Close([this] {
      door_ = Door::Closed;
      lastCalls_ = kLastCalls;
      EndOrReopen();
    });
  }

  void EndOrReopen() {
    LookIn(kLastCallTime);
    if (module_.InUse()) {
      factories_.Reopen();
      door_ = Door::Open;
      return Unused();
    }
    const bool awaited = factories_.AreHeld() && --lastCalls_ > 0;
    if (!awaited && factories_.Refuse()) loop_.Quit();
  }

  MessageLoop& loop_;
  const ComModule& module_;
  ClassFactories& factories_;
  Door door_ = Door::Open;
  int lastCalls_ = 0;
  std::unique_ptr<Timer> timer_;
  Subscription onTick_;
};

/// All that matters is closed by now, or closes with the process. Nothing is taken apart: threads
/// may still wait for clients that hang, or come back from them to what they use here, and the
/// system's libraries could wait for those threads for ever.
[[noreturn]] void EndProcess(int status) {
  std::fflush(nullptr);
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
  std::abort();  // never reached
}

/// The scales of a service run from its start to its end, whoever connects. One that does not start
/// keeps no other from starting, since nobody is there to mend it.
class UnattendedServer {
 public:
  explicit UnattendedServer(Host& host) : own_(host, StartMode::EachScale) {}

  /// For the clients, too.
  void ShutDown() {
    std::int32_t any = 0;
    own_.TarnScaleServer(any)->ShutDown();
  }

 private:
  TarnServerConnection own_;
};

/// Ends the process. `unusedTime` is that of OpeningHours, which a service does not have.
[[noreturn]] void Serve(Host& host, const std::wstring& program, std::int32_t unusedTime,
                        Win32Service* service) {
  MessageLoop& loop = host.Loop();
  Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "starting COM");
  SecureProcess();
  std::optional<OpeningHours> hours;
  ComModule module(host, program, LimitsOfClients(host), [&] {
    loop.Post([&hours] {
      if (hours) hours->Unused();
    });
  });
  CallFilter filter(module.Clients());
  Check(CoRegisterMessageFilter(&filter, nullptr), "watching the calls");
  ClassFactories factories(module);
  std::optional<UnattendedServer> unattended;
  if (service != nullptr)
    unattended.emplace(host);
  else
    hours.emplace(loop, module, factories);
  loop.Post([&] {
    factories.Resume();
    if (hours) hours->LookIn(unusedTime);
    if (service != nullptr) service->Running([&loop] { loop.Quit(); });
  });
  loop.Run();
  if (unattended) {
    bool closed = false;
    factories.Close([&closed] { closed = true; });
    loop.RunUntil([&closed] { return closed; }, kClosingTime);
    factories.Refuse();
    unattended->ShutDown();
    service->Stopped(0);
  }
  EndProcess(0);
}

}  // namespace

void RunServerProcess(const std::wstring& program, Win32Service* service) {
  const std::wstring folder = MoveToOwnFolder();
  const OnlyInstance onlyInstance;
  if (!onlyInstance) {
    if (service != nullptr) service->Stopped(ERROR_SERVICE_ALREADY_RUNNING);
    EndProcess(0);
  }
  TraceFile trace(std::filesystem::path(folder) / "TarnSclServer.trace");
  HostOptions options;
  options.trace = [&trace](std::string_view text) { trace.Write(text); };
  if (service != nullptr) options.filesBelow = FromWide(folder);
  try {
    const auto host = CreateNativeHost(std::move(options));
    Serve(*host, program, onlyInstance.TookOver() ? kUnusedTimeOfSuccessor : kUnusedTime, service);
  } catch (const std::exception& error) {
    trace.Write(std::string("The server ends: ") + error.what());
    if (service != nullptr) service->Stopped(ERROR_EXCEPTION_IN_SERVICE);
    EndProcess(1);
  }
}

}  // namespace tarn
