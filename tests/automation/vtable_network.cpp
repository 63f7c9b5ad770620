#include "tests/automation/vtable_network.hpp"

#include <windows.h>

#include <oleauto.h>

#include <TarnSclServer.h>

#include <string>
#include <vector>

#include "automation/script_host/event_sink.hpp"
#include "tests/automation/slot_walker.hpp"

namespace {

using namespace tarn::slots;
using tarn::Bstr;
using tarn::ComPtr;
using tarn::Variant;

/// An Ethernet connection that has taken the socket of the scale.
ComPtr<IDispatch> ConnectionWithSocket(IDispatch* scale) {
  const auto link = Create(CLSID_EthernetConnection);
  const auto protocol = Create(CLSID_KesSDProtocol);
  const auto owner = ComPtr<IDispatch>(scale).As<_TarnScale>();
  owner->putref_Connection(link.As<_Connection>().Get());
  owner->putref_Protocol(protocol.As<_Protocol>().Get());
  const HRESULT result = protocol.As<_Protocol>()->Connect();
  Expect(SUCCEEDED(result), L"taking the socket", result);
  return link;
}

void WalkSocket(const ComPtr<IDispatch>& socket) {
  const auto face = Walk<_SocketControl>(socket, {7, 18, 19, 20, 21, 22});
  if (!face) return;
  Variant text(std::wstring_view(L"x"));
  Variant left;
  V_VT(left.Get()) = VT_ERROR;
  V_ERROR(left.Get()) = DISP_E_PARAMNOTFOUND;
  Fails(face->put_Protocol(2), 380, L"a transport that is none");
  Fails(face->SendData(*text.Get()), 40006, L"sending on a closed socket");
  Expect(SUCCEEDED(face->put_Protocol(1)) && SUCCEEDED(face->put_LocalPort(0)) &&
             SUCCEEDED(face->put_LocalHost(Bstr(L"127.0.0.1").Get())),
         L"settings of a socket");
  Fails(face->Connect(*left.Get(), *left.Get()), 40006, L"connecting a UDP socket");
  Expect(SUCCEEDED(face->Bind(*left.Get())), L"binding");
  SHORT state = 0;
  face->get_State(&state);
  Expect(state == 1, L"a bound socket");
  for (const VARTYPE type : {VARTYPE{VT_BSTR}, VARTYPE{VT_ARRAY | VT_UI1}}) {
    Variant read;
    const HRESULT result = face->GetData(read.Get(), *Number(VT_I4, type).Get());
    Expect(SUCCEEDED(result) && V_VT(read.Get()) == type, L"reading nothing", result);
  }
  face->Close();
}

void WalkConnections(IDispatch* first, IDispatch* second) {
  const auto link = ConnectionWithSocket(first);
  const auto other = ConnectionWithSocket(second);
  Walk<_EthernetConnection>(link, {}, other);
  for (const auto& back : {link, Create(CLSID_SerialConnection)}) {
    Walk<_ReconnectingConnection>(back);
  }
  WalkSocket(ObjectOf(link.Get(), L"mvarSocket"));
  Walk<_ArcNetConnection>(Create(CLSID_ArcNetConnection));
}

void WalkProtocols() {
  Walk<_MiraProtocol>(Create(CLSID_MiraProtocol));
  Walk<_GenericProtocol>(Create(CLSID_GenericProtocol));
  Walk<_DemandTemplateProtocol>(Create(CLSID_DemandTemplateProtocol), {},
                                Create(CLSID_DemandTemplateProtocol));
  Walk<_KesDemandTemplateProtocol>(Create(CLSID_KesDemandTemplateProtocol), {},
                                   Create(CLSID_KesDemandTemplateProtocol));
  Walk<_KesSDProtocol>(Create(CLSID_KesSDProtocol));

  const auto face =
      Walk<_SummitProtocol>(Create(CLSID_SummitProtocol), {11}, Create(CLSID_SummitProtocol));
  const auto tag = Create(CLSID_SDTagInfo).As<_SDTagInfo>();
  const auto message = Create(CLSID_KesMessage);
  Walk<_KesMessage>(message);
  Expect(SUCCEEDED(face->ConvertReadData(tag.Get(), message.As<_KesMessage>().Get())),
         L"ConvertReadData");
  Fails(face->ConvertReadData(nullptr, nullptr), 91, L"ConvertReadData of nothing");
}

/// `own` come before the rows.
template <class Interface>
void WalkDataSet(const CLSID& clsid, std::vector<int> own, int firstRow,
                 const std::vector<SHORT>& counts) {
  const auto members = MembersOf(__uuidof(Interface));
  const int rows = static_cast<int>(counts.size());
  const int setString = firstRow + 2 * rows + 2;
  if (!Expect(!members.empty() && setString + 1 == members.back().number,
              L"the rows of a data set"))
    return;
  for (int slot = firstRow; slot < firstRow + 2 * rows; ++slot) own.push_back(slot);
  own.insert(own.end(), {setString, setString + 1});
  const auto data = Create(clsid);
  const auto face = Walk<Interface>(data, own);
  if (!face) return;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    CheckRow(face.Get(), members[static_cast<std::size_t>(firstRow - 7) + 2 * i], 1, counts[i]);
  }
  // A value belongs to a tag.
  const auto tag = Create(CLSID_SDTagInfo).As<_SDTagInfo>();
  Succeeds(face->SummitData_SetStringData(Bstr(L"x").Get(), 0, tag.Get()), L"SetStringData");
  Succeeds(face->SummitData_SetIntData(1, 0, tag.Get()), L"SetIntData");
  const auto contract = data.As<_SummitData>();
  if (!Expect(static_cast<bool>(contract), L"the contract of a data set")) return;
  std::wstring events;
  const tarn::script_host::EventConnection connection(
      *data.Get(), [&events](const std::wstring& event, DISPPARAMS&) {
        events += event + L" ";
        return S_OK;
      });
  contract->ConfigurationChanged();
  contract->put_CommLossError(VARIANT_TRUE);
  contract->DataUpdated();
  Expect(events == L"ConfigChanged NewDataReady CommLossError NewDataReady ",
         L"the events of a data set: " + events);
}

