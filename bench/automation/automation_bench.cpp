// What clients get out of the Automation server across processes: properties read a second, events
// a second, and what one event costs the server for each client that receives it.
//
//   bench_automation [SECONDS]
//   bench_automation fetch [SECONDS]     what it costs to fetch objects anew
//   bench_automation memory [ACCESSES]   what is left behind in the server by as many accesses
//
// The server must be registered. Clients are further processes of this program; each
// reports its count as its exit code.
#include <windows.h>

#include <comdef.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <TarnSclServer.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "automation/script_host/event_sink.hpp"
#include "platform/win32/win32_handle.hpp"

_COM_SMARTPTR_TYPEDEF(_Connection, __uuidof(_Connection));
_COM_SMARTPTR_TYPEDEF(_PrintData, __uuidof(_PrintData));
_COM_SMARTPTR_TYPEDEF(_SDTagInfo, __uuidof(_SDTagInfo));
_COM_SMARTPTR_TYPEDEF(_TarnScale, __uuidof(_TarnScale));
_COM_SMARTPTR_TYPEDEF(_TarnScaleServer, __uuidof(_TarnScaleServer));
_COM_SMARTPTR_TYPEDEF(_TarnServerConnection, __uuidof(_TarnServerConnection));
_COM_SMARTPTR_TYPEDEF(_WeightData, __uuidof(_WeightData));

namespace {

using tarn::OwnedHandle;
using Clock = std::chrono::steady_clock;

constexpr const wchar_t* kReady = L"Local\\tarn_bench.ready";
constexpr const wchar_t* kStart = L"Local\\tarn_bench.start";
constexpr const wchar_t* kStop = L"Local\\tarn_bench.stop";
constexpr DWORD kPatience = 120000;  // ms
constexpr int kClientCounts[] = {1, 4, 16};

void Check(HRESULT result) {
  if (FAILED(result)) throw result;
}

void CheckThat(bool fulfilled) {
  if (!fulfilled) throw HRESULT_FROM_WIN32(GetLastError());
}

_TarnScaleServerPtr Server() {
  static _TarnServerConnectionPtr connection;
  if (!connection) {
    Check(connection.CreateInstance(CLSID_TarnServerConnection, nullptr, CLSCTX_LOCAL_SERVER));
  }
  LONG component = 0;
  _TarnScaleServerPtr server;
  Check(connection->get_TarnScaleServer(&component, &server));
  return server;
}

_TarnScalePtr Scale() {
  _TarnScalePtr scale;
  Check(Server()->GetScale(1, &scale));
  return scale;
}

bool IsSet(const OwnedHandle& event) {
  return WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
}

void WaitWithMessages(const OwnedHandle& event) {
  HANDLE handle = event.Get();
  while (MsgWaitForMultipleObjectsEx(1, &handle, kPatience, QS_ALLINPUT, MWMO_INPUTAVAILABLE) ==
         WAIT_OBJECT_0 + 1) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
  }
}

// --- A client's process --------------------------------------------------------------------------

struct Signals {
  OwnedHandle ready{CreateSemaphoreW(nullptr, 0, 100, kReady)};
  OwnedHandle start{CreateEventW(nullptr, TRUE, FALSE, kStart)};
  OwnedHandle stop{CreateEventW(nullptr, TRUE, FALSE, kStop)};

  void Begin() const {
    ReleaseSemaphore(ready.Get(), 1, nullptr);
    WaitForSingleObject(start.Get(), kPatience);
  }
};

int CountUntilStopped(const Signals& signals, const std::function<void()>& read) {
  signals.Begin();
  int count = 0;
  for (; !IsSet(signals.stop); ++count) read();
  return count;
}

DISPID IdOf(IDispatch& object) {
  std::wstring name = L"GrossWeightValue";
  LPOLESTR names = name.data();
  DISPID id = DISPID_UNKNOWN;
  Check(object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id));
  return id;
}

void ReadById(IDispatch& object, DISPID id) {
  DISPPARAMS none{};
  tarn::Variant value;
  Check(object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, value.Get(),
                      nullptr, nullptr));
}

