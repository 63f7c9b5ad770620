// The weight of a terminal read from five of its shared-data variables, and the scale's commands as
// writes of others.
//
// One reading is a chain of datagrams: the status is requested first, each reply triggers the
// request of the next variable (gross, net, tare, units), and the last reply completes the reading.
// A tick of the scale's update timer starts a new chain when the last one is complete or the scale
// is silent.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// Works over an Ethernet connection by datagrams (local port 1700 + scale number, remote port
/// 1701) and over the terminals' own network. Commands over Ethernet without a socket are error 91;
/// other errors of socket and network propagate to the caller of a command. In the read cycle
/// they are traced.
///
/// Deliberate: on the terminal network the gross weight is not read, and since a reading needs all
/// five values, a scale there publishes none. With CorrectReadings it is read as well.
class KesSDProtocol final : public Protocol, public std::enable_shared_from_this<KesSDProtocol> {
 public:
  static constexpr std::string_view kClassName = "KesSDProtocol";
  static constexpr ProtocolClass kFamily = ProtocolClass::KesSharedData;

  explicit KesSDProtocol(ScaleSite& site);

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  ProtocolType pType() const override { return Protocol::pType(); }
  /// Error 6 beyond 16 bits: the type is saved as such, and a larger one would be restored as
  /// another.
  void pType(ProtocolType type) override;

  /// The terminal's scale letter, kept in lower case; it makes the names of the variables. Only "a"
  /// to "e" have command variables, with any other letter a command does nothing. An empty text
  /// changes nothing.
  const std::string& scaleNum() const { return scaleNum_; }
  void scaleNum(std::string_view letter);

  bool WorksOver(ConnectionType type) const override {
    return type == ConnectionType::EtherNet || type == ConnectionType::arcnet;
  }
  std::shared_ptr<TarnScale> myScale() const override { return Protocol::myScale(); }
  void myScale(const std::shared_ptr<TarnScale>& scale) override;

  std::shared_ptr<_Connection> Connection() const override { return Protocol::Connection(); }
  /// Any other connection, or null, releases the socket and discards what was read.
  void Connection(std::shared_ptr<_Connection> connection) override;
  void Connect() override;
  void C() override;
  void T() override;
  void P() override;
  void Z() override;
  /// Written as the 8 bytes of the number, lowest first.
  void SetTare(double& TareValue) override;

  bool NeedsCorrectReadings() const override;

 private:
  /// The five values in the order in which they are asked for.
  enum Variable : std::uint8_t { kStatus, kGross, kNet, kTare, kUnits, kVariables };
  struct Pair {
    std::string name;
    std::string value;  ///< bytes as they came
  };
  using AskedVariables = std::bitset<kVariables>;

  void mvarmyScale_UpdateWeight();
  void mvarSocket_DataArrival(std::int32_t bytesTotal);
  void BeginCycle();
  void ReadNetwork(ArcNetConnection& network);
  bool ReadVariable(ArcNetConnection& network, Pair& pair, std::int32_t length);
  void ClearValues();
  void AskFor(Variable variable);
  void TakeReply(std::string_view name, std::string_view value, AskedVariables& asked);
  void PublishWeight();
  std::string WeightText(std::string_view value) const;

  void WriteCommand(std::size_t command, std::string_view value);
  void WriteVariable(std::string_view name, std::string_view value);
  void SendReadRequest(std::string_view name);
  void SendWriteRequest(std::string_view name, std::string_view value);
  void SendRequest(std::uint8_t command, std::string_view name, std::string_view value);
  /// In traces.
  std::string Name() const;

  Host& system_;
  std::shared_ptr<SocketControl> mvarSocket;
  std::uint8_t sequence_ = 0;
  std::string decimalSeparator_;
  std::string scaleNum_;
  std::int16_t node_ = 0;
  std::array<Pair, kVariables> values_;
  std::int16_t cycleComplete_ = 0;
  bool printLatch_ = false;

  Subscription onUpdateWeight_;
  Subscription onDataArrival_;
};

}  // namespace tarn