void WalkDataSets() {
  WalkDataSet<_TarnScaleDiagData>(CLSID_TarnScaleDiagData, {}, 7, std::vector<SHORT>(15, 4));
  WalkDataSet<_TarnPredictFailureData>(CLSID_TarnPredictFailureData, {7}, 9,
                                       {24, 4, 4, 4, 4, 24, 24, 24});
  WalkDataSet<_TarnOrbixDiagData>(CLSID_TarnOrbixDiagData, {7}, 9, {24, 24, 24, 24});
  WalkDataSet<_TarnKesBasicData>(CLSID_TarnKesBasicData, {7, 8, 9, 10}, 11,
                                 std::vector<SHORT>(7, 0));
}

void WalkTemplate() {
  const auto face =
      Walk<_TarnRecordTemplateConfig>(Create(CLSID_TarnRecordTemplateConfig), {7, 8, 19, 20, 21});
  if (!face) return;
  SHORT most[] = {0, 0};
  face->MaxNumFields(&most[0]);
  face->MaxFieldNameLen(&most[1]);
  Expect(most[0] == 20 && most[1] == 8, L"the limits of the template");
  const Bstr name(L"Gross");
  Succeeds(face->put_FieldName(20, name.Get()), L"a name");
  Fails(face->put_FieldName(21, name.Get()), 9, L"a name too many");
  Bstr read;
  Succeeds(face->get_FieldName(20, read.Receive()), L"the name");
  SAFEARRAY* names = nullptr;
  Succeeds(face->get_FieldNameArray(&names), L"the names");
  LONG last = 20;
  Bstr element;
  SafeArrayGetElement(names, &last, element.Receive());
  SafeArrayDestroy(names);
  Expect(read.View() == L"Gross" && element.View() == L"Gross", L"the name read back");
}

