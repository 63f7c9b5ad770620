// An early-bound client.
//
// Walks every interface of every class (see slot_walker.hpp), and calls by hand what scripts
// cannot: rows and their arrays, bytes, the lists of connections.
#include <windows.h>

#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#include <TarnSclServer.h>

#include <string>

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

/// Anything that can be called late may receive events.
void CheckConnections(const ComPtr<IDispatch>& record, const ComPtr<IDispatch>& sink) {
  ComPtr<IConnectionPoint> point;
  record.As<IConnectionPointContainer>(IID_IConnectionPointContainer)
      ->FindConnectionPoint(__uuidof(__WeightData), point.Receive());
  DWORD cookies[3] = {};
  for (DWORD& cookie : cookies) Succeeds(point->Advise(sink.Get(), &cookie), L"Advise");
  Succeeds(point->Unadvise(cookies[1]), L"Unadvise");
  Expect(point->Unadvise(cookies[1]) == CONNECT_E_NOCONNECTION, L"Unadvise again");
  Expect(point->Advise(point.Get(), &cookies[1]) == CONNECT_E_CANNOTCONNECT, L"Advise of no sink");
  ComPtr<IEnumConnections> connections;
  CONNECTDATA found[4] = {};
  ULONG ignored = 0;  // Wine counts wrong
  Succeeds(point->EnumConnections(connections.Receive()), L"EnumConnections");
  connections->Next(4, found, &ignored);
  Expect(found[0].dwCookie == cookies[0] && found[1].dwCookie == cookies[2] && !found[2].pUnk,
         L"the connections that are left");
  for (const int left : {0, 1}) {
    found[left].pUnk->Release();
    point->Unadvise(found[left].dwCookie);
  }
}

void CheckBytes() {
  const auto tag = Create<_SDTagInfo>(CLSID_SDTagInfo);
  Variant bytes, read;
  V_VT(bytes.Get()) = VT_ARRAY | VT_UI1;
  V_ARRAY(bytes.Get()) = SafeArrayCreateVector(VT_UI1, 5, 2);
  Succeeds(tag->put_TagData(*bytes.Get()), L"TagData");
  tag->get_TagData(read.Get());
  LONG first = 0;
  Expect(V_VT(read.Get()) == V_VT(bytes.Get()) &&
             SUCCEEDED(SafeArrayGetLBound(V_ARRAY(read.Get()), 1, &first)) && first == 5,
         L"an array keeps its bounds");
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

void CheckScale(const ComPtr<IDispatch>& scale) {
  const auto record = ObjectOf(scale, L"TarnRecordTemplateData").As<_TarnRecordTemplateData>();
  CHECK_ROW(record, 20, VT_BSTR, _TarnRecordTemplateData, FieldData);
  const auto names = Create<_TarnRecordTemplateConfig>(CLSID_TarnRecordTemplateConfig);
  CHECK_ROW(names, 20, VT_BSTR, _TarnRecordTemplateConfig, FieldName);
  CheckConnections(ObjectOf(scale, L"WeightData"), scale);
}

void CheckServer(const ComPtr<_TarnScaleServer>& server) {
  const auto itself = server.As<IDispatch>(IID_IDispatch);
  Walk(itself, itself);  // saves settings, and must find empty ones
  Succeeds(server->LoadScaleSettings(VARIANT_TRUE), L"LoadScaleSettings True");
  ComPtr<_TarnScale> scales[5];
  for (SHORT number = 1; number <= 4; ++number) {
    Succeeds(server->GetScale(number, scales[number].Receive()), L"GetScale");
  }

  const auto serial = PutTogether<_SerialConnection>(scales[1], CLSID_SerialConnection,
                                                     CLSID_TarnContinuousProtocol);
  PutTogether<_Connection>(scales[2], CLSID_SerialConnection, CLSID_TarnContinuousProtocol);
  const auto first = scales[1].As<IDispatch>(IID_IDispatch);
  CheckScale(first);
  for (const wchar_t* part : {L"Connection", L"Protocol", L"WeightData", L"PrintData",
                              L"TarnRecordTemplateData", L"ActivityTimer", L"UpdateTimer"}) {
    Walk(ObjectOf(first, part), ObjectOf(scales[2].As<IDispatch>(IID_IDispatch), part));
  }
  Walk(first, scales[2].As<IDispatch>(IID_IDispatch));
  Walk(ObjectOf(serial.As<IDispatch>(IID_IDispatch), L"SaxPort"));

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
  Succeeds(socket.As<_SocketControl>()->Close(), L"closing");
  socket.As<_SocketControl>()->put_LocalHost(Bstr(L"127.0.0.1").Get());  // the walk adds a digit
  Walk(socket);
  const auto basic = Create(CLSID_TarnKesBasicConfig);
  Walk(ObjectOf(basic, L"SDVariables"));
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
    CheckBytes();
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
