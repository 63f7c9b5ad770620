// Follows one scale for some seconds, early bound and with events, and tares it. Prints its
// weights, the records that the terminal prints, and the counters of a terminal under diagnosis.
//
//   client [SCALE [SECONDS]]
//
// The build makes TarnSclServer.h and TarnSclServer_i.c from the IDL with widl or midl; everything
// else comes with the compiler.
#include <windows.h>

#include <comdef.h>
#include <ocidl.h>

#include <TarnSclServer.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <utility>

_COM_SMARTPTR_TYPEDEF(IConnectionPoint, __uuidof(IConnectionPoint));
_COM_SMARTPTR_TYPEDEF(IConnectionPointContainer, __uuidof(IConnectionPointContainer));
_COM_SMARTPTR_TYPEDEF(_TarnRecordTemplateData, __uuidof(_TarnRecordTemplateData));
_COM_SMARTPTR_TYPEDEF(_TarnScale, __uuidof(_TarnScale));
_COM_SMARTPTR_TYPEDEF(_TarnScaleDiagData, __uuidof(_TarnScaleDiagData));
_COM_SMARTPTR_TYPEDEF(_TarnScaleServer, __uuidof(_TarnScaleServer));
_COM_SMARTPTR_TYPEDEF(_TarnServerConnection, __uuidof(_TarnServerConnection));
_COM_SMARTPTR_TYPEDEF(_WeightData, __uuidof(_WeightData));

namespace {

void Check(HRESULT result) {
  if (FAILED(result)) _com_raise_error(result);
}

std::wstring Text(_WeightData* weight, HRESULT (STDMETHODCALLTYPE _WeightData::*read)(BSTR*)) {
  BSTR text = nullptr;
  Check((weight->*read)(&text));
  const std::wstring copy(text != nullptr ? text : L"");
  SysFreeString(text);
  return copy;
}

void PrintWeight(const char* why, _WeightData* weight) {
  VARIANT_BOOL motion = VARIANT_FALSE;
  Check(weight->get_Motion(&motion));
  std::printf("%s: gross %ls tare %ls net %ls %ls%s\n", why,
              Text(weight, &_WeightData::get_GrossWeight).c_str(),
              Text(weight, &_WeightData::get_TareWeight).c_str(),
              Text(weight, &_WeightData::get_NetWeight).c_str(),
              Text(weight, &_WeightData::get_Units).c_str(), motion ? " (in motion)" : "");
  std::fflush(stdout);
}

void PrintRecord(_TarnRecordTemplateData* record) {
  SHORT count = 0;
  Check(record->get_NumFields(&count));
  std::printf("Record:");
  for (SHORT i = 1; i <= count; ++i) {
    _bstr_t name;
    _bstr_t value;
    Check(record->get_FieldName(i, name.GetAddress()));
    Check(record->get_FieldData(i, value.GetAddress()));
    std::printf(" %ls=%ls", name.GetBSTR(), value.GetBSTR());
  }
  std::printf("\n");
  std::fflush(stdout);
}

void PrintDiagnosis(_TarnScaleDiagData* diagnosis) {
  std::printf("Weighings of the terminal's scales:");
  for (SHORT i = 1; i <= 4; ++i) {
    LONG count = 0;
    Check(diagnosis->get_WeighmentCounter(i, &count));
    std::printf(" %ld", count);
  }
  std::printf("\n");
  std::fflush(stdout);
}

/// Events arrive as calls of IDispatch::Invoke with the number of the event. The sink counts its
/// references, since the system may hold it longer than the subscription lasts.
class EventSink final : public IDispatch {
 public:
  using Handler = std::function<void(DISPID event)>;

  EventSink(REFIID events, Handler handler) : events_(events), handler_(std::move(handler)) {}
  virtual ~EventSink() = default;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IDispatch && iid != events_) return E_NOINTERFACE;
    *object = static_cast<IDispatch*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return DISP_E_UNKNOWNNAME;
  }
  STDMETHODIMP Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    try {
      handler_(event);
      return S_OK;
    } catch (const _com_error& error) {
      return error.Error();
    }
  }

 private:
  IID events_;
  Handler handler_;
  std::atomic<ULONG> references_ = 1;
};

