#include "automation/client_adapters.hpp"

#include <TarnSclServer.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "automation/com_arrays.hpp"
#include "automation/com_values.hpp"
#include "automation/core_objects.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "shareddata/tarn_orbix_diag_data.hpp"
#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"

namespace tarn {
namespace {

/// The dispatch ids of the contracts' members, as published.
namespace connection {
enum : DISPID { IsBidirectional = 1001, Ctype, Disconnect, Connect };
}
namespace protocol {
enum : DISPID {
  myScale = 2001,
  WeightData,
  PrintData,
  TarnRecordTemplateData,
  Connection,
  pType,
  Disconnect,
  Connect,
  TypeToClass,
  Z,
  P,
  T,
  SetTare,
  C
};
}
namespace summit_data {
enum : DISPID {
  CommLossError = 3001,
  NoDataError,
  ConfigurationChanged,
  DataUpdated,
  SetBitData,
  SetByteData,
  SetCharArrayData,
  SetLongData,
  SetFloatData,
  SetDoubleData,
  SetStringData,
  SetIntData,
  ResetState,
  TriggersComplete
};
}

namespace summit_config {
enum : DISPID {
  GetTagInfoByKey = 4001,
  GetTagInfoByIndex,
  GetTagInfoCount,
  GetResetTrigger,
  GetUpdateTrigger
};
}

using Arguments = std::vector<Variant>;

template <class Core>
Variant ObjectArgument(ComModule& module, const std::shared_ptr<Core>& core) {
  Variant value;
  V_VT(value.Get()) = VT_DISPATCH;
  V_DISPATCH(value.Get()) = Wrap(module, core).template As<IDispatch>(IID_IDispatch).Detach();
  return value;
}

/// False or zero where the client does not answer.
template <class Result>
Result Ask(ContractCalls& object, DISPID id, WORD how = DISPATCH_PROPERTYGET) {
  constexpr bool kTruth = std::is_same_v<Result, bool>;
  const Variant answer = object.TryCall(id, how, {}, kTruth ? VT_BOOL : VT_I4);
  if (V_VT(answer.Get()) == VT_EMPTY) return Result{};
  if constexpr (kTruth)
    return IsTrue(V_BOOL(answer.Get()));
  else
    return Result{V_I4(answer.Get())};
}

/// Closing is quiet where the client fails: it must not keep a scale from being stopped, or from
/// getting another connection.
class ClientConnection final : public _Connection, public ClientMade {
 public:
  using ClientMade::ClientMade;

  std::string_view ClassName() const override { return "NoConnection"; }
  bool IsClientMade() const override { return true; }

  bool IsBidirectional() const override { return Ask<bool>(Object(), connection::IsBidirectional); }
  void IsBidirectional(bool value) override {
    Object().Call(connection::IsBidirectional, DISPATCH_PROPERTYPUT, {ToVariant(value)});
  }
  ConnectionType Ctype() const override { return Ask<ConnectionType>(Object(), connection::Ctype); }
  void Disconnect() override { Object().TryCall(connection::Disconnect, DISPATCH_METHOD, {}); }
  void Connect() override { Object().Call(connection::Connect, DISPATCH_METHOD, {}); }
};

/// Keeps what it is given too, so that reading it asks nobody.
class ClientProtocol final : public Protocol, public ClientMade {
 public:
  using ClientMade::ClientMade;

  std::string_view ClassName() const override { return "NoProtocol"; }
  bool IsClientMade() const override { return true; }

  using Protocol::Connection;
  using Protocol::myScale;
  using Protocol::PrintData;
  using Protocol::TarnRecordTemplateData;
  using Protocol::WeightData;
  void myScale(const std::shared_ptr<TarnScale>& scale) override {
    Protocol::myScale(scale);
    Give(protocol::myScale, scale);
  }
  void WeightData(std::shared_ptr<tarn::WeightData> record) override {
    Protocol::WeightData(record);
    Give(protocol::WeightData, record);
  }
  void PrintData(std::shared_ptr<tarn::PrintData> record) override {
    Protocol::PrintData(record);
    Give(protocol::PrintData, record);
  }
  void TarnRecordTemplateData(std::shared_ptr<tarn::TarnRecordTemplateData> record) override {
    Protocol::TarnRecordTemplateData(record);
    Give(protocol::TarnRecordTemplateData, record);
  }
  void Connection(std::shared_ptr<_Connection> connection) override {
    Protocol::Connection(connection);
    Give(protocol::Connection, connection);
  }

