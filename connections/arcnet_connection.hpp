// The link of a scale over the terminals' own network, through the client library of that network.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/host.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// The process is registered with the library while such connections are open. The open ones are
/// counted for the whole process, deliberately without keeping track of which: a Disconnect without
/// a Connect counts down as well, even below 0, and then no Connect registers until the count is
/// back at 0. This does happen, since a scale that is loaded from a file disconnects its connection
/// before it first connects. The count stops at the lowest 16-bit number, so that stopping never
/// fails. With CorrectReadings a connection counts once from its Connect to its Disconnect, and the
/// registration lasts as long as one such connection is open.
///
/// If the library is missing, the first call that needs it fails with error 53.
class ArcNetConnection final : public _Connection {
 public:
  static constexpr std::string_view kClassName = "ArcNetConnection";

  explicit ArcNetConnection(ScaleSite& site) : host_(site.System()) {}
  ~ArcNetConnection() override { Replaced(); }

  std::string_view ClassName() const override { return kClassName; }
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  /// Node number of the terminal, stored as given.
  const std::string& KestrelNum() const { return kestrelNum_; }
  void KestrelNum(std::string number);
  /// Cluster letter of the terminal, stored in lower case, accented and foreign letters included.
  const std::string& Cluster() const { return cluster_; }
  void Cluster(std::string_view letter);

  /// Not saved.
  bool IsBidirectional() const override { return isBidirectional_; }
  void IsBidirectional(bool value) override { isBidirectional_ = value; }
  ConnectionType Ctype() const override { return ConnectionType::arcnet; }
  /// Error 6 beyond what 16 bits count.
  void Connect() override;
  void Disconnect() override;
  void Replaced() override;

  // For the protocols.

  /// "/" with cluster and node number, such as "/a1". Deliberately empty where the bitwise AND of
  /// the lengths of the two is 0: one letter with two digits has none. With CorrectReadings it is
  /// empty only where one of the two is.
  std::string AddressPrefix() const;

  /// 1 when the library reports success, else 0, as without a prefix. The value and the buffer are
  /// bytes; what the library writes stays within the length of the buffer. The numbers go to the
  /// library as they are.
  std::int16_t WriteValue(std::string_view name, std::string_view value, std::int32_t number);
  std::int16_t ReadValue(std::string_view name, std::string& buffer, std::int32_t first,
                         std::int32_t second);

 private:
  /// What the library counts is the process, so this is one for all servers in it.
  inline static std::int16_t connected_ = 0;
  inline static std::int32_t counted_ = 0;  ///< with CorrectReadings

  std::string Address(std::string_view name) const;

  Host& host_;
  std::string cluster_;
  std::string kestrelNum_;
  bool isBidirectional_ = false;
  bool isCounted_ = false;  ///< in counted_
};

}  // namespace tarn