int Read(const std::wstring& way, const Signals& signals) {
  _WeightDataPtr weight;
  Check(Scale()->get_WeightData(&weight));
  const DISPID id = IdOf(*weight);
  if (way == L"by-id") return CountUntilStopped(signals, [&] { ReadById(*weight, id); });
  if (way == L"by-name") {
    return CountUntilStopped(signals, [&] { ReadById(*weight, IdOf(*weight)); });
  }
  return CountUntilStopped(signals, [&] {
    double value = 0;
    Check(weight->get_GrossWeightValue(&value));
  });
}

int Listen(const Signals& signals) {
  _PrintDataPtr print;
  Check(Scale()->get_PrintData(&print));
  int count = 0;
  const tarn::script_host::EventConnection events(*print, [&](const std::wstring&, DISPPARAMS&) {
    ++count;
    return S_OK;
  });
  signals.Begin();
  WaitWithMessages(signals.stop);
  return count;
}

// --- The measuring process -----------------------------------------------------------------------

/// Clients at work from the constructor until Stop.
class Clients {
 public:
  Clients(const wchar_t* way, int count) {
    for (int i = 0; i < count; ++i) Start(way);
    for (int i = 0; i < count; ++i) {
      CheckThat(WaitForSingleObject(signals_.ready.Get(), kPatience) == WAIT_OBJECT_0);
    }
    SetEvent(signals_.start.Get());
  }

  std::vector<int> Stop() {
    SetEvent(signals_.stop.Get());
    std::vector<int> counts;
    for (const OwnedHandle& process : processes_) {
      DWORD code = 0;
      WaitWithMessages(process);
      GetExitCodeProcess(process.Get(), &code);
      counts.push_back(static_cast<int>(code));
    }
    return counts;
  }

 private:
  void Start(const wchar_t* way) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(program) + L"\" " + way;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    CheckThat(CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process));
    CloseHandle(process.hThread);
    processes_.emplace_back(process.hProcess);
  }

  Signals signals_;
  std::vector<OwnedHandle> processes_;
};

PROCESSENTRY32W ServerEntry() {
  const OwnedHandle all(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(all.Get(), &entry); more;
       more = Process32NextW(all.Get(), &entry)) {
    if (_wcsicmp(entry.szExeFile, L"TarnSclServer.exe") == 0) break;
  }
  return entry;
}

HANDLE ServerProcess() {
  static const OwnedHandle server(
      OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, ServerEntry().th32ProcessID));
  return server.Get();
}

/// Processor time of the server so far, in microseconds.
double ServerTime() {
  FILETIME ignored, kernel, user;
  CheckThat(GetProcessTimes(ServerProcess(), &ignored, &ignored, &kernel, &user));
  const auto ticks = [](const FILETIME& time) {
    return static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime;
  };
  return (ticks(kernel) + ticks(user)) / 10;
}

double ReadsPerSecond(const wchar_t* way, int clients, double seconds) {
  Clients readers(way, clients);
  const auto start = Clock::now();
  Sleep(static_cast<DWORD>(seconds * 1000));
  const double took = std::chrono::duration<double>(Clock::now() - start).count();
  double sum = 0;
  for (const int count : readers.Stop()) sum += count;
  return sum / took;
}

void MeasureReads(double seconds) {
  std::printf("%-34s%10s%12s%12s\n", "properties read a second", "1 client", "4 clients",
              "16 clients");
  double early[3] = {};
  for (const auto& [way, name] : {std::pair(L"early", "early bound"), std::pair(L"by-id", "late"),
                                  std::pair(L"by-name", "late, the name looked up each time")}) {
    std::printf("%-34s", name);
    for (int i = 0; i < 3; ++i) {
      const double reads = ReadsPerSecond(way, kClientCounts[i], seconds);
      if (early[i] == 0) early[i] = reads;
      std::printf("%7.0f %3.0f%%", reads, 100 * reads / early[i]);
      std::fflush(stdout);
    }
    std::puts("");
  }
}

struct Cost {
  double call = 0;       ///< microseconds for one call that raises the event
  double processor = 0;  ///< of these, the server's own processor time
  double calls = 0;      ///< a second
  int lost = 0;
};