  ProtocolType pType() const override { return Ask<ProtocolType>(Object(), protocol::pType); }
  void pType(ProtocolType type) override {
    Object().Call(protocol::pType, DISPATCH_PROPERTYPUT, {ToVariant(type)});
  }
  void Disconnect() override { Object().TryCall(protocol::Disconnect, DISPATCH_METHOD, {}); }
  void Connect() override { Object().Call(protocol::Connect, DISPATCH_METHOD, {}); }
  void Z() override { Object().Call(protocol::Z, DISPATCH_METHOD, {}); }
  void P() override { Object().Call(protocol::P, DISPATCH_METHOD, {}); }
  void T() override { Object().Call(protocol::T, DISPATCH_METHOD, {}); }
  void SetTare(double& TareValue) override {
    Variant changed;
    Object().Call(protocol::SetTare, DISPATCH_METHOD, {ToVariant(TareValue)}, VT_EMPTY, &changed);
    TareValue = V_R8(changed.Get());
  }
  void C() override { Object().Call(protocol::C, DISPATCH_METHOD, {}); }

 private:
  template <class Core>
  void Give(DISPID id, const std::shared_ptr<Core>& core) {
    Object().TryCall(id, DISPATCH_PROPERTYPUTREF, {ObjectArgument(Object().Module(), core)});
  }
};

struct DataSet {
  const IID* iid;
  std::string_view name;
};
/// In the order in which a scale looks for them.
constexpr DataSet kDataSets[] = {
    {&IID__TarnOrbixDiagData, TarnOrbixDiagData::kClassName},
    {&IID__TarnPredictFailureData, TarnPredictFailureData::kClassName},
    {&IID__TarnScaleDiagData, TarnScaleDiagData::kClassName},
    {&IID__TarnKesBasicData, TarnKesBasicData::kClassName},
};

/// The engine goes on whatever becomes of the client: a call that fails is a value that failed.
class ClientSummitData final : public _SummitData, public ClientMade {
 public:
  explicit ClientSummitData(std::shared_ptr<ContractCalls> object) : ClientMade(std::move(object)) {
    const auto* const known =
        std::find_if(std::begin(kDataSets), std::end(kDataSets),
                     [this](const DataSet& set) { return Object().Implements(*set.iid); });
    if (known != std::end(kDataSets)) dataObjectName_ = known->name;
  }

  std::string_view ClassName() const override { return "SummitData"; }
  bool IsClientMade() const override { return true; }
  /// A data object that implements one of the data sets is listed as that one.
  std::string_view DataObjectName() const override { return dataObjectName_; }

  void CommLossError(bool value) override { Write(summit_data::CommLossError, value); }
  bool CommLossError() const override { return Ask<bool>(Object(), summit_data::CommLossError); }
  void NoDataError(bool value) override { Write(summit_data::NoDataError, value); }
  bool NoDataError() const override { return Ask<bool>(Object(), summit_data::NoDataError); }
  void ConfigurationChanged() override { Tell(summit_data::ConfigurationChanged, {}); }
  void DataUpdated() override { Tell(summit_data::DataUpdated, {}); }
  void SetBitData(bool TagData, const TagInfo& tag) override {
    Tell(summit_data::SetBitData, {ToVariant(TagData), Tag(tag)});
  }
  void SetByteData(std::uint8_t TagData, const TagInfo& tag) override {
    Tell(summit_data::SetByteData, {ToVariant(TagData), Tag(tag)});
  }
  void SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                        const TagInfo& tag) override {
    Tell(summit_data::SetCharArrayData, {ArrayVariant(TagData, 0), ToVariant(dataLen), Tag(tag)});
  }
  void SetLongData(std::int32_t TagData, std::int16_t dataIndex, const TagInfo& tag) override {
    Tell(summit_data::SetLongData, {ToVariant(TagData), ToVariant(dataIndex), Tag(tag)});
  }
  void SetFloatData(float TagData, std::int16_t dataIndex, const TagInfo& tag) override {
    Tell(summit_data::SetFloatData, {ToVariant(TagData), ToVariant(dataIndex), Tag(tag)});
  }
  void SetDoubleData(double TagData, std::int16_t dataIndex, const TagInfo& tag) override {
    Tell(summit_data::SetDoubleData, {ToVariant(TagData), ToVariant(dataIndex), Tag(tag)});
  }
  void SetStringData(const std::string& TagData, std::int16_t dataIndex,
                     const TagInfo& tag) override {
    Tell(summit_data::SetStringData, {ToVariant(TagData), ToVariant(dataIndex), Tag(tag)});
  }
  void SetIntData(std::int16_t TagData, std::int16_t dataIndex, const TagInfo& tag) override {
    Tell(summit_data::SetIntData, {ToVariant(TagData), ToVariant(dataIndex), Tag(tag)});
  }
  void ResetState() override { Tell(summit_data::ResetState, {}); }
  bool TriggersComplete() const override {
    return Ask<bool>(Object(), summit_data::TriggersComplete, DISPATCH_METHOD);
  }

