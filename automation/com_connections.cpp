// The connections: the contract's face, and the faces of their own.
#include <TarnSclServer.h>

#include <memory>
#include <string_view>

#include "automation/client_contracts.hpp"
#include "automation/com_object.hpp"
#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/no_connection.hpp"
#include "connections/serial_connection.hpp"

namespace tarn {
namespace {

/// The contract's members over any connection; `Own` is the face beside it.
template <class Coclass, class... Own>
class ComConnectionOf : public ComObject<Coclass, void, _Connection, Own..., ::_Connection> {
 public:
  using ComObject<Coclass, void, _Connection, Own..., ::_Connection>::ComObject;

  STDMETHODIMP get_IsBidirectional(VARIANT_BOOL* result) override {
    return this->Get(result, [this] { return this->Core()->IsBidirectional(); });
  }
  STDMETHODIMP put_IsBidirectional(VARIANT_BOOL value) override {
    return Guarded([&] { this->Core()->IsBidirectional(IsTrue(value)); });
  }
  STDMETHODIMP get_Ctype(::ConnectionType* result) override {
    return this->Get(result, [this] { return this->Core()->Ctype(); });
  }
  STDMETHODIMP Disconnect() override {
    return Guarded([this] { this->Core()->Disconnect(); });
  }
  STDMETHODIMP Connect() override {
    return Guarded([this] { this->Core()->Connect(); });
  }
};

/// A connection that can come back by itself.
template <class Kind, class Coclass, class Own, class... Beside>
class ComReconnecting : public ComConnectionOf<Coclass, Own, ::_ReconnectingConnection, Beside...> {
 public:
  using ComConnectionOf<Coclass, Own, ::_ReconnectingConnection, Beside...>::ComConnectionOf;

  STDMETHODIMP put_AutoReconnect(VARIANT_BOOL value) override {
    return Guarded([&] { Link().AutoReconnect(IsTrue(value)); });
  }
  STDMETHODIMP get_AutoReconnect(VARIANT_BOOL* result) override {
    return this->Get(result, [this] { return Link().AutoReconnect(); });
  }

 protected:
  Kind& Link() const { return static_cast<Kind&>(*this->Core()); }
};

using ComConnection = ComConnectionOf<::Connection>;
using ComNoConnection = ComConnectionOf<::NoConnection, ::_NoConnection>;

class ComSerialConnection final
    : public ComReconnecting<SerialConnection, ::SerialConnection, ::_SerialConnection> {
 public:
  using ComReconnecting::ComReconnecting;

  STDMETHODIMP get_SaxPort(IDispatch** result) override {
    return Get(result, [this] { return Link().SaxPort(); });
  }
  STDMETHODIMP putref_SaxPort(IDispatch* value) override {
    return Guarded([&] { Link().SaxPort(CoreOf<SerialPort>(Module(), value)); });
  }
  STDMETHODIMP put_ComPort(SHORT value) override {
    return Guarded([&] { Link().ComPort(value); });
  }
  STDMETHODIMP get_ComPort(SHORT* result) override {
    return Get(result, [this] { return Link().ComPort(); });
  }
  STDMETHODIMP put_BaudRate(::CommBaudRate value) override {
    return Guarded([&] { Link().BaudRate(CommBaudRate{value}); });
  }
  STDMETHODIMP get_BaudRate(::CommBaudRate* result) override {
    return Get(result, [this] { return Link().BaudRate(); });
  }
  STDMETHODIMP put_Parity(::CommParity value) override {
    return Guarded([&] { Link().Parity(CommParity{value}); });
  }
  STDMETHODIMP get_Parity(::CommParity* result) override {
    return Get(result, [this] { return Link().Parity(); });
  }
  STDMETHODIMP put_DataBits(::CommDataBits value) override {
    return Guarded([&] { Link().DataBits(CommDataBits{value}); });
  }
  STDMETHODIMP get_DataBits(::CommDataBits* result) override {
    return Get(result, [this] { return Link().DataBits(); });
  }
  STDMETHODIMP put_StopBits(::CommStopBits value) override {
    return Guarded([&] { Link().StopBits(CommStopBits{value}); });
  }
  STDMETHODIMP get_StopBits(::CommStopBits* result) override {
    return Get(result, [this] { return Link().StopBits(); });
  }
  STDMETHODIMP put_ReceiveThresholdLength(SHORT value) override {
    return Guarded([&] { Link().ReceiveThresholdLength(value); });
  }
  STDMETHODIMP get_ReceiveThresholdLength(SHORT* result) override {
    return Get(result, [this] { return Link().ReceiveThresholdLength(); });
  }
  STDMETHODIMP get_Connection_IsBidirectional(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Link().IsBidirectional(); });
  }
};

class ComEthernetConnection final
    : public ComReconnecting<EthernetConnection, ::EthernetConnection, ::_EthernetConnection,
                             ::_SenderCheckingConnection> {
 public:
  using ComReconnecting::ComReconnecting;

  STDMETHODIMP put_IPAddress(BSTR value) override {
    return Guarded([&] { Link().IPAddress(Text(value)); });
  }
  STDMETHODIMP get_IPAddress(BSTR* result) override {
    return Get(result, [this] { return Link().IPAddress(); });
  }
  STDMETHODIMP get_mvarSocket(IDispatch** result) override {
    return Get(result, [this] { return Link().mvarSocket(); });
  }
  STDMETHODIMP putref_mvarSocket(IDispatch* value) override {
    return Guarded([&] { Link().mvarSocket(CoreOf<SocketControl>(Module(), value)); });
  }
  STDMETHODIMP put_CheckSender(VARIANT_BOOL value) override {
    return Guarded([&] { Link().CheckSender(IsTrue(value)); });
  }
  STDMETHODIMP get_CheckSender(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Link().CheckSender(); });
  }
};

class ComArcNetConnection final : public ComConnectionOf<::ArcNetConnection, ::_ArcNetConnection> {
 public:
  using ComConnectionOf::ComConnectionOf;

  STDMETHODIMP put_KestrelNum(BSTR value) override {
    return Guarded([&] { ArcNet().KestrelNum(Text(value)); });
  }
  STDMETHODIMP get_KestrelNum(BSTR* result) override {
    return Get(result, [this] { return ArcNet().KestrelNum(); });
  }
  STDMETHODIMP put_Cluster(BSTR value) override {
    return Guarded([&] { ArcNet().Cluster(Text(value)); });
  }
  STDMETHODIMP get_Cluster(BSTR* result) override {
    return Get(result, [this] { return ArcNet().Cluster(); });
  }

 private:
  ArcNetConnection& ArcNet() const { return static_cast<ArcNetConnection&>(*Core()); }
};

struct Class {
  std::string_view name;
  ComPtr<IUnknown> (*wrap)(ComModule& module, const std::shared_ptr<_Connection>& connection);
};
constexpr Class kClasses[] = {
    {"Connection", WrapAs<ComConnection>},
    {ArcNetConnection::kClassName, WrapAs<ComArcNetConnection>},
    {EthernetConnection::kClassName, WrapAs<ComEthernetConnection>},
    {NoConnection::kClassName, WrapAs<ComNoConnection>},
    {SerialConnection::kClassName, WrapAs<ComSerialConnection>},
};

}  // namespace

/// A class without a face of its own shows the contract's.
ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_Connection>& connection) {
  if (!connection) return {};
  if (const auto* made = AsClientMade(connection)) return made->Object().Own();
  for (const Class& known : kClasses) {
    if (known.name == connection->ClassName()) return known.wrap(module, connection);
  }
  return WrapAs<ComConnection>(module, connection);
}

}  // namespace tarn
