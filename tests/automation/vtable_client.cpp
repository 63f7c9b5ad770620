// Calls every slot of every interface, from a process of its own, and compares with what the same
// member answers by name.
#include <windows.h>

#include <oleauto.h>

#include <TarnSclServer.h>

#include <cstddef>

#include "tests/automation/slot_walker.hpp"
#include "tests/automation/vtable_network.hpp"

namespace {

using namespace tarn::slots;
using tarn::Bstr;
using tarn::ComPtr;

void WalkConnections(const ComPtr<IDispatch>& first, const ComPtr<IDispatch>& second) {
  Walk<_Connection>(first, {}, second);
  Walk<_SerialConnection>(first, {}, second);
  Walk<_NoConnection>(Create(CLSID_NoConnection));

  const auto face = Walk<_SerialPort>(ObjectOf(first.Get(), L"SaxPort"), {9, 13, 15, 18});
  Bstr settings;
  Succeeds(face->put_Settings(Bstr(L"4800,n,8,1").Get()), L"Settings");
  face->get_Settings(settings.Receive());
  Expect(settings.View() == L"4800,n,8,1", L"Settings reads what was written");
  face->put_CommPort(250);
  Fails(face->put_PortOpen(VARIANT_TRUE), 8002, L"opening a port that is not there");
  Succeeds(face->put_InBufferCount(0), L"dropping the input");
  Fails(face->put_Output(settings.Get()), 8018, L"Output when closed");
}

void WalkProtocols(const ComPtr<IDispatch>& first, const ComPtr<IDispatch>& second) {
  const auto face = Walk<_Protocol>(first, {21, 25}, second);
  ProtocolClass family = NoProt;
  Succeeds(face->TypeToClass(RowanBCType, &family), L"TypeToClass");
  Expect(family == RowanBC, L"TypeToClass(17) is 8");
  double tare = 12.5;
  Fails(face->SetTare(&tare), 8018, L"SetTare while the port is closed");
  Expect(tare == 12.5, L"SetTare leaves its value");
  Walk<_TarnContinuousProtocol>(first);
  Walk<_NoProtocol>(Create(CLSID_NoProtocol));
}

void WalkRecords(IDispatch* scale) {
  Walk<_WeightData>(ObjectOf(scale, L"WeightData"));
  Walk<_PrintData>(ObjectOf(scale, L"PrintData"));
  const auto face =
      Walk<_TarnRecordTemplateData>(ObjectOf(scale, L"TarnRecordTemplateData"), {8, 9, 10, 11, 12});
  SHORT most = 0;
  Succeeds(face->MaxNumFields(&most), L"MaxNumFields");
  const auto members = MembersOf(__uuidof(_TarnRecordTemplateData));
  for (const std::size_t row : {3U, 5U}) CheckRow(face.Get(), members[row], -1, most);
}

void WalkSummitData() {
  const auto face =
      Walk<_SummitData>(Create(CLSID_SummitData), {7, 9, 13, 14, 15, 16, 17, 18, 19, 20, 22});
  // The base class files nothing, so there is nothing to read back.
  SAFEARRAY* bytes = SafeArrayCreateVector(VT_UI1, 0, 4);
  VARIANT_BOOL complete = VARIANT_TRUE;
  for (const HRESULT result :
       {face->put_CommLossError(VARIANT_TRUE), face->put_NoDataError(VARIANT_TRUE),
        face->SetBitData(VARIANT_TRUE, nullptr), face->SetByteData(1, nullptr),
        face->SetCharArrayData(&bytes, 4, nullptr), face->SetLongData(1, 1, nullptr),
        face->SetFloatData(1, 1, nullptr), face->SetDoubleData(1, 1, nullptr),
        face->SetStringData(Bstr(L"x").Get(), 1, nullptr), face->SetIntData(1, 1, nullptr),
        face->TriggersComplete(&complete)}) {
    Succeeds(result, L"a member of the base data object");
  }
  Expect(complete == VARIANT_FALSE, L"TriggersComplete");
  SafeArrayDestroy(bytes);
}

void WalkScale(const ComPtr<IDispatch>& scale, const ComPtr<IDispatch>& other) {
  const auto face = Walk<_TarnScale>(scale, {17, 19, 40, 43}, other);
  Succeeds(face->StopScale(), L"StopScale");
  Succeeds(face->printRequest(VARIANT_FALSE), L"printRequest");
  Expect(IsTrue(Read(scale.Get(), L"PRState")), L"printRequest waits");
  Succeeds(face->printRequest(VARIANT_TRUE), L"printRequest True");
  double tare = 12.5;
  Succeeds(face->SetTare(&tare), L"SetTare of the scale");
  BSTR name = SysAllocString(L"NoSuchData");
  ComPtr<IDispatch> data;
  Expect(face->GetAxDataObj(&name, data.Receive()) == S_OK && !data, L"GetAxDataObj of no name");
  SysFreeString(name);
  face->put_Disabled(VARIANT_FALSE);
  VARIANT_BOOL runs = VARIANT_FALSE;
  Fails(face->RunScale(&runs), 8002, L"RunScale without its port");

  // The time of a scale that runs counts down between two reads.
  Succeeds(face->StopScale(), L"StopScale before the timer");
  const auto timer = Walk<_ActivityTimer>(ObjectOf(scale.Get(), L"ActivityTimer"), {7});
  Succeeds(timer->put_TimeoutTime(1000000), L"TimeoutTime");
  LONG left = 0;
  timer->get_TimeoutTime(&left);
  Expect(left % 200 == 0 && left > 500000 && left <= 1000200, L"TimeoutTime counts whole ticks");
  Walk<_Timer>(ObjectOf(scale.Get(), L"UpdateTimer"));
}

ComPtr<IDispatch> ScaleOf(_TarnScaleServer* server, SHORT number) {
  ComPtr<_TarnScale> scale;
  Succeeds(server->GetScale(number, scale.Receive()), L"GetScale");
  return scale.As<IDispatch>(IID_IDispatch);
}

void WalkServer(const ComPtr<IDispatch>& server) {
  const auto face = Walk<_TarnScaleServer>(server, {20, 21, 22, 24, 27}, server);
  Bstr path;
  Succeeds(face->GetServerPath(0, path.Receive()), L"GetServerPath");
  Expect(path.View().size() > 3, L"GetServerPath is a folder");
  Succeeds(face->LoadScaleSettings(VARIANT_TRUE), L"LoadScaleSettings True");
  Expect(IsTrue(Read(server.Get(), L"CurrentFileNew")), L"a new configuration");

  const auto scale = ScaleOf(face.Get(), 1);
  const auto other = ScaleOf(face.Get(), 2);
  const auto serial = Create(CLSID_SerialConnection);
  const auto continuous = Create(CLSID_TarnContinuousProtocol);
  const auto scaleFace = scale.As<_TarnScale>();
  const auto otherFace = other.As<_TarnScale>();
  serial.As<_SerialConnection>()->put_ComPort(29);
  Succeeds(scaleFace->putref_Connection(serial.As<_Connection>().Get()), L"a new connection");
  Succeeds(scaleFace->putref_Protocol(continuous.As<_Protocol>().Get()), L"a new protocol");
  Succeeds(otherFace->putref_SummitData(Create(CLSID_SummitData).As<_SummitData>().Get()),
           L"a data object");

  Succeeds(face->SetComPortsUsed(), L"SetComPortsUsed");
  for (const LONG port : {29, 28}) {
    VARIANT_BOOL used = VARIANT_FALSE;
    Succeeds(face->GetComPortUsed(port, &used), L"GetComPortUsed");
    Expect((used != VARIANT_FALSE) == (port == 29), L"the port in use");
  }
  ComPtr<_TarnScale> none;
  Fails(face->GetScale(33, none.Receive()), 9, L"GetScale(33)");
  WalkScale(scale, other);
  WalkRecords(scale.Get());
  const auto otherSerial = Create(CLSID_SerialConnection);
  WalkConnections(serial, otherSerial);
  otherFace->putref_Connection(otherSerial.As<_Connection>().Get());
  WalkProtocols(continuous, ObjectOf(other.Get(), L"Protocol"));
  WalkSummitData();
  WalkNetwork(ScaleOf(face.Get(), 3).Get(), ScaleOf(face.Get(), 4).Get());

  const auto log = Walk<_TextStream>(ObjectOf(server.Get(), L"LogFile"), {7, 8});
  Succeeds(log->WriteLine(Bstr(L"A line").Get()), L"WriteLine");
  Succeeds(log->Close(), L"Close");
}

}  // namespace

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  const auto face = Walk<_TarnServerConnection>(Create(CLSID_TarnServerConnection), {7});
  LONG component = 5;
  ComPtr<_TarnScaleServer> server;
  Succeeds(face->get_TarnScaleServer(&component, server.Receive()), L"TarnScaleServer");
  Expect(component == 5, L"the component number stays");
  if (server) WalkServer(server.As<IDispatch>(IID_IDispatch));
  return tarn::slots::Report("vtable_client");
}
