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

template <class Interface>
ComPtr<Interface> Face(const ComPtr<IDispatch>& object) {
  return object.As<Interface>();
}

ComPtr<IDispatch> AsObject(IUnknown* object) {
  return ComPtr<IUnknown>(object).As<IDispatch>(IID_IDispatch);
}

/// An Ethernet connection that has taken the socket of the scale.
ComPtr<IDispatch> ConnectionWithSocket(IDispatch* scale) {
  const auto link = Create(CLSID_EthernetConnection);
  const auto protocol = Create(CLSID_KesSDProtocol);
  const auto owner = ComPtr<IDispatch>(scale).As<_TarnScale>();
  owner->putref_Connection(Face<_Connection>(link).Get());
  owner->putref_Protocol(Face<_Protocol>(protocol).Get());
  const HRESULT result = Face<_Protocol>(protocol)->Connect();
  Expect(SUCCEEDED(result), L"taking the socket", result);
  return link;
}

void WalkSocket(const ComPtr<IDispatch>& socket) {
  if (!Walk({L"_SocketControl", IID__SocketControl, socket, {}},
            {{7, Kind::Own, L"Protocol"},
             {8, Kind::Get, L"Protocol", VT_I2},
             {9, Kind::Let, L"LocalPort", VT_I4},
             {10, Kind::Get, L"LocalPort", VT_I4},
             {11, Kind::Let, L"RemoteHost", VT_BSTR},
             {12, Kind::Get, L"RemoteHost", VT_BSTR},
             {13, Kind::Let, L"RemotePort", VT_I4},
             {14, Kind::Get, L"RemotePort", VT_I4},
             {15, Kind::Get, L"State", VT_I2},
             {16, Kind::Get, L"BytesReceived", VT_I4},
             {17, Kind::Call, L"Close"},
             {18, Kind::Own, L"Bind"},
             {19, Kind::Own, L"Connect"},
             {20, Kind::Own, L"SendData"},
             {21, Kind::Own, L"GetData"},
             {22, Kind::Own, L"LocalHost"},
             {23, Kind::Get, L"LocalHost", VT_BSTR},
             {24, Kind::Get, L"SenderHost", VT_BSTR},
             {25, Kind::Get, L"SenderPort", VT_I4}})) {
    return;
  }
  const auto face = Face<_SocketControl>(socket);
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
  Walk({L"_EthernetConnection", IID__EthernetConnection, link, other},
       {{7, Kind::Let, L"IPAddress", VT_BSTR},
        {8, Kind::Get, L"IPAddress", VT_BSTR},
        {9, Kind::Get, L"mvarSocket", VT_DISPATCH},
        {10, Kind::Set, L"mvarSocket", VT_DISPATCH}});
  for (const auto& back : {link, Create(CLSID_SerialConnection)}) {
    Walk({L"_ReconnectingConnection", IID__ReconnectingConnection, back, {}},
         {{7, Kind::Let, L"AutoReconnect", VT_BOOL}, {8, Kind::Get, L"AutoReconnect", VT_BOOL}});
  }
  WalkSocket(ObjectOf(link.Get(), L"mvarSocket"));
  Walk({L"_ArcNetConnection", IID__ArcNetConnection, Create(CLSID_ArcNetConnection), {}},
       {{7, Kind::Let, L"KestrelNum", VT_BSTR},
        {8, Kind::Get, L"KestrelNum", VT_BSTR},
        {9, Kind::Let, L"Cluster", VT_BSTR},
        {10, Kind::Get, L"Cluster", VT_BSTR}});
}

