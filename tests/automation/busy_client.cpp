// A client that makes trouble: it is busy, hangs, or hands its objects on.
//
// It prints the readings of scale 1. After the third one it refuses calls, as a spreadsheet does
// while its user edits a cell.
//
//   busy_client CALLS_TO_REFUSE STOP_FILE
//   busy_client advise STOP_FILE   does not return from the first call that comes in, which is the
//                                  server's question to the sink in the middle of Advise
//   busy_client WAY STOP_FILE      hands an object to the server that does not return when it is
//                                  asked what it is: "late" bound as a protocol, as the data of a
//                                  "tag", or as the "log"
//
// Or hands the server on to another program, as a launcher does:
//   busy_client give FILE        writes a reference to the server into the file and waits
//   busy_client take FILE        takes it and reads an alias again and again
#include <windows.h>

#include <comdef.h>
#include <shlwapi.h>

#include <TarnSclServer.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "automation/script_host/event_sink.hpp"
#include "tests/automation/own_object.hpp"

_COM_SMARTPTR_TYPEDEF(_SDTagInfo, __uuidof(_SDTagInfo));
_COM_SMARTPTR_TYPEDEF(_TarnScale, __uuidof(_TarnScale));
_COM_SMARTPTR_TYPEDEF(_TarnScaleServer, __uuidof(_TarnScaleServer));
_COM_SMARTPTR_TYPEDEF(_TarnServerConnection, __uuidof(_TarnServerConnection));
_COM_SMARTPTR_TYPEDEF(_WeightData, __uuidof(_WeightData));

namespace {

using tarn::script_host::Check;

bool IsThere(const char* file) {
  return GetFileAttributesA(file) != INVALID_FILE_ATTRIBUTES;
}

/// Asked before each call into this apartment.
class Filter final : public tarn::UncountedObject<IMessageFilter> {
 public:
  void Refuse(int calls) { left_ = calls; }
  void Hang(const char* untilFile) { untilFile_ = untilFile; }

  STDMETHODIMP_(DWORD) HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO) override {
    if (const char* file = std::exchange(untilFile_, nullptr)) {
      Say("hanging");
      while (!IsThere(file)) Sleep(50);
    }
    if (left_ == 0) return SERVERCALL_ISHANDLED;
    if (--left_ == 0) Say("free again");
    return SERVERCALL_REJECTED;
  }
  STDMETHODIMP_(DWORD) RetryRejectedCall(HTASK, DWORD, DWORD) override {
    return static_cast<DWORD>(-1);
  }
  STDMETHODIMP_(DWORD) MessagePending(HTASK, DWORD, DWORD) override {
    return PENDINGMSG_WAITDEFPROCESS;
  }

  static void Say(const char* text) {
    std::puts(text);
    std::fflush(stdout);
  }

 private:
  int left_ = 0;
  const char* untilFile_ = nullptr;
};

_TarnServerConnectionPtr Connect() {
  _TarnServerConnectionPtr connection;
  Check(connection.CreateInstance(CLSID_TarnServerConnection, nullptr, CLSCTX_LOCAL_SERVER));
  return connection;
}

_TarnScaleServerPtr ServerOf(_TarnServerConnection& connection) {
  LONG component = 0;
  _TarnScaleServerPtr server;
  Check(connection.get_TarnScaleServer(&component, &server));
  return server;
}

[[noreturn]] void Give(const char* name) {
  const auto connection = Connect();
  tarn::ComPtr<IStream> stream;
  HGLOBAL memory = nullptr;
  Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.Receive()));
  Check(CoMarshalInterface(stream.Get(), __uuidof(_TarnServerConnection), connection, MSHCTX_LOCAL,
                           nullptr, MSHLFLAGS_NORMAL));
  Check(GetHGlobalFromStream(stream.Get(), &memory));
  std::FILE* file = std::fopen(name, "wb");
  std::fwrite(GlobalLock(memory), 1, GlobalSize(memory), file);
  std::fclose(file);
  Filter::Say("given");
  for (;;) Sleep(INFINITE);
}

