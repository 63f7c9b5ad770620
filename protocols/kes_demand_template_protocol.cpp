#include "protocols/kes_demand_template_protocol.hpp"

#include <cstddef>
#include <utility>

#include "base/automation_error.hpp"
#include "connections/ethernet_connection.hpp"
#include "protocols/keep_alive.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

void KesDemandTemplateProtocol::InitProperties() {
  TemplateProtocol::InitProperties();
  TemplateConfig()->DemandOutput("\b");
}

void KesDemandTemplateProtocol::ReadProperties(const PropertyBag& bag) {
  TemplateProtocol::ReadProperties(bag);
  scaleNum(bag.ReadText("ScaleNum", "A"));
}

void KesDemandTemplateProtocol::WriteProperties(PropertyBag& bag) const {
  TemplateProtocol::WriteProperties(bag);
  bag.WriteText("ScaleNum", scaleNum_, "A");
}

void KesDemandTemplateProtocol::scaleNum(std::string letter) {
  scaleNum_ = std::move(letter);
  PropertyChanged.Raise("ScaleNum");
}

void KesDemandTemplateProtocol::Connection(std::shared_ptr<_Connection> connection) {
  if (connection != connection_) {
    onDataArrival_.Reset();
    mvarSocket.reset();
    mvarRxBuffer.clear();
    ForgetRecordStart();
  }
  TemplateProtocol::Connection(std::move(connection));
}

/// Unlike on a serial line, the watchdog flag deliberately stays as it is.
void KesDemandTemplateProtocol::Connect() {
  const auto scale = myScale();
  Required(scale, "The protocol has no scale").ActivityTimeoutTime(0);
  scale->UpdateRate(0);
  scale->ActivityLED(false);
  scale->ErrorLED(false);
  mvarRecordStarted = false;
  TakeSocket(*scale);
}

void KesDemandTemplateProtocol::TakeSocket(TarnScale& scale) {
  const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(Connection());
  if (!ethernet) return;
  mvarSocket = ethernet->TakeSocket(scale.ScaleNumber(), scale.Site());
  onDataArrival_ = mvarSocket ? mvarSocket->DataArrival.Subscribe(
                                    this, &KesDemandTemplateProtocol::mvarSocket_DataArrival)
                              : Subscription();
  ethernet->SocketProtocol(static_cast<std::int16_t>(SocketTransport::Tcp));
  ethernet->LocalPort(0);
  ethernet->RemotePort(kTerminalPort);
}

void KesDemandTemplateProtocol::P() {
  if (!mvarSocket || mvarSocket->State() != SocketState::Connected) return;
  mvarSocket->SendData(DemandBytes());
}

void KesDemandTemplateProtocol::mvarSocket_DataArrival(std::int32_t bytesTotal) {
  const auto socket = mvarSocket;
  const auto announced = static_cast<std::size_t>(bytesTotal > 0 ? bytesTotal : 0);
  for (std::size_t read = 0; read < announced;) {
    const std::string piece = socket->GetData();
    if (piece.empty()) break;
    read += piece.size();
    mvarRxBuffer += piece;
  }
  if (RemoveKeepAlives(mvarRxBuffer)) ForgetRecordStart();
  if (mvarRxBuffer.empty()) return;
  TakeRecord(UnfinishedKeepAlive(mvarRxBuffer));
}

}  // namespace tarn