void WalkProtocols() {
  const std::vector<Slot> repeated = {{7, Kind::Call, L"Protocol_Disconnect"},
                                      {8, Kind::Call, L"Protocol_Connect"}};
  Walk({L"_MiraProtocol", IID__MiraProtocol, Create(CLSID_MiraProtocol), {}}, repeated);
  Walk({L"_GenericProtocol", IID__GenericProtocol, Create(CLSID_GenericProtocol), {}}, repeated);
  Walk({L"_DemandTemplateProtocol", IID__DemandTemplateProtocol,
        Create(CLSID_DemandTemplateProtocol), Create(CLSID_DemandTemplateProtocol)},
       {repeated[0],
        repeated[1],
        {9, Kind::Set, L"TemplateConfig", VT_DISPATCH},
        {10, Kind::Get, L"TemplateConfig", VT_DISPATCH}});
  Walk({L"_KesDemandTemplateProtocol", IID__KesDemandTemplateProtocol,
        Create(CLSID_KesDemandTemplateProtocol), Create(CLSID_KesDemandTemplateProtocol)},
       {{7, Kind::Let, L"scaleNum", VT_BSTR},
        {8, Kind::Get, L"scaleNum", VT_BSTR},
        {9, Kind::Call, L"Protocol_Disconnect"},
        {10, Kind::Call, L"Protocol_Connect"},
        {11, Kind::Set, L"TemplateConfig", VT_DISPATCH},
        {12, Kind::Get, L"TemplateConfig", VT_DISPATCH}});
  Walk({L"_KesSDProtocol", IID__KesSDProtocol, Create(CLSID_KesSDProtocol), {}},
       {{7, Kind::Let, L"scaleNum", VT_BSTR}, {8, Kind::Get, L"scaleNum", VT_BSTR}});

  const auto engine = Create(CLSID_SummitProtocol);
  Walk({L"_SummitProtocol", IID__SummitProtocol, engine, Create(CLSID_SummitProtocol)},
       {{7, Kind::Set, L"Configuration", VT_DISPATCH},
        {8, Kind::Get, L"Configuration", VT_DISPATCH},
        {9, Kind::Call, L"Protocol_Disconnect"},
        {10, Kind::Call, L"Protocol_Connect"},
        {11, Kind::Own, L"ConvertReadData"}});
  const auto tag = Face<_SDTagInfo>(Create(CLSID_SDTagInfo));
  const auto message = Create(CLSID_KesMessage);
  Walk({L"_KesMessage", IID__KesMessage, message, {}}, {});
  const auto face = Face<_SummitProtocol>(engine);
  Expect(SUCCEEDED(face->ConvertReadData(tag.Get(), Face<_KesMessage>(message).Get())),
         L"ConvertReadData");
  Expect(face->ConvertReadData(nullptr, nullptr) == BasicError(91), L"ConvertReadData of nothing");
}

/// A member with an index and the whole row: counts from 1, error 9 beyond.
struct Row {
  std::wstring name;
  VARTYPE type;
  SHORT count;
  std::wstring array = name + L"Array";
};

void CheckRow(IUnknown* face, int slot, const Row& row) {
  for (const SHORT index : {SHORT{0}, row.count, static_cast<SHORT>(row.count + 1)}) {
    Variant value = OfType(row.type);
    const HRESULT result = CallSlot(face, slot, {Number(VT_I2, index), AddressOf(value)});
    const bool inside = index >= 1 && index <= row.count;
    Expect(inside ? SUCCEEDED(result) : result == BasicError(9), row.name, result);
  }
  Variant array = OfType(static_cast<VARTYPE>(VT_ARRAY | row.type));
  const HRESULT result = CallSlot(face, slot + 1, {AddressOf(array)});
  if (!Expect(SUCCEEDED(result), row.array, result)) return;
  LONG first = 0;
  LONG last = -1;
  VARTYPE type = VT_EMPTY;
  SafeArrayGetLBound(V_ARRAY(array.Get()), 1, &first);
  SafeArrayGetUBound(V_ARRAY(array.Get()), 1, &last);
  SafeArrayGetVartype(V_ARRAY(array.Get()), &type);
  Expect(first == 1 && last == row.count && type == row.type, row.array);
}

void WalkDataSet(const wchar_t* name, const IID& iid, const CLSID& clsid, std::vector<Slot> slots,
                 const std::vector<Row>& rows) {
  const int first = 7 + static_cast<int>(slots.size());
  int slot = first;
  for (const Row& row : rows) {
    slots.push_back({slot++, Kind::Own, row.name.c_str()});
    slots.push_back({slot++, Kind::Own, row.array.c_str()});
  }
  slots.push_back({slot++, Kind::Get, L"SummitData_CommLossError", VT_BOOL});
  slots.push_back({slot++, Kind::Get, L"SummitData_NoDataError", VT_BOOL});
  slots.push_back({slot, Kind::Own, L"SummitData_SetStringData"});
  slots.push_back({slot + 1, Kind::Own, L"SummitData_SetIntData"});
  const auto data = Create(clsid);
  const auto face = Walk({name, iid, data, {}}, slots);
  if (!face) return;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    CheckRow(face.Get(), first + 2 * static_cast<int>(i), rows[i]);
  }
  // A value belongs to a tag.
  const Variant tag = Object(Create(CLSID_SDTagInfo).Get());
  CheckSuccess(face.Get(), slot, {Variant(std::wstring_view(L"x")), Number(VT_I2, 0), tag}, name);
  CheckSuccess(face.Get(), slot + 1, {Number(VT_I2, 1), Number(VT_I2, 0), tag}, name);
  Expect(static_cast<bool>(data.As<_SummitData>()), L"the contract of a data set");
}