[[noreturn]] void Take(const char* name) {
  tarn::ComPtr<IStream> stream;
  Check(SHCreateStreamOnFileA(name, STGM_READ, stream.Receive()));
  _TarnServerConnectionPtr connection;
  Check(CoUnmarshalInterface(stream.Get(), __uuidof(_TarnServerConnection),
                             reinterpret_cast<void**>(&connection)));
  for (;; Sleep(100)) {
    _TarnScalePtr scale;
    Check(ServerOf(*connection)->GetScale(1, &scale));
    Filter::Say("read");
  }
}

/// Hangs when it is asked for the interface, or for its value, until the stop file is there.
class Hanging final : public tarn::Own<IDispatch> {
 public:
  Hanging(const IID& at, const char* untilFile) : at_(at), untilFile_(untilFile) {}
  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    if (iid == at_) Hang();
    return Own::QueryInterface(iid, object);
  }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    return Hang();
  }

 private:
  HRESULT Hang() {
    Filter::Say("hanging");
    while (!IsThere(untilFile_)) Sleep(50);
    return E_NOTIMPL;
  }

  const IID at_;
  const char* untilFile_;
};

/// By which the server knows its own objects. No client is asked for it.
constexpr IID kOfTheServer = {
    0x61254325, 0x3668, 0x4b1c, {0x8c, 0xce, 0x26, 0x7f, 0x33, 0x8c, 0xad, 0xa3}};

/// How the server takes an object of this program's; no interest in any other way.
HRESULT HandOver(std::string_view way, const char* stopFile, _TarnScaleServer* server) {
  static Hanging own(way == "late" ? __uuidof(_Protocol) : kOfTheServer, stopFile);
  if (way == "log") return server->putref_LogFile(&own);
  if (way == "late") {
    _TarnScalePtr other;
    Check(server->GetScale(2, &other));
    DISPID put = DISPID_PROPERTYPUT;
    _variant_t given(&own);
    DISPPARAMS arguments{&given, &put, 1, 1};
    constexpr DISPID kProtocol = 10;
    return other->Invoke(kProtocol, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUTREF,
                         &arguments, nullptr, nullptr, nullptr);
  }
  if (way != "tag") return S_FALSE;
  _SDTagInfoPtr tag;
  Check(tag.CreateInstance(CLSID_SDTagInfo, nullptr, CLSCTX_LOCAL_SERVER));
  return tag->putref_TagData(_variant_t(&own));
}

void Follow(const char* way, const char* stopFile) {
  Filter filter;
  Check(CoRegisterMessageFilter(&filter, nullptr));
  const auto connection = Connect();
  const auto server = ServerOf(*connection);
  _TarnScalePtr scale;
  Check(server->GetScale(1, &scale));
  _WeightDataPtr weight;
  Check(scale->get_WeightData(&weight));
  if (std::string_view(way) == "advise") filter.Hang(stopFile);
  const HRESULT handed = HandOver(way, stopFile, server);
  if (handed != S_FALSE) {
    std::printf("taken %08lX\n", static_cast<unsigned long>(handed));
    std::fflush(stdout);
  }
  int readings = 0;
  const tarn::script_host::EventConnection events(
      *weight, [&](const std::wstring& event, DISPPARAMS&) {
        if (event != L"NewWeight") return S_OK;
        double gross = 0;
        const HRESULT result = weight->get_GrossWeightValue(&gross);
        std::printf("weight %g\n", gross);
        std::fflush(stdout);
        if (gross > 0 && ++readings == 3) filter.Refuse(std::atoi(way));
        return result;
      });
  while (!IsThere(stopFile)) {
    MsgWaitForMultipleObjectsEx(0, nullptr, 50, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
  }
  Check(CoRegisterMessageFilter(nullptr, nullptr));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  int status = 0;
  try {
    const std::string_view way = argv[1];
    if (way == "give") Give(argv[2]);
    if (way == "take") Take(argv[2]);
    Follow(argv[1], argv[2]);
    Filter::Say("All of busy_client");
  } catch (HRESULT result) {
    std::printf("failed (%08lX)\n", static_cast<unsigned long>(result));
    status = 1;
  }
  CoUninitialize();
  return status;
}
