// A program that implements a configuration and a data object.
//
// The engine asks the one what to read and gives the other the values, as if they were the
// server's.
//
//   own_set_client SCALE ADDRESS         checks a few rounds against a simulated terminal
//   own_set_client SCALE ADDRESS serve   goes on until it is ended, and says when rounds arrive
//
// The objects can be reached through the slots of the contracts only.
#include <windows.h>

#include <oleauto.h>

#include <TarnSclServer.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "automation/com_owners.hpp"
#include "tests/automation/client_checks.hpp"
#include "tests/automation/own_object.hpp"

namespace {

using tarn::Bstr;
using tarn::ComPtr;
using tarn::Own;
using namespace tarn::checks;

constexpr DWORD kLimit = 60000;  // milliseconds until something that never comes is given up

template <class Value>
HRESULT Give(Value* result, Value value) {
  *result = value;
  return S_OK;
}

class OwnConfig final : public Own<_SummitConfig> {
 public:
  void Add(const wchar_t* name, SDTagType type, SHORT length) {
    auto tag = Create<_SDTagInfo>(CLSID_SDTagInfo);
    tag->put_TagName(Bstr(name).Get());
    tag->put_TagType(type);
    tag->put_TagDataLen(length);
    tags.push_back(tag);
  }

  STDMETHODIMP GetTagInfoByKey(BSTR, _SDTagInfo** result) override {
    return Give<_SDTagInfo*>(result, nullptr);
  }
  STDMETHODIMP GetTagInfoByIndex(SHORT index, _SDTagInfo** result) override {
    return Give(result, ComPtr(tags[static_cast<std::size_t>(index - 1)]).Detach());
  }
  STDMETHODIMP GetTagInfoCount(SHORT* result) override {
    return Give(result, static_cast<SHORT>(tags.size()));
  }
  STDMETHODIMP GetResetTrigger(SHORT index, BSTR* result) override {
    return Give(result, Bstr(index == 1 ? L"trg01" : L"").Detach());
  }
  STDMETHODIMP GetUpdateTrigger(SHORT, BSTR* result) override {
    return Give<BSTR>(result, nullptr);
  }

  std::vector<ComPtr<_SDTagInfo>> tags;
};

class OwnData final : public Own<_SummitData> {
  using Tag = _SDTagInfo*;

 public:
  STDMETHODIMP put_CommLossError(VARIANT_BOOL value) override { return Give(&commLoss, value); }
  STDMETHODIMP get_CommLossError(VARIANT_BOOL* result) override { return Give(result, commLoss); }
  STDMETHODIMP put_NoDataError(VARIANT_BOOL value) override {
    if (value != VARIANT_FALSE) ++noDataReports;
    return Give(&noData, value);
  }
  STDMETHODIMP get_NoDataError(VARIANT_BOOL* result) override { return Give(result, noData); }
  STDMETHODIMP ConfigurationChanged() override { return S_OK; }
  STDMETHODIMP DataUpdated() override {
    ++rounds;
    return S_OK;
  }
  STDMETHODIMP SetBitData(VARIANT_BOOL value, Tag tag) override { return File(tag, value); }
  STDMETHODIMP SetByteData(unsigned char value, Tag tag) override { return File(tag, value); }
  STDMETHODIMP SetCharArrayData(SAFEARRAY** value, SHORT length, Tag tag) override {
    const char* bytes = static_cast<const char*>((*value)->pvData);
    return File(tag, std::string(bytes, static_cast<std::size_t>(length)));
  }
  STDMETHODIMP SetLongData(LONG value, SHORT index, Tag tag) override {
    if (fails) return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, 9);
    return File(tag, value, index);
  }
  STDMETHODIMP SetFloatData(float value, SHORT, Tag tag) override { return File(tag, value); }
  STDMETHODIMP SetDoubleData(double value, SHORT, Tag tag) override { return File(tag, value); }
  STDMETHODIMP SetStringData(BSTR value, SHORT, Tag tag) override {
    return File(tag, std::string(value, value + SysStringLen(value)));
  }
  STDMETHODIMP SetIntData(SHORT value, SHORT, Tag tag) override { return File(tag, value); }
  STDMETHODIMP ResetState() override { return S_OK; }
  STDMETHODIMP TriggersComplete(VARIANT_BOOL* result) override {
    return Give(result, VARIANT_FALSE);
  }

