// An early-bound client.
//
// Walks every interface of every class (see slot_walker.hpp), and calls by hand the members that
// take arguments or do more than keep a value.
#include <windows.h>

#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#include <TarnSclServer.h>

#include <string>
#include <vector>

#include "automation/script_host/event_sink.hpp"
#include "automation/type_library.hpp"
#include "tests/automation/client_checks.hpp"
#include "tests/automation/slot_walker.hpp"

namespace {

using namespace tarn::checks;
using namespace tarn::slots;
using tarn::Bstr;
using tarn::ComPtr;
using tarn::Variant;

Variant OfType(VARTYPE type, void* content = nullptr) {
  Variant value;
  V_VT(value.Get()) = type;
  V_BYREF(value.Get()) = content;
  return value;
}

/// A class that the server does not know, or knows as another one, is found here.
void WalkClasses() {
  for (const CLSID& clsid : CreatableClasses()) {
    const auto object = Create(clsid);
    if (!object) continue;
    ComPtr<ITypeInfo> type;
    object.As<IProvideClassInfo>(IID_IProvideClassInfo)->GetClassInfo(type.Receive());
    Expect(tarn::AttributesOf(type)->guid == clsid, L"the class " + tarn::GuidText(clsid));
    Walk(object, Create(clsid));
  }
}

/// A row of values: counts from 1, is error 9 beyond, and comes as an array, too. A text that is
/// read is not freed: the process ends.
template <class Face, class Value>
void CheckRow(const std::wstring& what, SHORT count, VARTYPE type, const ComPtr<Face>& face,
              HRESULT (STDMETHODCALLTYPE Face::*get)(SHORT, Value*),
              HRESULT (STDMETHODCALLTYPE Face::*all)(SAFEARRAY**)) {
  Value value{};
  for (const SHORT index : {SHORT{0}, count, static_cast<SHORT>(count + 1)}) {
    const HRESULT result = (face.Get()->*get)(index, &value);
    index >= 1 && index <= count ? Succeeds(result, what) : Fails(result, 9, what);
  }
  SAFEARRAY* array = nullptr;
  if (!Succeeds((face.Get()->*all)(&array), what)) return;
  LONG first = 0, last = -1;
  VARTYPE found = VT_EMPTY;
  SafeArrayGetLBound(array, 1, &first);
  SafeArrayGetUBound(array, 1, &last);
  SafeArrayGetVartype(array, &found);
  SafeArrayDestroy(array);
  Expect(first == 1 && last == count && found == type, what + L" as an array");
}

#define CHECK_ROW(face, count, type, Face, Name) \
  CheckRow(L"" #Name, count, type, face, &Face::get_##Name, &Face::get_##Name##Array)

std::vector<DWORD> CookiesOf(IConnectionPoint& point) {
  ComPtr<IEnumConnections> connections;
  CONNECTDATA found[4] = {};
  ULONG ignored = 0;  // Wine counts wrong
  if (Succeeds(point.EnumConnections(connections.Receive()), L"EnumConnections")) {
    connections->Next(4, found, &ignored);
  }
  std::vector<DWORD> cookies;
  for (const CONNECTDATA& connection : found) {
    if (connection.pUnk == nullptr) continue;
    connection.pUnk->Release();
    cookies.push_back(connection.dwCookie);
  }
  return cookies;
}

/// Anything that can be called late may receive events.
void CheckConnections(const ComPtr<IDispatch>& record, const ComPtr<IDispatch>& sink) {
  ComPtr<IConnectionPoint> point;
  record.As<IConnectionPointContainer>(IID_IConnectionPointContainer)
      ->FindConnectionPoint(__uuidof(__WeightData), point.Receive());
  DWORD first = 0, second = 0, third = 0;
  Succeeds(point->Advise(sink.Get(), &first), L"Advise");
  Succeeds(point->Advise(sink.Get(), &second), L"Advise again");
  Expect(CookiesOf(*point.Get()) == std::vector{first, second}, L"both connections");
  Succeeds(point->Unadvise(first), L"Unadvise");
  Expect(point->Unadvise(first) == CONNECT_E_NOCONNECTION, L"Unadvise again");
  Expect(point->Advise(point.Get(), &third) == CONNECT_E_CANNOTCONNECT, L"Advise of no sink");
  Succeeds(point->Advise(sink.Get(), &third), L"Advise once more");
  Expect(CookiesOf(*point.Get()) == std::vector{second, third} && third != first, L"the rest");
  point->Unadvise(second);
  point->Unadvise(third);
}

void CheckSerialPort(const ComPtr<_SerialPort>& port) {
  Succeeds(port->put_Settings(Bstr(L"4800,n,8,1").Get()), L"Settings");
  Succeeds(port->put_CommPort(250), L"CommPort");
  Fails(port->put_PortOpen(VARIANT_TRUE), 8002, L"opening a port that is not there");
  Succeeds(port->put_InBufferCount(0), L"dropping the input");
  Fails(port->put_Output(Bstr(L"x").Get()), 8018, L"Output when closed");
}

/// Optional arguments that are left out, and the type of what is read.
void CheckSocket(const ComPtr<_SocketControl>& socket) {
  Variant left = OfType(VT_ERROR);
  V_ERROR(left.Get()) = DISP_E_PARAMNOTFOUND;
  Succeeds(socket->Close(), L"closing");
  Fails(socket->put_Protocol(2), 380, L"a transport that is none");
  Succeeds(socket->put_Protocol(1), L"UDP");
  Succeeds(socket->put_LocalPort(0), L"any port");
  Succeeds(socket->put_LocalHost(Bstr(L"127.0.0.1").Get()), L"an address of this machine");
  Fails(socket->Connect(*left.Get(), *left.Get()), 40006, L"connecting a UDP socket");
  Succeeds(socket->Bind(*left.Get()), L"binding");
  for (const VARTYPE type : {VARTYPE{VT_BSTR}, VARTYPE{VT_ARRAY | VT_UI1}}) {
    Variant read;
    Succeeds(socket->GetData(read.Get(), *Variant(LONG{type}).Get()), L"reading nothing");
    Expect(V_VT(read.Get()) == type, L"the type of what is read");
  }
  socket->Close();
}

void CheckTags() {
  const auto tag = Create<_SDTagInfo>(CLSID_SDTagInfo);
  Variant date = OfType(VT_DATE), bytes = OfType(VT_ARRAY | VT_UI1);
  V_DATE(date.Get()) = 36526.5;
  V_ARRAY(bytes.Get()) = SafeArrayCreateVector(VT_UI1, 5, 2);
  Variant object = OfType(VT_DISPATCH, Create(CLSID_SDTagInfo).Detach());
  for (Variant* value : {&date, &object, &bytes}) {
    Variant read;
    Succeeds(
        value == &object ? tag->putref_TagData(*value->Get()) : tag->put_TagData(*value->Get()),
        L"TagData");
    tag->get_TagData(read.Get());
    LONG first = 5;
    if (value == &bytes) SafeArrayGetLBound(V_ARRAY(read.Get()), 1, &first);
    Expect(V_VT(read.Get()) == V_VT(value->Get()) && first == 5 &&
               (value == &bytes || V_BYREF(read.Get()) == V_BYREF(value->Get())),
           L"TagData keeps what it is given");
  }

  const auto basic = Create<_TarnKesBasicConfig>(CLSID_TarnKesBasicConfig);
  Walk(ObjectOf(basic.As<IDispatch>(IID_IDispatch), L"SDVariables"));
  Fails(basic->RemoveVariable(Bstr(L"Three").Get()), 9, L"no such variable");

  const auto list = Create<_SummitConfig>(CLSID_TarnPredictFailureConfig);
  SHORT count = 0;
  list->GetTagInfoCount(&count);
  ComPtr<_SDTagInfo> byKey, byIndex;
  list->GetTagInfoByKey(Bstr(L"bd021").Get(), byKey.Receive());
  list->GetTagInfoByIndex(4, byIndex.Receive());
  Bstr reset, update;
  list->GetResetTrigger(4, reset.Receive());
  list->GetUpdateTrigger(1, update.Receive());
  Expect(count == 20 && byKey && byKey.Get() == byIndex.Get() && reset.View() == L"t_63f" &&
             update.View().empty(),
         L"what the configuration lists");
}

/// The base class files nothing, so there is nothing to read back.
void CheckBaseData() {
  const auto data = Create<_SummitData>(CLSID_SummitData);
  SAFEARRAY* bytes = SafeArrayCreateVector(VT_UI1, 0, 4);
  for (const HRESULT result :
       {data->put_CommLossError(VARIANT_TRUE), data->put_NoDataError(VARIANT_TRUE),
        data->SetBitData(VARIANT_TRUE, nullptr), data->SetByteData(1, nullptr),
        data->SetCharArrayData(&bytes, 4, nullptr), data->SetLongData(1, 1, nullptr),
        data->SetFloatData(1, 1, nullptr), data->SetDoubleData(1, 1, nullptr)}) {
    Succeeds(result, L"a member of the base data object");
  }
  SafeArrayDestroy(bytes);
}

template <class Face>
ComPtr<Face> CheckDataSet(const CLSID& clsid) {
  const auto data = Create(clsid);
  const auto face = data.As<Face>();
  const auto tag = Create<_SDTagInfo>(CLSID_SDTagInfo);  // a value belongs to a tag
  Succeeds(face->SummitData_SetStringData(Bstr(L"x").Get(), 0, tag.Get()), L"SetStringData");
  Succeeds(face->SummitData_SetIntData(1, 0, tag.Get()), L"SetIntData");
  std::wstring events;
  const tarn::script_host::EventConnection connection(
      *data.Get(), [&events](const std::wstring& event, DISPPARAMS&) {
        events += event + L" ";
        return S_OK;
      });
  const auto contract = data.As<_SummitData>();
  contract->ConfigurationChanged();
  contract->put_CommLossError(VARIANT_TRUE);
  contract->DataUpdated();
  Expect(events == L"ConfigChanged NewDataReady CommLossError NewDataReady ",
         L"the events of a data set: " + events);
  return face;
}

void CheckDataSets() {
  const auto diag = CheckDataSet<_TarnScaleDiagData>(CLSID_TarnScaleDiagData);
  CHECK_ROW(diag, 4, VT_I4, _TarnScaleDiagData, ScaleCalZeroCounts);
  CHECK_ROW(diag, 4, VT_BSTR, _TarnScaleDiagData, ScaleCalHighWeight);
  CHECK_ROW(diag, 4, VT_BOOL, _TarnScaleDiagData, ScaleCriticalError);
  const auto predict = CheckDataSet<_TarnPredictFailureData>(CLSID_TarnPredictFailureData);
  CHECK_ROW(predict, 24, VT_I4, _TarnPredictFailureData, CellSymFailCounter);
  CheckRow(L"ScanTable", 24, VT_UI1, predict, &_TarnPredictFailureData::get_ScanTableCellAddress,
           &_TarnPredictFailureData::get_ScanTable);
  const auto orbix = CheckDataSet<_TarnOrbixDiagData>(CLSID_TarnOrbixDiagData);
  CHECK_ROW(orbix, 24, VT_I4, _TarnOrbixDiagData, CellCounts);
  const auto basic = CheckDataSet<_TarnKesBasicData>(CLSID_TarnKesBasicData);
  CHECK_ROW(basic, 0, VT_R8, _TarnKesBasicData, DoubleValue);
}

/// A scale with a connection and a protocol of these classes, for walking them as its parts.
template <class Link>
ComPtr<Link> PutTogether(const ComPtr<_TarnScale>& scale, const CLSID& link,
                         const CLSID& protocol) {
  const auto connection = Create<_Connection>(link);
  Succeeds(scale->putref_Connection(connection.Get()), L"a new connection");
  Succeeds(scale->putref_Protocol(Create<_Protocol>(protocol).Get()), L"a new protocol");
  Succeeds(scale->putref_SummitData(Create<_SummitData>(CLSID_SummitData).Get()), L"a data object");
  return connection.As<Link>();
}

void CheckProtocol(const ComPtr<_Protocol>& protocol) {
  ProtocolClass family = NoProt;
  Succeeds(protocol->TypeToClass(RowanBCType, &family), L"TypeToClass");
  Expect(family == RowanBC, L"TypeToClass(17) is 8");
  double tare = 12.5;
  Fails(protocol->SetTare(&tare), 8018, L"SetTare while the port is closed");
  Expect(tare == 12.5, L"SetTare leaves its value");
  const auto summit = Create<_SummitProtocol>(CLSID_SummitProtocol);
  Fails(summit->ConvertReadData(nullptr, nullptr), 91, L"ConvertReadData of nothing");
}

void CheckScale(const ComPtr<IDispatch>& object) {
  const auto scale = object.As<_TarnScale>();
  ComPtr<IDispatch> data;
  Bstr name(L"NoSuchData");
  BSTR text = name.Get();
  Expect(scale->GetAxDataObj(&text, data.Receive()) == S_OK && !data, L"GetAxDataObj of no name");
  scale->put_Disabled(VARIANT_FALSE);
  VARIANT_BOOL runs = VARIANT_FALSE;
  Fails(scale->RunScale(&runs), 8002, L"RunScale without its port");
  Succeeds(scale->StopScale(), L"StopScale");
  const auto record = ObjectOf(object, L"TarnRecordTemplateData").As<_TarnRecordTemplateData>();
  CHECK_ROW(record, 20, VT_BSTR, _TarnRecordTemplateData, FieldData);
  const auto names = Create<_TarnRecordTemplateConfig>(CLSID_TarnRecordTemplateConfig);
  CHECK_ROW(names, 20, VT_BSTR, _TarnRecordTemplateConfig, FieldName);
  CheckConnections(ObjectOf(object, L"WeightData"), object);
}

void CheckServer(const ComPtr<_TarnScaleServer>& server) {
  const auto itself = server.As<IDispatch>(IID_IDispatch);
  Walk(itself, itself);  // saves settings, and must find empty ones
  Bstr path;
  Succeeds(server->GetServerPath(0, path.Receive()), L"GetServerPath");
  Expect(path.View().size() > 3, L"GetServerPath is a folder");
  Succeeds(server->LoadScaleSettings(VARIANT_TRUE), L"LoadScaleSettings True");
  ComPtr<_TarnScale> scales[5];
  for (SHORT number = 1; number <= 4; ++number) {
    Succeeds(server->GetScale(number, scales[number].Receive()), L"GetScale");
  }

  const auto serial = PutTogether<_SerialConnection>(scales[1], CLSID_SerialConnection,
                                                     CLSID_TarnContinuousProtocol);
  serial->put_ComPort(29);
  PutTogether<_Connection>(scales[2], CLSID_SerialConnection, CLSID_TarnContinuousProtocol);
  Succeeds(server->SetComPortsUsed(), L"SetComPortsUsed");
  for (const LONG port : {29, 28}) {
    VARIANT_BOOL used = VARIANT_FALSE;
    Succeeds(server->GetComPortUsed(port, &used), L"GetComPortUsed");
    Expect((used != VARIANT_FALSE) == (port == 29), L"the port in use");
  }
  const auto first = scales[1].As<IDispatch>(IID_IDispatch);
  CheckScale(first);
  CheckProtocol(ObjectOf(first, L"Protocol").As<_Protocol>());
  for (const wchar_t* part : {L"Connection", L"Protocol", L"WeightData", L"PrintData",
                              L"TarnRecordTemplateData", L"ActivityTimer", L"UpdateTimer"}) {
    Walk(ObjectOf(first, part), ObjectOf(scales[2].As<IDispatch>(IID_IDispatch), part));
  }
  Walk(first, scales[2].As<IDispatch>(IID_IDispatch));
  const auto port = ObjectOf(serial.As<IDispatch>(IID_IDispatch), L"SaxPort");
  Walk(port);
  CheckSerialPort(port.As<_SerialPort>());

  // The socket of a scale is taken when its protocol connects.
  ComPtr<_EthernetConnection> links[2];
  for (int i = 0; i < 2; ++i) {
    links[i] = PutTogether<_EthernetConnection>(scales[3 + i], CLSID_EthernetConnection,
                                                CLSID_KesSDProtocol);
    const auto scale = scales[3 + i].As<IDispatch>(IID_IDispatch);
    Succeeds(ObjectOf(scale, L"Protocol").As<_Protocol>()->Connect(), L"taking the socket");
  }
  const auto link = links[0].As<IDispatch>(IID_IDispatch);
  Walk(link, links[1].As<IDispatch>(IID_IDispatch));
  const auto socket = ObjectOf(link, L"mvarSocket");
  CheckSocket(socket.As<_SocketControl>());
  Walk(socket);

  Walk(ObjectOf(itself, L"LogFile"));
}

}  // namespace

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  try {
    const auto way = Create<_TarnServerConnection>(CLSID_TarnServerConnection);
    LONG component = 5;
    ComPtr<_TarnScaleServer> server;
    Succeeds(way->get_TarnScaleServer(&component, server.Receive()), L"TarnScaleServer");
    Expect(component == 5, L"the component number stays");
    WalkClasses();
    CheckTags();
    CheckBaseData();
    CheckDataSets();
    CheckServer(server);
  } catch (const std::exception& error) {
    const std::string text = error.what();
    Expect(false, std::wstring(text.begin(), text.end()));
  } catch (HRESULT result) {
    Succeeds(result, L"connecting events");
  }
  return Report("vtable_client");
}
