// Calls every slot of every interface by its number, from a process of its own, and compares with
// what the same member answers by name.
#include <windows.h>

#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#include <TarnSclServer.h>

#include <string>
#include <vector>

#include "tests/automation/slot_walker.hpp"
#include "tests/automation/vtable_network.hpp"

namespace {

using namespace tarn::slots;
using tarn::ComPtr;
using tarn::Variant;

void WalkConnections(const ComPtr<IDispatch>& first, const ComPtr<IDispatch>& second) {
  Walk<_Connection>(first, {}, second);
  Walk<_SerialConnection>(first, {}, second);
  Walk<_NoConnection>(Create(CLSID_NoConnection));

  const auto port = ObjectOf(first.Get(), L"SaxPort");
  const auto face = Walk<_SerialPort>(port, {9, 13, 15, 18});
  if (!face) return;
  CheckSuccess(face.Get(), 9, {Variant(std::wstring_view(L"4800,n,8,1"))}, L"Settings");
  Variant settings = Read(port.Get(), L"Settings");
  Variant wanted(std::wstring_view(L"4800,n,8,1"));
  Expect(Equal(settings, wanted), L"Settings reads what was written");
  CallSlot(face.Get(), 7, {Number(VT_I2, 250)});
  Variant open = OfType(VT_BOOL);
  V_BOOL(open.Get()) = VARIANT_TRUE;
  CheckBasicError(face.Get(), 13, {open}, 8002, L"opening a port that is not there");
  CheckSuccess(face.Get(), 15, {Number(VT_I4, 0)}, L"dropping the input");
  CheckBasicError(face.Get(), 18, {Variant(std::wstring_view(L"T"))}, 8018, L"Output when closed");
}

void WalkProtocols(const ComPtr<IDispatch>& first, const ComPtr<IDispatch>& second) {
  const auto face = Walk<_Protocol>(first, {21, 25}, second);
  if (face) {
    Variant family = OfType(VT_I4);
    CheckSuccess(face.Get(), 21, {Number(VT_I4, 17), AddressOf(family)}, L"TypeToClass");
    Expect(V_I4(family.Get()) == 8, L"TypeToClass(17) is 8");
    Variant tare = Number(VT_R8, 12.5);
    CheckBasicError(face.Get(), 25, {AddressOf(tare)}, 8018, L"SetTare while the port is closed");
    Expect(V_R8(tare.Get()) == 12.5, L"SetTare leaves its value");
  }
  Walk<_TarnContinuousProtocol>(first);
  Walk<_NoProtocol>(Create(CLSID_NoProtocol));
}

std::vector<DWORD> CookiesOf(IConnectionPoint& point) {
  ComPtr<IEnumConnections> connections;
  CONNECTDATA found[4] = {};
  ULONG ignored = 0;  // Wine counts wrong
  const HRESULT listed = point.EnumConnections(connections.Receive());
  if (Expect(SUCCEEDED(listed), L"EnumConnections", listed)) connections->Next(4, found, &ignored);
  std::vector<DWORD> cookies;
  for (const CONNECTDATA& connection : found) {
    if (connection.pUnk == nullptr) continue;
    connection.pUnk->Release();
    cookies.push_back(connection.dwCookie);
  }
  return cookies;
}

/// Anything that can be called late may receive events.
void WalkEvents(const ComPtr<IDispatch>& record, IDispatch* sink) {
  ComPtr<IConnectionPoint> point;
  record.As<IConnectionPointContainer>(IID_IConnectionPointContainer)
      ->FindConnectionPoint(__uuidof(__WeightData), point.Receive());
  DWORD first = 0, second = 0, third = 0;
  Expect(SUCCEEDED(point->Advise(sink, &first)), L"Advise");
  Expect(SUCCEEDED(point->Advise(sink, &second)), L"Advise again");
  Expect(CookiesOf(*point.Get()) == std::vector{first, second}, L"both connections");
  Expect(SUCCEEDED(point->Unadvise(first)), L"Unadvise");
  Expect(point->Unadvise(first) == CONNECT_E_NOCONNECTION, L"Unadvise again");
  Expect(point->Advise(point.Get(), &third) == CONNECT_E_CANNOTCONNECT, L"Advise of no sink");
  Expect(SUCCEEDED(point->Advise(sink, &third)), L"Advise once more");
  Expect(CookiesOf(*point.Get()) == std::vector{second, third} && third != first, L"the rest");
  point->Unadvise(second);
  point->Unadvise(third);
}

void WalkRecords(IDispatch* scale) {
  WalkEvents(ObjectOf(scale, L"WeightData"), scale);
  Walk<_WeightData>(ObjectOf(scale, L"WeightData"));
  Walk<_PrintData>(ObjectOf(scale, L"PrintData"));
  const auto face =
      Walk<_TarnRecordTemplateData>(ObjectOf(scale, L"TarnRecordTemplateData"), {8, 9, 10, 11, 12});
  if (!face) return;
  Variant most = OfType(VT_I2);
  CheckSuccess(face.Get(), 8, {AddressOf(most)}, L"MaxNumFields");
  for (const int slot : {9, 11}) {
    Variant array = OfType(VT_ARRAY | VT_BSTR);
    CheckSuccess(face.Get(), slot, {AddressOf(array)}, L"an array of fields");
    LONG first = -1, last = -1;
    SafeArrayGetLBound(V_ARRAY(array.Get()), 1, &first);
    SafeArrayGetUBound(V_ARRAY(array.Get()), 1, &last);
    Expect(first == 1 && last == V_I2(most.Get()), L"an array has all fields");
  }
  for (const int slot : {10, 12}) {
    Variant text = OfType(VT_BSTR);
    CheckSuccess(face.Get(), slot, {Number(VT_I2, 1), AddressOf(text)}, L"one field");
    Variant none = OfType(VT_BSTR);
    CheckBasicError(face.Get(), slot, {Number(VT_I2, 999), AddressOf(none)}, 9, L"no such field");
  }
}

void WalkSummitData() {
  const auto face =
      Walk<_SummitData>(Create(CLSID_SummitData), {7, 9, 13, 14, 15, 16, 17, 18, 19, 20, 22});
  if (!face) return;
  // The base class files nothing, so there is nothing to read back.
  CheckSuccess(face.Get(), 7, {Number(VT_BOOL, 1)}, L"CommLossError");
  CheckSuccess(face.Get(), 9, {Number(VT_BOOL, 1)}, L"NoDataError of a data object");
  const Variant none = Object(nullptr);
  const Variant index = Number(VT_I2, 1);
  Variant bytes = OfType(VT_ARRAY | VT_UI1);
  V_ARRAY(bytes.Get()) = SafeArrayCreateVector(VT_UI1, 0, 4);
  CheckSuccess(face.Get(), 13, {Number(VT_BOOL, 1), none}, L"SetBitData");
  CheckSuccess(face.Get(), 14, {Number(VT_UI1, 1), none}, L"SetByteData");
  CheckSuccess(face.Get(), 15, {AddressOf(bytes), Number(VT_I2, 4), none}, L"SetCharArrayData");
  CheckSuccess(face.Get(), 16, {Number(VT_I4, 1), index, none}, L"SetLongData");
  CheckSuccess(face.Get(), 17, {Number(VT_R4, 1), index, none}, L"SetFloatData");
  CheckSuccess(face.Get(), 18, {Number(VT_R8, 1), index, none}, L"SetDoubleData");
  CheckSuccess(face.Get(), 19, {Variant(std::wstring_view(L"x")), index, none}, L"SetStringData");
  CheckSuccess(face.Get(), 20, {Number(VT_I2, 1), index, none}, L"SetIntData");
  Variant complete = OfType(VT_BOOL);
  CheckSuccess(face.Get(), 22, {AddressOf(complete)}, L"TriggersComplete");
}

void WalkScale(const ComPtr<IDispatch>& scale, const ComPtr<IDispatch>& other) {
  const auto face = Walk<_TarnScale>(scale, {17, 19, 40, 43}, other);
  if (!face) return;
  CheckSuccess(face.Get(), 18, {}, L"StopScale");
  CheckSuccess(face.Get(), 19, {Number(VT_BOOL, 0)}, L"printRequest");
  Expect(IsTrue(Read(scale.Get(), L"PRState")), L"printRequest waits");
  CheckSuccess(face.Get(), 19, {Number(VT_BOOL, 1)}, L"printRequest True");
  Variant tare = Number(VT_R8, 12.5);
  CheckSuccess(face.Get(), 40, {AddressOf(tare)}, L"SetTare of the scale");
  Variant name(std::wstring_view(L"NoSuchData"));
  Variant data = OfType(VT_DISPATCH);
  Variant lateName(std::wstring_view(L"NoSuchData"));
  Variant lateData;
  Expect(CallSlot(face.Get(), 43, {AddressOf(name), AddressOf(data)}) ==
             CallName(scale.Get(), L"GetAxDataObj", DISPATCH_METHOD, {lateName}, lateData),
         L"GetAxDataObj as by name");
  CallSlot(face.Get(), 28, {Number(VT_BOOL, 0)});
  Variant runs = OfType(VT_BOOL);
  CheckBasicError(face.Get(), 17, {AddressOf(runs)}, 8002, L"RunScale without its port");

  // The time of a scale that runs counts down between two reads.
  CheckSuccess(face.Get(), 18, {}, L"StopScale before the timer");
  const auto timer = ObjectOf(scale.Get(), L"ActivityTimer");
  const auto timerFace = Walk<_ActivityTimer>(timer, {7});
  CheckSuccess(timerFace.Get(), 7, {Number(VT_I4, 1000000)}, L"TimeoutTime");
  const LONG left = V_I4(Read(timer.Get(), L"TimeoutTime").Get());
  Expect(left % 200 == 0 && left > 500000 && left <= 1000200, L"TimeoutTime counts whole ticks");
  Walk<_Timer>(ObjectOf(scale.Get(), L"UpdateTimer"));
}

ComPtr<IDispatch> ScaleOf(IUnknown* server, int number) {
  Variant scale = OfType(VT_DISPATCH);
  const HRESULT result = CallSlot(server, 27, {Number(VT_I2, number), AddressOf(scale)});
  Expect(SUCCEEDED(result), L"GetScale", result);
  return ComPtr<IDispatch>(V_DISPATCH(scale.Get()));
}

void WalkServer(const ComPtr<IDispatch>& server) {
  const auto face = Walk<_TarnScaleServer>(server, {20, 21, 22, 24, 27}, server);
  if (!face) return;
  Variant path = OfType(VT_BSTR);
  CheckSuccess(face.Get(), 20, {Number(VT_I4, 0), AddressOf(path)}, L"GetServerPath");
  Expect(SysStringLen(V_BSTR(path.Get())) > 3, L"GetServerPath is a folder");
  CheckSuccess(face.Get(), 21, {Number(VT_BOOL, 1)}, L"LoadScaleSettings True");
  Expect(IsTrue(Read(server.Get(), L"CurrentFileNew")), L"a new configuration");

  const auto scale = ScaleOf(face.Get(), 1);
  const auto other = ScaleOf(face.Get(), 2);
  const auto serial = Create(CLSID_SerialConnection);
  const auto continuous = Create(CLSID_TarnContinuousProtocol);
  const auto scaleFace = scale.As<IUnknown>(IID__TarnScale);
  const auto otherFace = other.As<IUnknown>(IID__TarnScale);
  CallSlot(serial.As<IUnknown>(IID__SerialConnection).Get(), 9, {Number(VT_I2, 29)});
  CheckSuccess(scaleFace.Get(), 24, {Object(serial.Get())}, L"a new connection");
  CheckSuccess(scaleFace.Get(), 22, {Object(continuous.Get())}, L"a new protocol");
  CheckSuccess(otherFace.Get(), 35, {Object(Create(CLSID_SummitData).Get())}, L"a data object");

  CheckSuccess(face.Get(), 23, {}, L"SetComPortsUsed");
  for (const auto& [port, expected] : {std::pair(29, true), std::pair(28, false)}) {
    Variant used = OfType(VT_BOOL);
    CheckSuccess(face.Get(), 24, {Number(VT_I4, port), AddressOf(used)}, L"GetComPortUsed");
    Expect(IsTrue(used) == expected, L"the port in use");
  }
  Variant none = OfType(VT_DISPATCH);
  CheckBasicError(face.Get(), 27, {Number(VT_I2, 33), AddressOf(none)}, 9, L"GetScale(33)");
  WalkScale(scale, other);
  WalkRecords(scale.Get());
  const auto otherSerial = Create(CLSID_SerialConnection);
  WalkConnections(serial, otherSerial);
  CallSlot(otherFace.Get(), 24, {Object(otherSerial.Get())});
  WalkProtocols(continuous, ObjectOf(other.Get(), L"Protocol"));
  WalkSummitData();
  WalkNetwork(ScaleOf(face.Get(), 3).Get(), ScaleOf(face.Get(), 4).Get());

  const auto logFace = Walk<_TextStream>(ObjectOf(server.Get(), L"LogFile"), {7, 8});
  CheckSuccess(logFace.Get(), 7, {Variant(std::wstring_view(L"A line"))}, L"WriteLine");
  CheckSuccess(logFace.Get(), 8, {}, L"Close");
}

void WalkAll() {
  const auto face = Walk<_TarnServerConnection>(Create(CLSID_TarnServerConnection), {7});
  if (!face) return;
  Variant component = Number(VT_I4, 5);
  Variant server = OfType(VT_DISPATCH);
  CheckSuccess(face.Get(), 7, {AddressOf(component), AddressOf(server)}, L"TarnScaleServer");
  Expect(V_I4(component.Get()) == 5, L"the component number stays");
  const ComPtr<IDispatch> object(V_DISPATCH(server.Get()));
  if (object) WalkServer(object);
}

}  // namespace

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  WalkAll();
  CoUninitialize();
  return tarn::slots::Report("vtable_client");
}