void WalkDataSets() {
  WalkDataSet(L"_TarnScaleDiagData", IID__TarnScaleDiagData, CLSID_TarnScaleDiagData, {},
              {{L"ScaleCalZeroCounts", VT_I4, 4},
               {L"ScaleCurrentZeroCounts", VT_I4, 4},
               {L"ScaleCurrentCounts", VT_I4, 4},
               {L"ScaleCalHighCounts", VT_I4, 4},
               {L"ScaleCalHighWeight", VT_BSTR, 4},
               {L"ScaleCalMidCounts", VT_I4, 4},
               {L"ScaleCalMidWeight", VT_BSTR, 4},
               {L"ScaleCriticalError", VT_BOOL, 4},
               {L"LastScaleError", VT_BSTR, 4},
               {L"ScaleErrorCounter", VT_I4, 4},
               {L"WeighmentCounter", VT_I4, 4},
               {L"ScaleOverloadCounter", VT_I4, 4},
               {L"ScaleImpactCounter", VT_I4, 4},
               {L"ScaleZeroCounter", VT_I4, 4},
               {L"ScaleZeroFailCounter", VT_I4, 4}});
  const std::vector<Slot> cells = {{7, Kind::Own, L"MaxNumCells"},
                                   {8, Kind::Get, L"NumberActiveCells", VT_I2}};
  WalkDataSet(L"_TarnPredictFailureData", IID__TarnPredictFailureData, CLSID_TarnPredictFailureData,
              cells,
              {{L"ScanTableCellAddress", VT_UI1, 24, L"ScanTable"},
               {L"ReplacementCell", VT_UI1, 4},
               {L"BadCell", VT_UI1, 4},
               {L"SymmetryFailure", VT_UI1, 4},
               {L"EstimatingWeightStatus", VT_BOOL, 4},
               {L"CellZeroDriftStatus", VT_UI1, 24},
               {L"CellSymFailCounter", VT_I4, 24},
               {L"CellZeroDriftCounter", VT_I4, 24}});
  WalkDataSet(L"_TarnOrbixDiagData", IID__TarnOrbixDiagData, CLSID_TarnOrbixDiagData, cells,
              {{L"ScanTableCellAddress", VT_UI1, 24, L"ScanTable"},
               {L"CellCounts", VT_I4, 24},
               {L"CellErrorNumber", VT_UI1, 24},
               {L"CellOverloadStatus", VT_UI1, 24}});
  WalkDataSet(L"_TarnKesBasicData", IID__TarnKesBasicData, CLSID_TarnKesBasicData,
              {{7, Kind::Own, L"KBStatus"},
               {8, Kind::Own, L"KBCommand"},
               {9, Kind::Own, L"SDRead"},
               {10, Kind::Own, L"SDWrite"}},
              {{L"BitValue", VT_BOOL, 0},
               {L"ByteValue", VT_UI1, 0},
               {L"IntValue", VT_I2, 0},
               {L"LongValue", VT_I4, 0},
               {L"FloatValue", VT_R4, 0},
               {L"DoubleValue", VT_R8, 0},
               {L"StringValue", VT_BSTR, 0}});
}

