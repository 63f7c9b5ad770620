// A client that follows a scale and answers its events in one of several ways.
//
//   lane_client WAY STOP_FILE [SCALE]      (scale 1)
//
//   fast      at once
//   slow      after a second and a half
//   hang      the first reading not before the stop file is there
//   give      at once, but hangs at the first call after it has handed in a log object, which is
//             when the server gives the object's reference back
//   NUMBER    at once; prints so often, and checks that each event comes before the print returns
//             and finds its own record
//
// Each reading is a line "weight GROSS at MILLISECONDS".
#include <windows.h>

#include <comdef.h>

#include <TarnSclServer.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "automation/script_host/event_sink.hpp"
#include "tests/automation/own_object.hpp"

_COM_SMARTPTR_TYPEDEF(_PrintData, __uuidof(_PrintData));
_COM_SMARTPTR_TYPEDEF(_TarnScale, __uuidof(_TarnScale));
_COM_SMARTPTR_TYPEDEF(_TarnScaleServer, __uuidof(_TarnScaleServer));
_COM_SMARTPTR_TYPEDEF(_TarnServerConnection, __uuidof(_TarnServerConnection));
_COM_SMARTPTR_TYPEDEF(_WeightData, __uuidof(_WeightData));

namespace {

using tarn::script_host::Check;
using tarn::script_host::EventConnection;

void Say(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

class Client final : public tarn::UncountedObject<IMessageFilter> {
 public:
  Client(std::string_view way, const char* stopFile, SHORT scale) : way_(way), stopFile_(stopFile) {
    Check(connection_.CreateInstance(CLSID_TarnServerConnection, nullptr, CLSCTX_LOCAL_SERVER));
    LONG component = 0;
    Check(connection_->get_TarnScaleServer(&component, &server_));
    Check(server_->GetScale(scale, &scale_));
    Check(scale_->get_WeightData(&weight_));
  }

  void Follow() {
    if (way_ == "give") HandIn();
    const EventConnection events(*weight_, [&](const std::wstring& event, DISPPARAMS&) {
      return event == L"NewWeight" ? OnReading() : S_OK;
    });
    if (const int count = std::atoi(way_.data()); count > 0) Print(count);
    while (!IsStopped()) {
      MsgWaitForMultipleObjectsEx(0, nullptr, 50, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
      MSG message;
      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    }
    Check(CoRegisterMessageFilter(nullptr, nullptr));
  }

  STDMETHODIMP_(DWORD) HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO) override {
    Hang();
    return SERVERCALL_ISHANDLED;
  }
  STDMETHODIMP_(DWORD) RetryRejectedCall(HTASK, DWORD, DWORD) override { return MAXDWORD; }
  STDMETHODIMP_(DWORD) MessagePending(HTASK, DWORD, DWORD) override {
    return PENDINGMSG_WAITDEFPROCESS;
  }

 private:
  bool IsStopped() const { return GetFileAttributesA(stopFile_) != INVALID_FILE_ATTRIBUTES; }
  void Hang() const {
    Say("hanging");
    while (!IsStopped()) Sleep(50);
  }

  HRESULT OnReading() {
    double gross = 0;
    const HRESULT result = weight_->get_GrossWeightValue(&gross);
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    std::printf(
        "weight %g at %lld\n", gross,
        static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count()));
    std::fflush(stdout);
    if (way_ == "slow") Sleep(1500);
    if (way_ == "hang" && gross > 0) Hang();
    return result;
  }

  void HandIn() {
    static tarn::Own<IDispatch> log;
    Check(CoRegisterMessageFilter(this, nullptr));
    Check(server_->putref_LogFile(&log));
    Say("handed in");
  }

  void Print(int count) {
    _PrintDataPtr print;
    Check(scale_->get_PrintData(&print));
    double seen = 0, found = 0;
    int events = 0, wrong = 0;
    const EventConnection prints(*print, [&](const std::wstring&, DISPPARAMS&) {
      ++events;
      return print->get_GrossWeightValue(&seen);
    });
    for (int i = 0; i < count; ++i) {
      const int before = events;
      Check(scale_->printRequest(VARIANT_TRUE));
      const bool inTime = events == before + 1;
      Check(print->get_GrossWeightValue(&found));
      if (!inTime || seen != found) ++wrong;
    }
    std::printf("prints %d wrong %d\n", count, wrong);
    std::fflush(stdout);
  }

  const std::string_view way_;
  const char* const stopFile_;
  _TarnServerConnectionPtr connection_;
  _TarnScaleServerPtr server_;
  _TarnScalePtr scale_;
  _WeightDataPtr weight_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  int status = 0;
  try {
    const int scale = argc > 3 ? std::atoi(argv[3]) : 1;
    Client(argv[1], argv[2], static_cast<SHORT>(scale)).Follow();
    Say("All of lane_client");
  } catch (HRESULT result) {
    std::printf("failed (%08lX)\n", static_cast<unsigned long>(result));
    status = 1;
  }
  CoUninitialize();
  return status;
}
