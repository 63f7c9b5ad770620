// The connections as COM objects: the face of the contract, and the faces of each class.
#pragma once

#include <TarnSclServer.h>

#include "automation/com_object.hpp"
#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/no_connection.hpp"
#include "connections/serial_connection.hpp"

namespace tarn {

/// The members of the contract; `Own` are the faces beside it.
template <class Coclass, class... Own>
class ComConnectionOf : public ComObject<Coclass, void, _Connection, Own..., ::_Connection> {
 public:
  static constexpr std::string_view kName = "Connection";
  using ComObject<Coclass, void, _Connection, Own..., ::_Connection>::ComObject;

  COM_PROPERTY(VARIANT_BOOL, IsBidirectional)
  COM_GET(::ConnectionType, Ctype)
  COM_CALL(Disconnect)
  COM_CALL(Connect)
};

/// A connection that can reconnect; `Base` is its other faces.
template <class Base>
class ComReconnecting : public Base {
 public:
  using Base::Base;

  COM_PROPERTY(VARIANT_BOOL, AutoReconnect)
};

using ComConnection = ComConnectionOf<::Connection>;
using ComNoConnection = ComClass<NoConnection, ComConnectionOf<::NoConnection, ::_NoConnection>>;

class ComSerialConnection final
    : public ComReconnecting<
          ComClass<SerialConnection, ComConnectionOf<::SerialConnection, ::_SerialConnection,
                                                     ::_ReconnectingConnection>>> {
 public:
  using ComReconnecting::ComReconnecting;

  COM_OBJECT(IDispatch, SaxPort)
  COM_PROPERTY(SHORT, ComPort)
  COM_PROPERTY(::CommBaudRate, BaudRate)
  COM_PROPERTY(::CommParity, Parity)
  COM_PROPERTY(::CommDataBits, DataBits)
  COM_PROPERTY(::CommStopBits, StopBits)
  COM_PROPERTY(SHORT, ReceiveThresholdLength)
  STDMETHODIMP get_Connection_IsBidirectional(VARIANT_BOOL* result) override {
    return get_IsBidirectional(result);
  }
};

class ComEthernetConnection final
    : public ComReconnecting<
          ComClass<EthernetConnection,
                   ComConnectionOf<::EthernetConnection, ::_EthernetConnection,
                                   ::_ReconnectingConnection, ::_SenderCheckingConnection>>> {
 public:
  using ComReconnecting::ComReconnecting;

  COM_PROPERTY(BSTR, IPAddress)
  COM_OBJECT(IDispatch, mvarSocket)
  COM_PROPERTY(VARIANT_BOOL, CheckSender)
};

class ComArcNetConnection final
    : public ComClass<ArcNetConnection, ComConnectionOf<::ArcNetConnection, ::_ArcNetConnection>> {
 public:
  using ComClass::ComClass;

  COM_PROPERTY(BSTR, KestrelNum)
  COM_PROPERTY(BSTR, Cluster)
};

}  // namespace tarn