void WalkTemplate() {
  const auto face = Walk({L"_TarnRecordTemplateConfig",
                          IID__TarnRecordTemplateConfig,
                          Create(CLSID_TarnRecordTemplateConfig),
                          {}},
                         {{7, Kind::Own, L"MaxNumFields"},
                          {8, Kind::Own, L"MaxFieldNameLen"},
                          {9, Kind::Let, L"NumFields", VT_I2},
                          {10, Kind::Get, L"NumFields", VT_I2},
                          {11, Kind::Let, L"Delimiter", VT_BSTR},
                          {12, Kind::Get, L"Delimiter", VT_BSTR},
                          {13, Kind::Let, L"StartString", VT_BSTR},
                          {14, Kind::Get, L"StartString", VT_BSTR},
                          {15, Kind::Let, L"Terminator", VT_BSTR},
                          {16, Kind::Get, L"Terminator", VT_BSTR},
                          {17, Kind::Let, L"Timeout", VT_I4},
                          {18, Kind::Get, L"Timeout", VT_I4},
                          {19, Kind::Own, L"FieldNameArray"},
                          {20, Kind::Own, L"FieldName"},
                          {21, Kind::Own, L"FieldName"},
                          {22, Kind::Let, L"DemandOutput", VT_BSTR},
                          {23, Kind::Get, L"DemandOutput", VT_BSTR}});
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
  Walk({L"_SDTagInfo", IID__SDTagInfo, tag, {}}, {{7, Kind::Let, L"EasyIndex", VT_BSTR},
                                                  {8, Kind::Get, L"EasyIndex", VT_BSTR},
                                                  {9, Kind::Let, L"Writable", VT_BOOL},
                                                  {10, Kind::Get, L"Writable", VT_BOOL},
                                                  {11, Kind::Get, L"Polled", VT_BOOL},
                                                  {12, Kind::Own, L"TagData"},
                                                  {13, Kind::Own, L"TagData"},
                                                  {14, Kind::Own, L"TagData"},
                                                  {15, Kind::Let, L"TagDataLen", VT_I2},
                                                  {16, Kind::Get, L"TagDataLen", VT_I2},
                                                  {17, Kind::Let, L"TagType", VT_I4},
                                                  {18, Kind::Get, L"TagType", VT_I4},
                                                  {19, Kind::Let, L"TagName", VT_BSTR},
                                                  {20, Kind::Get, L"TagName", VT_BSTR},
                                                  {21, Kind::Let, L"TriggerRequired", VT_BOOL},
                                                  {22, Kind::Get, L"TriggerRequired", VT_BOOL}});
  const auto face = Face<_SDTagInfo>(tag);
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
  const auto basic = Face<_TarnKesBasicConfig>(config);
  ComPtr<_SDTagInfo> added;
  for (const wchar_t* key : {L"One", L"Two"}) {
    basic->AddVariable(Bstr(key).Get(), Bstr(L"bas01").Get(), SDLongType, 4, VARIANT_TRUE,
                       VARIANT_TRUE, added.Receive());
  }
  Walk({L"_TarnKesBasicConfig", IID__TarnKesBasicConfig, config, {}},
       {{7, Kind::Get, L"SDVariables", VT_DISPATCH},
        {8, Kind::Own, L"AddVariable"},
        {9, Kind::Own, L"RemoveVariable"}});
  const auto tags = ObjectOf(config.Get(), L"SDVariables");
  Walk({L"_SDVariables", IID__SDVariables, tags, {}},
       {{7, Kind::Own, L"Item"}, {8, Kind::Get, L"Count", VT_I4}, {9, Kind::Own, L"NewEnum"}});
  ComPtr<IUnknown> enumerator;
  Face<_SDVariables>(tags)->get_NewEnum(enumerator.Receive());
  Variant each[3];
  const auto variants = enumerator.As<IEnumVARIANT>(IID_IEnumVARIANT);
  Expect(variants && variants->Next(3, each[0].Get(), nullptr) == S_FALSE, L"two tags");
  Variant last = Object(AsObject(added.Get()).Get());
  Expect(Equal(each[1], last), L"the second tag of the enumerator");
  Expect(basic->RemoveVariable(Bstr(L"Three").Get()) == BasicError(9), L"no such variable");

  const std::vector<Slot> contract = {{7, Kind::Own, L"GetTagInfoByKey"},
                                      {8, Kind::Own, L"GetTagInfoByIndex"},
                                      {9, Kind::Own, L"GetTagInfoCount"},
                                      {10, Kind::Own, L"GetResetTrigger"},
                                      {11, Kind::Own, L"GetUpdateTrigger"}};
  const auto predict = Create(CLSID_TarnPredictFailureConfig);
  Walk({L"_TarnPredictFailureConfig", IID__TarnPredictFailureConfig, predict, {}}, {});
  Walk({L"_TarnScaleDiagConfig", IID__TarnScaleDiagConfig, Create(CLSID_TarnScaleDiagConfig), {}},
       {});
  Walk({L"_SummitConfig", IID__SummitConfig, Create(CLSID_SummitConfig), {}}, contract);
  const auto listed = Walk({L"_SummitConfig", IID__SummitConfig, predict, {}}, contract);
  const auto faceOfList = listed.As<_SummitConfig>();
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
  Walk({L"_TarnOrbixDiagConfig", IID__TarnOrbixDiagConfig, Create(CLSID_TarnOrbixDiagConfig), {}},
       {{7, Kind::Let, L"CountsVariable", VT_BSTR},
        {8, Kind::Get, L"CountsVariable", VT_BSTR},
        {9, Kind::Own, L"CountsType"},
        {10, Kind::Get, L"CountsType", VT_I4},
        {11, Kind::Let, L"ErrorNumbersVariable", VT_BSTR},
        {12, Kind::Get, L"ErrorNumbersVariable", VT_BSTR},
        {13, Kind::Let, L"OverloadStatusVariable", VT_BSTR},
        {14, Kind::Get, L"OverloadStatusVariable", VT_BSTR},
        {15, Kind::Let, L"ScanTableVariable", VT_BSTR},
        {16, Kind::Get, L"ScanTableVariable", VT_BSTR}});
}

}  // namespace

void WalkNetwork(IDispatch* first, IDispatch* second) {
  WalkConnections(first, second);
  WalkProtocols();
  WalkTemplate();
  WalkTags();
  WalkDataSets();
}