/// Subscribes to the events of an object, for as long as it lives.
class Events {
 public:
  Events(IUnknown* source, REFIID events, EventSink::Handler handler) {
    const IConnectionPointContainerPtr container(source);
    Check(container->FindConnectionPoint(events, &point_));
    auto* sink = new EventSink(events, std::move(handler));
    const HRESULT result = point_->Advise(sink, &cookie_);
    sink->Release();
    Check(result);
  }
  Events(const Events&) = delete;
  Events& operator=(const Events&) = delete;
  ~Events() { point_->Unadvise(cookie_); }

 private:
  IConnectionPointPtr point_;
  DWORD cookie_ = 0;
};

/// Events arrive as messages of this thread.
void HandleMessages(ULONGLONG milliseconds) {
  const ULONGLONG end = GetTickCount64() + milliseconds;
  for (ULONGLONG now = end - milliseconds; now < end; now = GetTickCount64()) {
    MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(end - now), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
  }
}

/// Returns null when the scale is not diagnosed.
_TarnScaleDiagDataPtr DiagnosisOf(_TarnScale* scale) {
  _bstr_t name(L"TarnScaleDiagData");
  IDispatch* data = nullptr;
  Check(scale->GetAxDataObj(&name.GetBSTR(), &data));
  const _TarnScaleDiagDataPtr diagnosis(data);
  if (data != nullptr) data->Release();
  return diagnosis;
}

void Follow(SHORT number, ULONGLONG milliseconds) {
  // The first client's TarnServerConnection starts the server; it ends with the last one.
  _TarnServerConnectionPtr connection;
  Check(connection.CreateInstance(CLSID_TarnServerConnection, nullptr, CLSCTX_LOCAL_SERVER));
  LONG component = 0;
  _TarnScaleServerPtr server;
  Check(connection->get_TarnScaleServer(&component, &server));
  _TarnScalePtr scale;
  Check(server->GetScale(number, &scale));
  if (!scale) _com_raise_error(E_POINTER);  // its settings could not be restored
  _WeightDataPtr weight;
  Check(scale->get_WeightData(&weight));
  PrintWeight("Now", weight);
  const Events weights(weight, __uuidof(__WeightData), [&weight](DISPID event) {
    PrintWeight(event == 1 ? "NewWeight" : "StatusChange", weight);
  });

  _TarnRecordTemplateDataPtr record;
  Check(scale->get_TarnRecordTemplateData(&record));
  const Events records(record, __uuidof(__TarnRecordTemplateData), [&record](DISPID event) {
    if (event == 2) PrintRecord(record);  // NewDataReady
  });

  const _TarnScaleDiagDataPtr diagnosis = DiagnosisOf(scale);
  std::optional<Events> diagnoses;
  if (diagnosis) {
    diagnoses.emplace(diagnosis, __uuidof(__TarnScaleDiagData), [&diagnosis](DISPID event) {
      if (event == 4) PrintDiagnosis(diagnosis);  // NewDataReady
    });
  }

  Check(scale->T());
  HandleMessages(milliseconds);
}

}  // namespace

int main(int argc, char** argv) {
  Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  int status = 0;
  try {
    Follow(static_cast<SHORT>(argc > 1 ? std::atoi(argv[1]) : 1),
           argc > 2 ? std::strtoull(argv[2], nullptr, 10) * 1000 : 10000);
    std::puts("End of client");
  } catch (const _com_error& error) {
    // The low word is the error number of the server; 9, for example, is an index out of range.
    std::fprintf(stderr, "Error %lu (%08lX)\n", error.Error() & 0xFFFFul,
                 static_cast<unsigned long>(error.Error()));
    status = 1;
  }
  CoUninitialize();
  return status;
}