Cost Print(int clients, double seconds) {
  Clients listeners(L"listen", clients);
  const auto scale = Scale();
  const double processor = ServerTime();
  const auto start = Clock::now();
  double took = 0;
  int calls = 0;
  for (; took < seconds; ++calls) {
    Check(scale->printRequest(VARIANT_TRUE));
    took = std::chrono::duration<double>(Clock::now() - start).count();
  }
  Cost cost{took * 1e6 / calls, (ServerTime() - processor) / calls, calls / took, 0};
  for (const int count : listeners.Stop()) cost.lost += std::abs(calls - count);
  return cost;
}

void MeasureEvents(double seconds) {
  Check(Server()->put_LoggingEnabled(VARIANT_FALSE));
  std::printf("\n%-10s%14s%18s%24s%8s\n", "clients", "events/s", "us per event",
              "server's processor, us", "lost");
  const Cost alone = Print(0, seconds);
  std::printf("%-10s%14s%18.1f%24.1f\n", "none", "(the call)", alone.call, alone.processor);
  for (const int clients : kClientCounts) {
    const Cost cost = Print(clients, seconds);
    std::printf("%-10d%14.0f%18.1f%24.1f%8d\n", clients, cost.calls * clients,
                (cost.call - alone.call) / clients, (cost.processor - alone.processor) / clients,
                cost.lost);
    std::fflush(stdout);
  }
}

// --- Objects fetched anew ------------------------------------------------------------------------

struct FetchCost {
  double took = 0;       ///< milliseconds for one
  double processor = 0;  ///< of these, the server's own processor time
};

FetchCost CostOf(double seconds, const std::function<void(SHORT number)>& access) {
  access(1);  // what is made once
  const double processor = ServerTime();
  const auto start = Clock::now();
  double took = 0;
  int count = 0;
  for (; took < seconds; ++count) {
    access(static_cast<SHORT>(count % 32 + 1));
    took = std::chrono::duration<double>(Clock::now() - start).count();
  }
  return {took * 1e3 / count, (ServerTime() - processor) / 1e3 / count};
}

void ReadWeightOf(_TarnScale& scale) {
  _WeightDataPtr weight;
  Check(scale.get_WeightData(&weight));
  double value = 0;
  Check(weight->get_GrossWeightValue(&value));
}

/// Subscribes to a record's events and unsubscribes.
void ConnectToEvents() {
  _WeightDataPtr weight;
  Check(Scale()->get_WeightData(&weight));
  const tarn::script_host::EventConnection events(
      *weight, [](const std::wstring&, DISPPARAMS&) { return S_OK; });
}

/// A poller that keeps less and less of what it fetched.
void MeasureFetches(double seconds) {
  const _TarnScaleServerPtr server = Server();
  std::vector<_TarnScalePtr> scales(32);
  std::vector<_WeightDataPtr> weights(32);
  for (SHORT i = 0; i < 32; ++i) {
    Check(server->GetScale(static_cast<SHORT>(i + 1), &scales[i]));
    Check(scales[i]->get_WeightData(&weights[i]));
  }
  const auto fetch = [&](SHORT number) {
    _TarnScalePtr scale;
    Check(server->GetScale(number, &scale));
    ReadWeightOf(*scale);
  };
  const auto show = [](const char* name, const FetchCost& cost) {
    std::printf("%-46s%10.2f%20.2f\n", name, cost.took, cost.processor);
    std::fflush(stdout);
  };
  std::printf("%-46s%10s%20s\n", "a weight of 32 scales in turn", "ms each", "server's processor");
  show("a read of a record that is kept", CostOf(seconds, [&](SHORT number) {
         double value = 0;
         Check(weights[static_cast<std::size_t>(number - 1)]->get_GrossWeightValue(&value));
       }));
  show("fetched anew, this program keeps them all", CostOf(seconds, fetch));
  weights.clear();
  show("record fetched anew from a scale that is kept", CostOf(seconds, [&](SHORT number) {
         ReadWeightOf(*scales[static_cast<std::size_t>(number - 1)]);
       }));
  scales.clear();
  show("GetScale(n).WeightData fetched anew", CostOf(seconds, fetch));
  tarn::ComPtr<ITypeLib> library;
  Check(LoadRegTypeLib(LIBID_TarnSclServer, 1, 0, LOCALE_NEUTRAL, library.Receive()));
  show("the same, this program holds the type library", CostOf(seconds, fetch));
  show("events connected and disconnected", CostOf(seconds, [](SHORT) { ConnectToEvents(); }));
}

