#include "tests/automation/vtable_network.hpp"

#include <windows.h>

#include <oleauto.h>

#include <TarnSclServer.h>

#include <string>
#include <vector>

#include "tests/automation/slot_walker.hpp"

namespace {

using namespace tarn::slots;
using tarn::Bstr;
using tarn::ComPtr;
using tarn::Variant;

constexpr HRESULT BasicError(int number) {
  return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number);
}

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
  Expect(face->put_Protocol(2) == BasicError(380), L"a transport that is none");
  Expect(face->SendData(*text.Get()) == BasicError(40006), L"sending on a closed socket");
  Expect(SUCCEEDED(face->put_Protocol(1)) && SUCCEEDED(face->put_LocalPort(0)) &&
             SUCCEEDED(face->put_LocalHost(Bstr(L"127.0.0.1").Get())),
         L"settings of a socket");
  Expect(face->Connect(*left.Get(), *left.Get()) == BasicError(40006), L"connecting a UDP socket");
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
  Walk<_SenderCheckingConnection>(link);
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
  Expect(face->ConvertReadData(nullptr, nullptr) == BasicError(91), L"ConvertReadData of nothing");
}

/// A member with an index, and behind it the whole row: counts from 1, error 9 beyond.
void CheckRow(IUnknown* face, const Member& row, SHORT count) {
  for (const SHORT index : {SHORT{0}, count, static_cast<SHORT>(count + 1)}) {
    Variant value = OfType(row.type);
    const HRESULT result = CallSlot(face, row.number, {Number(VT_I2, index), AddressOf(value)});
    const bool inside = index >= 1 && index <= count;
    Expect(inside ? SUCCEEDED(result) : result == BasicError(9), row.name, result);
  }
  Variant array = OfType(static_cast<VARTYPE>(VT_ARRAY | row.type));
  const HRESULT result = CallSlot(face, row.number + 1, {AddressOf(array)});
  if (!Expect(SUCCEEDED(result), row.name + L" as a row", result)) return;
  LONG first = 0;
  LONG last = -1;
  VARTYPE type = VT_EMPTY;
  SafeArrayGetLBound(V_ARRAY(array.Get()), 1, &first);
  SafeArrayGetUBound(V_ARRAY(array.Get()), 1, &last);
  SafeArrayGetVartype(V_ARRAY(array.Get()), &type);
  Expect(first == 1 && last == count && type == row.type, row.name + L" as a row");
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
    CheckRow(face.Get(), members[static_cast<std::size_t>(firstRow - 7) + 2 * i], counts[i]);
  }
  // A value belongs to a tag.
  const Variant tag = Object(Create(CLSID_SDTagInfo).Get());
  CheckSuccess(face.Get(), setString, {Variant(std::wstring_view(L"x")), Number(VT_I2, 0), tag},
               L"SetStringData");
  CheckSuccess(face.Get(), setString + 1, {Number(VT_I2, 1), Number(VT_I2, 0), tag}, L"SetIntData");
  Expect(static_cast<bool>(data.As<_SummitData>()), L"the contract of a data set");
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
  for (const auto& [slot, wanted] : {std::pair(7, 20), std::pair(8, 8)}) {
    Variant most = OfType(VT_I2);
    CheckSuccess(face.Get(), slot, {AddressOf(most)}, L"a limit of the template");
    Expect(V_I2(most.Get()) == wanted, L"a limit of the template");
  }
  const Variant name(std::wstring_view(L"Gross"));
  CheckSuccess(face.Get(), 20, {Number(VT_I2, 20), name}, L"a name");
  CheckBasicError(face.Get(), 20, {Number(VT_I2, 21), name}, 9, L"a name too many");
  Variant read = OfType(VT_BSTR);
  CheckSuccess(face.Get(), 21, {Number(VT_I2, 20), AddressOf(read)}, L"the name");
  Variant array = OfType(VT_ARRAY | VT_BSTR);
  CheckSuccess(face.Get(), 19, {AddressOf(array)}, L"the names");
  LONG last = 20;
  Variant element = OfType(VT_BSTR);
  SafeArrayGetElement(V_ARRAY(array.Get()), &last, &V_BSTR(element.Get()));
  Variant wanted = name;
  Expect(Equal(read, wanted) && Equal(element, wanted), L"the name read back");
}

void WalkTags() {
  const auto tag = Create(CLSID_SDTagInfo);
  const auto face = Walk<_SDTagInfo>(tag, {12, 13, 14});
  Variant date = Number(VT_DATE, 36526.5);
  Variant object = Object(tag.Get());
  for (Variant* value : {&date, &object}) {
    Variant read;
    const bool isObject = value == &object;
    const HRESULT result =
        isObject ? face->putref_TagData(*value->Get()) : face->put_TagData(*value->Get());
    face->get_TagData(read.Get());
    Expect(SUCCEEDED(result) && V_VT(read.Get()) == V_VT(value->Get()) && Equal(read, *value),
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
  Expect(basic->RemoveVariable(Bstr(L"Three").Get()) == BasicError(9), L"no such variable");

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