 private:
  Variant Tag(const TagInfo& tag) const { return ObjectArgument(Object().Module(), tag); }
  void Tell(DISPID id, Arguments arguments) {
    Object().Call(id, DISPATCH_METHOD, std::move(arguments));
  }
  void Write(DISPID id, bool value) { Object().Call(id, DISPATCH_PROPERTYPUT, {ToVariant(value)}); }

  std::string_view dataObjectName_;
};

/// Its tags are the server's own, which clients may create. A script may answer with nothing where
/// a text is asked for.
class ClientSummitConfig final : public _SummitConfig, public ClientMade {
 public:
  using ClientMade::ClientMade;

  std::string_view ClassName() const override { return "SummitConfig"; }
  bool IsClientMade() const override { return true; }

  TagInfo GetTagInfoByKey(const std::string& TagName) const override {
    return Tag(summit_config::GetTagInfoByKey, ToVariant(TagName));
  }
  TagInfo GetTagInfoByIndex(std::int16_t TagIndex) const override {
    return Tag(summit_config::GetTagInfoByIndex, ToVariant(TagIndex));
  }
  std::int16_t GetTagInfoCount() const override {
    return V_I2(Object().Call(summit_config::GetTagInfoCount, DISPATCH_METHOD, {}, VT_I2).Get());
  }
  std::string GetResetTrigger(std::int16_t TriggerIndex) const override {
    return Trigger(summit_config::GetResetTrigger, TriggerIndex);
  }
  std::string GetUpdateTrigger(std::int16_t TriggerIndex) const override {
    return Trigger(summit_config::GetUpdateTrigger, TriggerIndex);
  }

 private:
  TagInfo Tag(DISPID id, Variant which) const {
    const Variant tag = Object().Call(id, DISPATCH_METHOD, {std::move(which)}, VT_DISPATCH);
    return V_VT(tag.Get()) == VT_DISPATCH
               ? CoreOf<SDTagInfo>(Object().Module(), V_DISPATCH(tag.Get()))
               : nullptr;
  }
  std::string Trigger(DISPID id, std::int16_t index) const {
    return Text(V_BSTR(Object().Call(id, DISPATCH_METHOD, {ToVariant(index)}, VT_BSTR).Get()));
  }
};

template <class Contract, class Adapter>
std::shared_ptr<Contract> ServersOrClients(ComModule& module, IUnknown* object, const IID& iid) {
  if (object == nullptr || OwnObject(module, object)) return CoreOf<Contract>(module, object);
  return std::make_shared<Adapter>(ContractCalls::Create(module, object, iid));
}

}  // namespace

template <>
std::shared_ptr<_Connection> ObjectFrom(ComModule& module, IUnknown* object) {
  return ServersOrClients<_Connection, ClientConnection>(module, object, IID__Connection);
}

template <>
std::shared_ptr<_Protocol> ObjectFrom(ComModule& module, IUnknown* object) {
  return ServersOrClients<_Protocol, ClientProtocol>(module, object, IID__Protocol);
}

template <>
std::shared_ptr<_SummitConfig> ObjectFrom(ComModule& module, IUnknown* object) {
  return ServersOrClients<_SummitConfig, ClientSummitConfig>(module, object, IID__SummitConfig);
}

template <>
std::shared_ptr<_SummitData> ObjectFrom(ComModule& module, IUnknown* object) {
  return ServersOrClients<_SummitData, ClientSummitData>(module, object, IID__SummitData);
}

}  // namespace tarn