void WalkTags() {
  const auto tag = Create(CLSID_SDTagInfo);
  const auto face = Walk<_SDTagInfo>(tag, {12, 13, 14});
  Variant date = Number(VT_DATE, 36526.5);
  Variant object = Object(tag.Get());
  Variant bytes = OfType(VT_ARRAY | VT_UI1);
  V_ARRAY(bytes.Get()) = SafeArrayCreateVector(VT_UI1, 5, 2);
  for (Variant* value : {&date, &object, &bytes}) {
    Variant read;
    const bool isObject = value == &object;
    const HRESULT result =
        isObject ? face->putref_TagData(*value->Get()) : face->put_TagData(*value->Get());
    face->get_TagData(read.Get());
    LONG first = 5;
    if (value == &bytes) SafeArrayGetLBound(V_ARRAY(read.Get()), 1, &first);
    Expect(SUCCEEDED(result) && V_VT(read.Get()) == V_VT(value->Get()) && first == 5 &&
               (value == &bytes || Equal(read, *value)),
           L"TagData keeps what it is given", result);
  }
  face->put_TagData(*Variant().Get());  // or the tag would hold itself

  const auto config = Create(CLSID_TarnKesBasicConfig);
  const auto basic = config.As<_TarnKesBasicConfig>();
  ComPtr<_SDTagInfo> added;
  for (const wchar_t* key : {L"One", L"Two"}) {
    basic->AddVariable(Bstr(key).Get(), Bstr(L"bas01").Get(), SDLongType, 4, VARIANT_TRUE,
                       VARIANT_TRUE, added.Receive());
  }
  Walk<_TarnKesBasicConfig>(config, {8, 9});
  const auto tags = ObjectOf(config.Get(), L"SDVariables");
  Walk<_SDVariables>(tags, {7, 9});
  ComPtr<IUnknown> enumerator;
  tags.As<_SDVariables>()->get_NewEnum(enumerator.Receive());
  Variant each[3];
  const auto variants = enumerator.As<IEnumVARIANT>(IID_IEnumVARIANT);
  Expect(variants && variants->Next(3, each[0].Get(), nullptr) == S_FALSE, L"two tags");
  Variant last = Object(added.Get());
  Expect(Equal(each[1], last), L"the second tag of the enumerator");
  Fails(basic->RemoveVariable(Bstr(L"Three").Get()), 9, L"no such variable");

  const auto predict = Create(CLSID_TarnPredictFailureConfig);
  Walk<_TarnPredictFailureConfig>(predict);
  Walk<_TarnScaleDiagConfig>(Create(CLSID_TarnScaleDiagConfig));
  Walk<_SummitConfig>(Create(CLSID_SummitConfig), {7, 8, 9, 10, 11});
  const auto faceOfList = predict.As<_SummitConfig>();
  SHORT count = 0;
  faceOfList->GetTagInfoCount(&count);
  ComPtr<_SDTagInfo> byKey, byIndex;
  faceOfList->GetTagInfoByKey(Bstr(L"bd021").Get(), byKey.Receive());
  faceOfList->GetTagInfoByIndex(4, byIndex.Receive());
  Bstr reset, update;
  faceOfList->GetResetTrigger(4, reset.Receive());
  faceOfList->GetUpdateTrigger(1, update.Receive());
  Expect(count == 20 && byKey && byKey.Get() == byIndex.Get() && reset.View() == L"t_63f" &&
             update.View().empty(),
         L"what the configuration lists");
  Walk<_TarnOrbixDiagConfig>(Create(CLSID_TarnOrbixDiagConfig), {9});
}

}  // namespace

void WalkNetwork(IDispatch* first, IDispatch* second) {
  WalkConnections(first, second);
  WalkProtocols();
  WalkTemplate();
  WalkTags();
  WalkDataSets();
}
