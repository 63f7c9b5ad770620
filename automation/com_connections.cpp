// The connections: the contract's face, and the faces of their own.
#include <TarnSclServer.h>

#include <memory>
#include <string_view>

#include "automation/client_contracts.hpp"
#include "automation/com_object.hpp"
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

using ComConnection = ComConnectionOf<::Connection>;
using ComNoConnection = ComConnectionOf<::NoConnection, ::_NoConnection>;

class ComSerialConnection final : public ComConnectionOf<::SerialConnection, ::_SerialConnection> {
 public:
  using ComConnectionOf::ComConnectionOf;

  STDMETHODIMP get_SaxPort(IDispatch** result) override {
    return Get(result, [this] { return Serial().SaxPort(); });
  }
  STDMETHODIMP putref_SaxPort(IDispatch* value) override {
    return Guarded([&] { Serial().SaxPort(CoreOf<SerialPort>(value)); });
  }
  STDMETHODIMP put_ComPort(SHORT value) override {
    return Guarded([&] { Serial().ComPort(value); });
  }
  STDMETHODIMP get_ComPort(SHORT* result) override {
    return Get(result, [this] { return Serial().ComPort(); });
  }
  STDMETHODIMP put_BaudRate(::CommBaudRate value) override {
    return Guarded([&] { Serial().BaudRate(CommBaudRate{value}); });
  }
  STDMETHODIMP get_BaudRate(::CommBaudRate* result) override {
    return Get(result, [this] { return Serial().BaudRate(); });
  }
  STDMETHODIMP put_Parity(::CommParity value) override {
    return Guarded([&] { Serial().Parity(CommParity{value}); });
  }
  STDMETHODIMP get_Parity(::CommParity* result) override {
    return Get(result, [this] { return Serial().Parity(); });
  }
  STDMETHODIMP put_DataBits(::CommDataBits value) override {
    return Guarded([&] { Serial().DataBits(CommDataBits{value}); });
  }
  STDMETHODIMP get_DataBits(::CommDataBits* result) override {
    return Get(result, [this] { return Serial().DataBits(); });
  }
  STDMETHODIMP put_StopBits(::CommStopBits value) override {
    return Guarded([&] { Serial().StopBits(CommStopBits{value}); });
  }
  STDMETHODIMP get_StopBits(::CommStopBits* result) override {
    return Get(result, [this] { return Serial().StopBits(); });
  }
  STDMETHODIMP put_ReceiveThresholdLength(SHORT value) override {
    return Guarded([&] { Serial().ReceiveThresholdLength(value); });
  }
  STDMETHODIMP get_ReceiveThresholdLength(SHORT* result) override {
    return Get(result, [this] { return Serial().ReceiveThresholdLength(); });
  }
  STDMETHODIMP get_Connection_IsBidirectional(VARIANT_BOOL* result) override {
    return Get(result, [this] { return Serial().IsBidirectional(); });
  }

 private:
  SerialConnection& Serial() const { return static_cast<SerialConnection&>(*Core()); }
};

class ComEthernetConnection final
    : public ComConnectionOf<::EthernetConnection, ::_EthernetConnection> {
 public:
  using ComConnectionOf::ComConnectionOf;

  STDMETHODIMP put_IPAddress(BSTR value) override {
    return Guarded([&] { Ethernet().IPAddress(Text(value)); });
  }
  STDMETHODIMP get_IPAddress(BSTR* result) override {
    return Get(result, [this] { return Ethernet().IPAddress(); });
  }
  STDMETHODIMP get_mvarSocket(IDispatch** result) override {
    return Get(result, [this] { return Ethernet().mvarSocket(); });
  }
  STDMETHODIMP putref_mvarSocket(IDispatch* value) override {
    return Guarded([&] { Ethernet().mvarSocket(CoreOf<SocketControl>(value)); });
  }

 private:
  EthernetConnection& Ethernet() const { return static_cast<EthernetConnection&>(*Core()); }
};

struct Class {
  std::string_view name;
  ComPtr<IUnknown> (*wrap)(ComModule& module, const std::shared_ptr<_Connection>& connection);
};
constexpr Class kClasses[] = {
    {"Connection", WrapAs<ComConnection>},
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
