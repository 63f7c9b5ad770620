// Calls every slot of every interface by its number, from a process of its own, and compares with
// what the same member answers by name.
//
// The tables below are the published layout, written down once more: a slot that moved is found
// here even where the header and the library agree about its new place. The library is asked only
// for the names of the slots and their count.
#include <windows.h>

#include <oleauto.h>

#include <TarnSclServer.h>

#include <string>
#include <vector>

#include "tests/automation/slot_walker.hpp"
#include "tests/automation/vtable_network.hpp"

namespace {

using namespace tarn::slots;
using tarn::ComPtr;
using tarn::Variant;

void WalkConnections(IDispatch* first, IDispatch* second) {
  const Subject contract{L"_Connection", IID__Connection, ComPtr<IDispatch>(first),
                         ComPtr<IDispatch>(second)};
  Walk(contract, {{7, Kind::Get, L"IsBidirectional", VT_BOOL},
                  {8, Kind::Let, L"IsBidirectional", VT_BOOL},
                  {9, Kind::Get, L"Ctype", VT_I4},
                  {10, Kind::Call, L"Disconnect"},
                  {11, Kind::Call, L"Connect"}});
  const Subject serial{L"_SerialConnection", IID__SerialConnection, contract.object,
                       contract.other};
  Walk(serial, {{7, Kind::Get, L"SaxPort", VT_DISPATCH},
                {8, Kind::Set, L"SaxPort", VT_DISPATCH},
                {9, Kind::Let, L"ComPort", VT_I2},
                {10, Kind::Get, L"ComPort", VT_I2},
                {11, Kind::Let, L"BaudRate", VT_I4},
                {12, Kind::Get, L"BaudRate", VT_I4},
                {13, Kind::Let, L"Parity", VT_I4},
                {14, Kind::Get, L"Parity", VT_I4},
                {15, Kind::Let, L"DataBits", VT_I4},
                {16, Kind::Get, L"DataBits", VT_I4},
                {17, Kind::Let, L"StopBits", VT_I4},
                {18, Kind::Get, L"StopBits", VT_I4},
                {19, Kind::Let, L"ReceiveThresholdLength", VT_I2},
                {20, Kind::Get, L"ReceiveThresholdLength", VT_I2},
                {21, Kind::Get, L"Connection_IsBidirectional", VT_BOOL}});
  Walk({L"_NoConnection", IID__NoConnection, Create(CLSID_NoConnection), {}}, {});

  const Subject port{L"_SerialPort", IID__SerialPort, ObjectOf(first, L"SaxPort"), {}};
  const auto face = Walk(port, {{7, Kind::Let, L"CommPort", VT_I2},
                                {8, Kind::Get, L"CommPort", VT_I2},
                                {9, Kind::Own, L"Settings"},
                                {10, Kind::Get, L"Settings", VT_BSTR},
                                {11, Kind::Let, L"RThreshold", VT_I2},
                                {12, Kind::Get, L"RThreshold", VT_I2},
                                {13, Kind::Own, L"PortOpen"},
                                {14, Kind::Get, L"PortOpen", VT_BOOL},
                                {15, Kind::Own, L"InBufferCount"},
                                {16, Kind::Get, L"InBufferCount", VT_I4},
                                {17, Kind::Get, L"Input", VT_BSTR},
                                {18, Kind::Own, L"Output"},
                                {19, Kind::Get, L"DeviceName", VT_BSTR}});
  if (!face) return;
  CheckSuccess(face.Get(), 9, {Variant(std::wstring_view(L"4800,n,8,1"))}, L"Settings");
  Variant settings = Read(port.object.Get(), L"Settings");
  Variant wanted(std::wstring_view(L"4800,n,8,1"));
  Expect(Equal(settings, wanted), L"Settings reads what was written");
  CallSlot(face.Get(), 7, {Number(VT_I2, 250)});
  Variant open = OfType(VT_BOOL);
  V_BOOL(open.Get()) = VARIANT_TRUE;
  CheckBasicError(face.Get(), 13, {open}, 8002, L"opening a port that is not there");
  CheckSuccess(face.Get(), 15, {Number(VT_I4, 0)}, L"dropping the input");
  CheckBasicError(face.Get(), 18, {Variant(std::wstring_view(L"T"))}, 8018, L"Output when closed");
}

void WalkProtocols(IDispatch* first, IDispatch* second) {
  const Subject contract{L"_Protocol", IID__Protocol, ComPtr<IDispatch>(first),
                         ComPtr<IDispatch>(second)};
  const auto face = Walk(contract, {{7, Kind::Get, L"myScale", VT_DISPATCH},
                                    {8, Kind::Set, L"myScale", VT_DISPATCH},
                                    {9, Kind::Get, L"WeightData", VT_DISPATCH},
                                    {10, Kind::Set, L"WeightData", VT_DISPATCH},
                                    {11, Kind::Get, L"PrintData", VT_DISPATCH},
                                    {12, Kind::Set, L"PrintData", VT_DISPATCH},
                                    {13, Kind::Get, L"TarnRecordTemplateData", VT_DISPATCH},
                                    {14, Kind::Set, L"TarnRecordTemplateData", VT_DISPATCH},
                                    {15, Kind::Get, L"Connection", VT_DISPATCH},
                                    {16, Kind::Set, L"Connection", VT_DISPATCH},
                                    {17, Kind::Get, L"pType", VT_I4},
                                    {18, Kind::Let, L"pType", VT_I4},
                                    {19, Kind::Call, L"Disconnect"},
                                    {20, Kind::Call, L"Connect"},
                                    {21, Kind::Own, L"TypeToClass"},
                                    {22, Kind::Call, L"Z"},
                                    {23, Kind::Call, L"P"},
                                    {24, Kind::Call, L"T"},
                                    {25, Kind::Own, L"SetTare"},
                                    {26, Kind::Call, L"C"}});
  if (face) {
    Variant family = OfType(VT_I4);
    CheckSuccess(face.Get(), 21, {Number(VT_I4, 17), AddressOf(family)}, L"TypeToClass");
    Expect(V_I4(family.Get()) == 8, L"TypeToClass(17) is 8");
    Variant tare = Number(VT_R8, 12.5);
    CheckBasicError(face.Get(), 25, {AddressOf(tare)}, 8018, L"SetTare while the port is closed");
    Expect(V_R8(tare.Get()) == 12.5, L"SetTare leaves its value");
  }
  const std::vector<Slot> own = {{7, Kind::Call, L"Protocol_Disconnect"},
                                 {8, Kind::Call, L"Protocol_Connect"}};
  Walk({L"_TarnContinuousProtocol", IID__TarnContinuousProtocol, contract.object, {}}, own);
  Walk({L"_NoProtocol", IID__NoProtocol, Create(CLSID_NoProtocol), {}}, own);
}

void WalkRecords(IDispatch* scale) {
  Walk({L"_WeightData", IID__WeightData, ObjectOf(scale, L"WeightData"), {}},
       {{7, Kind::Get, L"NoDataError", VT_BOOL},
        {8, Kind::Get, L"TareWeightValue", VT_R8},
        {9, Kind::Get, L"NetWeightValue", VT_R8},
        {10, Kind::Get, L"GrossWeightValue", VT_R8},
        {11, Kind::Get, L"InNetMode", VT_BOOL},
        {12, Kind::Get, L"AtZero", VT_BOOL},
        {13, Kind::Get, L"OutOfRange", VT_BOOL},
        {14, Kind::Get, L"Units", VT_BSTR},
        {15, Kind::Get, L"Motion", VT_BOOL},
        {16, Kind::Get, L"NetWeight", VT_BSTR},
        {17, Kind::Get, L"TareWeight", VT_BSTR},
        {18, Kind::Get, L"GrossWeight", VT_BSTR}});
  Walk({L"_PrintData", IID__PrintData, ObjectOf(scale, L"PrintData"), {}},
       {{7, Kind::Get, L"TareWeightValue", VT_R8},
        {8, Kind::Get, L"NetWeightValue", VT_R8},
        {9, Kind::Get, L"GrossWeightValue", VT_R8},
        {10, Kind::Get, L"Units", VT_BSTR},
        {11, Kind::Get, L"NetWeight", VT_BSTR},
        {12, Kind::Get, L"TareWeight", VT_BSTR},
        {13, Kind::Get, L"GrossWeight", VT_BSTR}});

  const Subject fields{L"_TarnRecordTemplateData",
                       IID__TarnRecordTemplateData,
                       ObjectOf(scale, L"TarnRecordTemplateData"),
                       {}};
  const auto face = Walk(fields, {{7, Kind::Call, L"ClearRecord"},
                                  {8, Kind::Own, L"MaxNumFields"},
                                  {9, Kind::Own, L"FieldDataArray"},
                                  {10, Kind::Own, L"FieldData"},
                                  {11, Kind::Own, L"FieldNameArray"},
                                  {12, Kind::Own, L"FieldName"},
                                  {13, Kind::Get, L"NumFields", VT_I2},
                                  {14, Kind::Get, L"NoDataError", VT_BOOL}});
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
  const Subject data{L"_SummitData", IID__SummitData, Create(CLSID_SummitData), {}};
  const auto face = Walk(data, {{7, Kind::Own, L"CommLossError"},
                                {8, Kind::Get, L"CommLossError", VT_BOOL},
                                {9, Kind::Own, L"NoDataError"},
                                {10, Kind::Get, L"NoDataError", VT_BOOL},
                                {11, Kind::Call, L"ConfigurationChanged"},
                                {12, Kind::Call, L"DataUpdated"},
                                {13, Kind::Own, L"SetBitData"},
                                {14, Kind::Own, L"SetByteData"},
                                {15, Kind::Own, L"SetCharArrayData"},
                                {16, Kind::Own, L"SetLongData"},
                                {17, Kind::Own, L"SetFloatData"},
                                {18, Kind::Own, L"SetDoubleData"},
                                {19, Kind::Own, L"SetStringData"},
                                {20, Kind::Own, L"SetIntData"},
                                {21, Kind::Call, L"ResetState"},
                                {22, Kind::Own, L"TriggersComplete"}});
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

void WalkScale(IDispatch* scale, IDispatch* other) {
  const Subject subject{L"_TarnScale", IID__TarnScale, ComPtr<IDispatch>(scale),
                        ComPtr<IDispatch>(other)};
  const auto face = Walk(subject, {{7, Kind::Get, L"watchdog", VT_BOOL},
                                   {8, Kind::Let, L"watchdog", VT_BOOL},
                                   {9, Kind::Get, L"UpdateTimer", VT_DISPATCH},
                                   {10, Kind::Set, L"UpdateTimer", VT_DISPATCH},
                                   {11, Kind::Get, L"ActivityTimer", VT_DISPATCH},
                                   {12, Kind::Set, L"ActivityTimer", VT_DISPATCH},
                                   {13, Kind::Let, L"UpdateRate", VT_R8},
                                   {14, Kind::Get, L"UpdateRate", VT_R8},
                                   {15, Kind::Let, L"ActivityTimeoutTime", VT_I4},
                                   {16, Kind::Get, L"ActivityTimeoutTime", VT_I4},
                                   {17, Kind::Own, L"RunScale"},
                                   {18, Kind::Call, L"StopScale"},
                                   {19, Kind::Own, L"printRequest"},
                                   {20, Kind::Get, L"PRState", VT_BOOL},
                                   {21, Kind::Get, L"Protocol", VT_DISPATCH},
                                   {22, Kind::Set, L"Protocol", VT_DISPATCH},
                                   {23, Kind::Get, L"Connection", VT_DISPATCH},
                                   {24, Kind::Set, L"Connection", VT_DISPATCH},
                                   {25, Kind::Let, L"AliasName", VT_BSTR},
                                   {26, Kind::Get, L"AliasName", VT_BSTR},
                                   {27, Kind::Get, L"Disabled", VT_BOOL},
                                   {28, Kind::Let, L"Disabled", VT_BOOL},
                                   {29, Kind::Get, L"ActivityLED", VT_BOOL},
                                   {30, Kind::Let, L"ActivityLED", VT_BOOL},
                                   {31, Kind::Get, L"ErrorLED", VT_BOOL},
                                   {32, Kind::Let, L"ErrorLED", VT_BOOL},
                                   {33, Kind::Get, L"PrintData", VT_DISPATCH},
                                   {34, Kind::Get, L"TarnRecordTemplateData", VT_DISPATCH},
                                   {35, Kind::Set, L"SummitData", VT_DISPATCH},
                                   {36, Kind::Get, L"SummitData", VT_DISPATCH},
                                   {37, Kind::Get, L"WeightData", VT_DISPATCH},
                                   {38, Kind::Call, L"C"},
                                   {39, Kind::Call, L"T"},
                                   {40, Kind::Own, L"SetTare"},
                                   {41, Kind::Call, L"P"},
                                   {42, Kind::Call, L"Z"},
                                   {43, Kind::Own, L"GetAxDataObj"}});
  if (!face) return;
  CheckSuccess(face.Get(), 18, {}, L"StopScale");
  CheckSuccess(face.Get(), 19, {Number(VT_BOOL, 0)}, L"printRequest");
  Expect(IsTrue(Read(scale, L"PRState")), L"printRequest waits");
  CheckSuccess(face.Get(), 19, {Number(VT_BOOL, 1)}, L"printRequest True");
  Variant tare = Number(VT_R8, 12.5);
  CheckSuccess(face.Get(), 40, {AddressOf(tare)}, L"SetTare of the scale");
  Variant name(std::wstring_view(L"NoSuchData"));
  Variant data = OfType(VT_DISPATCH);
  Variant lateName(std::wstring_view(L"NoSuchData"));
  Variant lateData;
  Expect(CallSlot(face.Get(), 43, {AddressOf(name), AddressOf(data)}) ==
             CallName(scale, L"GetAxDataObj", DISPATCH_METHOD, {lateName}, lateData),
         L"GetAxDataObj as by name");
  CallSlot(face.Get(), 28, {Number(VT_BOOL, 0)});
  Variant runs = OfType(VT_BOOL);
  CheckBasicError(face.Get(), 17, {AddressOf(runs)}, 8002, L"RunScale without its port");

  // The time of a scale that runs counts down between two reads.
  CheckSuccess(face.Get(), 18, {}, L"StopScale before the timer");
  const Subject timer{L"_ActivityTimer", IID__ActivityTimer, ObjectOf(scale, L"ActivityTimer"), {}};
  const auto timerFace = Walk(timer, {{7, Kind::Own, L"TimeoutTime"},
                                      {8, Kind::Get, L"TimeoutTime", VT_I4},
                                      {9, Kind::Get, L"TimedOut", VT_BOOL}});
  CheckSuccess(timerFace.Get(), 7, {Number(VT_I4, 1000000)}, L"TimeoutTime");
  const LONG left = V_I4(Read(timer.object.Get(), L"TimeoutTime").Get());
  Expect(left % 200 == 0 && left > 500000 && left <= 1000200, L"TimeoutTime counts whole ticks");
  Walk({L"_Timer", IID__Timer, ObjectOf(scale, L"UpdateTimer"), {}},
       {{7, Kind::Let, L"Interval", VT_I4},
        {8, Kind::Get, L"Interval", VT_I4},
        {9, Kind::Let, L"Enabled", VT_BOOL},
        {10, Kind::Get, L"Enabled", VT_BOOL}});
}

ComPtr<IDispatch> ScaleOf(IUnknown* server, int number) {
  Variant scale = OfType(VT_DISPATCH);
  const HRESULT result = CallSlot(server, 27, {Number(VT_I2, number), AddressOf(scale)});
  Expect(SUCCEEDED(result), L"GetScale", result);
  return ComPtr<IDispatch>(V_DISPATCH(scale.Get()));
}

void WalkServer(const Subject& subject) {
  const auto face = Walk(subject, {{7, Kind::Get, L"LogFile", VT_DISPATCH},
                                   {8, Kind::Set, L"LogFile", VT_DISPATCH},
                                   {9, Kind::Let, L"LoggingEnabled", VT_BOOL},
                                   {10, Kind::Get, L"LoggingEnabled", VT_BOOL},
                                   {11, Kind::Get, L"SummitEnabled", VT_BOOL},
                                   {12, Kind::Let, L"CurrentLogName", VT_BSTR},
                                   {13, Kind::Get, L"CurrentLogName", VT_BSTR},
                                   {14, Kind::Let, L"CurrentFileNew", VT_BOOL},
                                   {15, Kind::Get, L"CurrentFileNew", VT_BOOL},
                                   {16, Kind::Let, L"CurrentFileDirty", VT_BOOL},
                                   {17, Kind::Get, L"CurrentFileDirty", VT_BOOL},
                                   {18, Kind::Let, L"CurrentFileName", VT_BSTR},
                                   {19, Kind::Get, L"CurrentFileName", VT_BSTR},
                                   {20, Kind::Own, L"GetServerPath"},
                                   {21, Kind::Own, L"LoadScaleSettings"},
                                   {22, Kind::Own, L"SaveScaleSettings"},
                                   {23, Kind::Call, L"SetComPortsUsed"},
                                   {24, Kind::Own, L"GetComPortUsed"},
                                   {25, Kind::Call, L"RunAllScales"},
                                   {26, Kind::Call, L"StopAllScales"},
                                   {27, Kind::Own, L"GetScale"}});
  if (!face) return;
  Variant path = OfType(VT_BSTR);
  CheckSuccess(face.Get(), 20, {Number(VT_I4, 0), AddressOf(path)}, L"GetServerPath");
  Expect(SysStringLen(V_BSTR(path.Get())) > 3, L"GetServerPath is a folder");
  CheckSuccess(face.Get(), 21, {Number(VT_BOOL, 1)}, L"LoadScaleSettings True");
  Expect(IsTrue(Read(subject.object.Get(), L"CurrentFileNew")), L"a new configuration");

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
  WalkScale(scale.Get(), other.Get());
  WalkRecords(scale.Get());
  const auto otherSerial = Create(CLSID_SerialConnection);
  WalkConnections(serial.Get(), otherSerial.Get());
  CallSlot(otherFace.Get(), 24, {Object(otherSerial.Get())});
  WalkProtocols(continuous.Get(), ObjectOf(other.Get(), L"Protocol").Get());
  WalkSummitData();
  WalkNetwork(ScaleOf(face.Get(), 3).Get(), ScaleOf(face.Get(), 4).Get());

  const Subject log{
      L"_TextStream", IID__TextStream, ObjectOf(subject.object.Get(), L"LogFile"), {}};
  const auto logFace = Walk(log, {{7, Kind::Own, L"WriteLine"}, {8, Kind::Own, L"Close"}});
  CheckSuccess(logFace.Get(), 7, {Variant(std::wstring_view(L"A line"))}, L"WriteLine");
  CheckSuccess(logFace.Get(), 8, {}, L"Close");
}

void WalkAll() {
  const Subject connection{
      L"_TarnServerConnection", IID__TarnServerConnection, Create(CLSID_TarnServerConnection), {}};
  const auto face = Walk(connection, {{7, Kind::Own, L"TarnScaleServer"}});
  if (!face) return;
  Variant component = Number(VT_I4, 5);
  Variant server = OfType(VT_DISPATCH);
  CheckSuccess(face.Get(), 7, {AddressOf(component), AddressOf(server)}, L"TarnScaleServer");
  Expect(V_I4(component.Get()) == 5, L"the component number stays");
  const ComPtr<IDispatch> object(V_DISPATCH(server.Get()));
  if (object) WalkServer({L"_TarnScaleServer", IID__TarnScaleServer, object, object});
}

}  // namespace

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  WalkAll();
  CoUninitialize();
  return tarn::slots::Report("vtable_client");
}