  /// As a data set, too, though the server only asks for it.
  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    return Own::QueryInterface(iid == IID__TarnScaleDiagData ? IID_IDispatch : iid, object);
  }

  std::map<std::wstring, std::string> values;  ///< by the name of the variable
  const OwnConfig* config = nullptr;
  int rounds = 0;
  int noDataReports = 0;
  VARIANT_BOOL commLoss = VARIANT_FALSE;
  VARIANT_BOOL noData = VARIANT_FALSE;
  bool fails = false;

 private:
  /// The tag is the very object that the configuration gave. The elements of an array are listed.
  template <class Value>
  HRESULT File(Tag tag, const Value& value, SHORT index = 0) {
    return FileText(tag, std::to_string(value), index);
  }
  HRESULT File(Tag tag, const std::string& value) { return FileText(tag, value, 0); }
  HRESULT FileText(Tag tag, const std::string& value, SHORT index) {
    bool known = false;
    for (const auto& own : config->tags) {
      known = known || own.As<IUnknown>(IID_IUnknown).Get() ==
                           ComPtr<_SDTagInfo>(tag).As<IUnknown>(IID_IUnknown).Get();
    }
    Expect(known, L"the tag of a value");
    Bstr name;
    Succeeds(tag->get_TagName(name.Receive()), L"asking back from a call");
    std::string& filed = values[name.Text()];
    filed = index > 0 ? filed + " " + value : value;
    return S_OK;
  }
};

template <class Condition>
void ServeUntil(Condition condition, const wchar_t* what) {
  const DWORD start = GetTickCount();
  while (!condition()) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
    if (!Expect(GetTickCount() - start < kLimit, what)) ExitProcess(3);
  }
}

void Run(SHORT number, const std::wstring& address, bool serve) {
  auto way = Create<_TarnServerConnection>(CLSID_TarnServerConnection);
  ComPtr<_TarnScaleServer> server;
  LONG component = 0;
  Succeeds(way->get_TarnScaleServer(&component, server.Receive()), L"the server");
  ComPtr<_TarnScale> scale;
  Succeeds(server->GetScale(number, scale.Receive()), L"the scale");

  OwnConfig config;
  const struct {
    const wchar_t* name;
    SDTagType type;
    SHORT length;
    std::string value;  // as the data object writes it down
  } variables[] = {{L"own01", SDBitType, 1, "-1"},
                   {L"own02", SDByteType, 1, "200"},
                   {L"own03", SDByteArrayType, 5, std::string("ab\0cd", 5)},
                   {L"own04", SDLongArrayType, 8, "7 -8"},
                   {L"own05", SDFloatType, 4, "12.500000"},
                   {L"own06", SDDoubleType, 8, "-0.250000"},
                   {L"own07", SDStringType, 6, "flour"},
                   {L"own08", SDUShortType, 2, "-3"}};
  for (const auto& one : variables) config.Add(one.name, one.type, one.length);
  OwnData data;
  data.config = &config;

  auto link = Create<_EthernetConnection>(CLSID_EthernetConnection);
  link->put_IPAddress(Bstr(address).Get());
  auto protocol = Create<_SummitProtocol>(CLSID_SummitProtocol);
  Succeeds(protocol->putref_Configuration(&config), L"giving the configuration");
  Succeeds(scale->putref_SummitData(&data), L"giving the data object");
  Succeeds(scale->putref_Connection(link.As<_Connection>().Get()), L"the connection");
  const auto contract = protocol.As<_Protocol>();
  Succeeds(scale->putref_Protocol(contract.Get()), L"the protocol");
  Succeeds(contract->put_pType(ScaleDiagDataType), L"a type with another pair");

  ComPtr<_SummitConfig> configBack;
  protocol->get_Configuration(configBack.Receive());
  ComPtr<_SummitData> dataBack;
  scale->get_SummitData(dataBack.Receive());
  ComPtr<IDispatch> listed;
  BSTR key = SysAllocString(L"tarnscalediagdata");
  scale->GetAxDataObj(&key, listed.Receive());
  SysFreeString(key);
  Expect(configBack.Get() == &config && dataBack.Get() == &data && listed.Get() == &data,
         L"the client's own objects");

  scale->put_UpdateRate(20);
  scale->put_Disabled(VARIANT_FALSE);
  VARIANT_BOOL runs = VARIANT_FALSE;
  Succeeds(scale->RunScale(&runs), L"running");
  for (int printed = 0; serve; ++printed) {
    ServeUntil([&] { return data.rounds > printed; }, L"a round");
    std::printf("round %d\n", printed + 1);
    std::fflush(stdout);
  }
  ServeUntil([&] { return data.rounds >= 2; }, L"two rounds");
  for (const auto& one : variables) Expect(data.values[one.name] == one.value, one.name);
  Expect(data.noDataReports == 0, L"rounds without a fault");

  // What fails is as a value that cannot be filed: reported, and the next round begins.
  data.fails = true;
  ServeUntil([&] { return data.noDataReports >= 2; }, L"a report of what failed");
  data.fails = false;
  const int before = data.rounds;
  ServeUntil([&] { return data.rounds > before && data.noData == VARIANT_FALSE; },
             L"rounds after the fault");

  scale->StopScale();
  scale->putref_SummitData(Create<_SummitData>(CLSID_SummitData).Get());
  protocol->putref_Configuration(nullptr);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (count < 3 || FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  Run(static_cast<SHORT>(_wtoi(arguments[1])), arguments[2], count > 3);
  CoUninitialize();
  return Report("own_set_client");
}