// --- What stays behind ---------------------------------------------------------------------------

struct Held {
  double kilobytes;
  DWORD handles;
  DWORD threads;
};

/// Twice the time that an idle thread of the server may take to end.
Held HeldByServer() {
  Sleep(2000);
  PROCESS_MEMORY_COUNTERS memory{};
  DWORD handles = 0;
  CheckThat(K32GetProcessMemoryInfo(ServerProcess(), &memory, sizeof memory));
  CheckThat(GetProcessHandleCount(ServerProcess(), &handles));
  return {static_cast<double>(memory.PagefileUsage) / 1024, handles, ServerEntry().cntThreads};
}

void ReadAWeight() {
  _WeightDataPtr weight;
  Check(Scale()->get_WeightData(&weight));
  tarn::Bstr text;
  Check(weight->get_NetWeight(text.Receive()));
}

void ReplaceAConnection() {
  _ConnectionPtr link;
  Check(link.CreateInstance(CLSID_SerialConnection, nullptr, CLSCTX_LOCAL_SERVER));
  Check(Scale()->putref_Connection(link));
}

void LeaveAnOwnObject() {
  _SDTagInfoPtr tag;
  Check(tag.CreateInstance(CLSID_SDTagInfo, nullptr, CLSCTX_LOCAL_SERVER));
  tarn::ComPtr<ICreateErrorInfo> own;
  Check(CreateErrorInfo(own.Receive()));
  Check(tag->putref_TagData(_variant_t(static_cast<IUnknown*>(own.Get()))));
  _variant_t read;
  Check(tag->get_TagData(&read));
}

constexpr struct {
  const char* name;
  void (*access)();
} kAccesses[] = {{"a weight read from the server on", ReadAWeight},
                 {"events connected and disconnected", ConnectToEvents},
                 {"a new connection for the scale", ReplaceAConnection},
                 {"an own object in a tag", LeaveAnOwnObject}};

void MeasureMemory(int accesses) {
  std::printf("%-34s%12s%12s%14s%10s%10s\n", "accesses", "KB before", "KB after", "bytes each",
              "handles", "threads");
  for (const auto& [name, access] : kAccesses) {
    for (int i = 0; i < 500; ++i) access();  // what is made once
    const Held before = HeldByServer();
    for (int i = 0; i < accesses; ++i) access();
    const Held after = HeldByServer();
    std::printf("%-34s%12.0f%12.0f%14.1f%+10ld%+10ld\n", name, before.kilobytes, after.kilobytes,
                (after.kilobytes - before.kilobytes) * 1024 / accesses,
                static_cast<long>(after.handles) - static_cast<long>(before.handles),
                static_cast<long>(after.threads) - static_cast<long>(before.threads));
    std::fflush(stdout);
  }
}

int Run(const std::wstring& way, const std::wstring& count) {
  if (way == L"listen") return Listen(Signals());
  if (way == L"early" || way == L"by-id" || way == L"by-name") return Read(way, Signals());
  if (way == L"fetch") {
    MeasureFetches(count.empty() ? 3 : std::wcstod(count.c_str(), nullptr));
    return 0;
  }
  if (way == L"memory") {
    const auto keptAlive = Server();
    MeasureMemory(count.empty() ? 18000
                                : static_cast<int>(std::wcstol(count.c_str(), nullptr, 10)));
    return 0;
  }
  const double seconds = way.empty() ? 3 : std::wcstod(way.c_str(), nullptr);
  const auto keptAlive = Server();
  MeasureReads(seconds);
  MeasureEvents(seconds);
  return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  int status = 1;
  try {
    status = Run(argc > 1 ? argv[1] : L"", argc > 2 ? argv[2] : L"");
  } catch (HRESULT result) {
    std::printf("failed (%08lX)\n", static_cast<unsigned long>(result));
  }
  CoUninitialize();
  return status;
}
