#include "automation/client_contracts.hpp"

#include <TarnSclServer.h>

#include <string>
#include <utility>
#include <vector>

#include "automation/com_arrays.hpp"
#include "automation/com_values.hpp"
#include "automation/core_objects.hpp"
#include "shareddata/sd_tag_info.hpp"

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

/// Empty where the client does not answer; that is false, zero, no text.
template <class Result>
Result Answer(const Variant& value) {
  try {
    if constexpr (std::is_same_v<Result, bool>)
      return IsTrue(V_BOOL(Converted(*value.Get(), VT_BOOL).Get()));
    else
      return Result{NumberOf(*value.Get())};
  } catch (const AutomationError&) {
    return Result{};
  }
}

/// Closing is quiet where the client fails: it must not keep a scale from being stopped, or from
/// getting another connection.
class ClientConnection final : public _Connection, public ClientMade {
 public:
  using ClientMade::ClientMade;

  std::string_view ClassName() const override { return "NoConnection"; }
  bool IsClientMade() const override { return true; }

  bool IsBidirectional() const override {
    return Answer<bool>(Object().TryCall(connection::IsBidirectional, DISPATCH_PROPERTYGET, {}));
  }
  void IsBidirectional(bool value) override {
    Object().Call(connection::IsBidirectional, DISPATCH_PROPERTYPUT, {ToVariant(value)});
  }
  ConnectionType Ctype() const override {
    return Answer<ConnectionType>(Object().TryCall(connection::Ctype, DISPATCH_PROPERTYGET, {}));
  }
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

  ProtocolType pType() const override {
    return Answer<ProtocolType>(Object().TryCall(protocol::pType, DISPATCH_PROPERTYGET, {}));
  }
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
    Object().Call(protocol::SetTare, DISPATCH_METHOD, {ToVariant(TareValue)}, &changed);
    TareValue = V_R8(Converted(*changed.Get(), VT_R8).Get());
  }
  void C() override { Object().Call(protocol::C, DISPATCH_METHOD, {}); }

 private:
  template <class Core>
  void Give(DISPID id, const std::shared_ptr<Core>& core) {
    Object().TryCall(id, DISPATCH_PROPERTYPUTREF, {ObjectArgument(Object().Module(), core)});
  }
};

/// The engine goes on whatever becomes of the client: a call that fails is a value that failed.
class ClientSummitData final : public _SummitData, public ClientMade {
 public:
  using ClientMade::ClientMade;

  std::string_view ClassName() const override { return "SummitData"; }
  bool IsClientMade() const override { return true; }

  void CommLossError(bool value) override { Write(summit_data::CommLossError, value); }
  bool CommLossError() const override {
    return Ask(summit_data::CommLossError, DISPATCH_PROPERTYGET);
  }
  void NoDataError(bool value) override { Write(summit_data::NoDataError, value); }
  bool NoDataError() const override { return Ask(summit_data::NoDataError, DISPATCH_PROPERTYGET); }
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
    return Ask(summit_data::TriggersComplete, DISPATCH_METHOD);
  }

 private:
  Variant Tag(const TagInfo& tag) const { return ObjectArgument(Object().Module(), tag); }
  void Tell(DISPID id, Arguments arguments) {
    Object().Call(id, DISPATCH_METHOD, std::move(arguments));
  }
  void Write(DISPID id, bool value) { Object().Call(id, DISPATCH_PROPERTYPUT, {ToVariant(value)}); }
  bool Ask(DISPID id, WORD how) const { return Answer<bool>(Object().TryCall(id, how, {})); }
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
    const Variant count = Object().Call(summit_config::GetTagInfoCount, DISPATCH_METHOD, {});
    return V_I2(Converted(*count.Get(), VT_I2).Get());
  }
  std::string GetResetTrigger(std::int16_t TriggerIndex) const override {
    return Trigger(summit_config::GetResetTrigger, TriggerIndex);
  }
  std::string GetUpdateTrigger(std::int16_t TriggerIndex) const override {
    return Trigger(summit_config::GetUpdateTrigger, TriggerIndex);
  }

 private:
  TagInfo Tag(DISPID id, Variant which) const {
    const Variant tag = Object().Call(id, DISPATCH_METHOD, {std::move(which)});
    return V_VT(tag.Get()) == VT_DISPATCH ? CoreOf<SDTagInfo>(V_DISPATCH(tag.Get())) : nullptr;
  }
  std::string Trigger(DISPID id, std::int16_t index) const {
    return TextOf(*Object().Call(id, DISPATCH_METHOD, {ToVariant(index)}).Get());
  }
};

template <class Contract, class Adapter>
std::shared_ptr<Contract> ServersOrClients(ComModule& module, IUnknown* object, const IID& iid) {
  if (object == nullptr || ComPtr<IUnknown>(object).As<ICoreObject>(kCoreObjectId)) {
    return CoreOf<Contract>(object);
  }
  return std::make_shared<Adapter>(ContractObject::Create(module, object, iid));
}

}  // namespace

std::shared_ptr<_Connection> ConnectionOf(ComModule& module, IUnknown* object) {
  return ServersOrClients<_Connection, ClientConnection>(module, object, IID__Connection);
}

std::shared_ptr<_Protocol> ProtocolOf(ComModule& module, IUnknown* object) {
  return ServersOrClients<_Protocol, ClientProtocol>(module, object, IID__Protocol);
}

std::shared_ptr<_SummitConfig> SummitConfigOf(ComModule& module, IUnknown* object) {
  return ServersOrClients<_SummitConfig, ClientSummitConfig>(module, object, IID__SummitConfig);
}

std::shared_ptr<_SummitData> SummitDataOf(ComModule& module, IUnknown* object) {
  return ServersOrClients<_SummitData, ClientSummitData>(module, object, IID__SummitData);
}

}  // namespace tarn
