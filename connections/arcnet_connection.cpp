#include "connections/arcnet_connection.hpp"

#include <cstddef>
#include <limits>
#include <utility>

#include "base/automation_error.hpp"
#include "platform/utf8.hpp"

namespace tarn {
namespace {

/// The name under which the process registers with the library.
constexpr std::int32_t kProcessNumber = 125;

std::size_t LengthInCharacters(std::string_view text) {
  std::size_t length = 0;
  for (; !text.empty(); ++length) TakeCodePoint(text);
  return length;
}

}  // namespace

void ArcNetConnection::ReadProperties(const PropertyBag& bag) {
  KestrelNum(bag.ReadText("KestrelNum", ""));
  Cluster(bag.ReadText("Cluster", ""));
}

void ArcNetConnection::WriteProperties(PropertyBag& bag) const {
  bag.WriteText("Cluster", cluster_, "");
  bag.WriteText("KestrelNum", kestrelNum_, "");
}

void ArcNetConnection::KestrelNum(std::string number) {
  kestrelNum_ = std::move(number);
  BuildAddressPrefix();
  PropertyChanged.Raise("KestrelNum");
}

void ArcNetConnection::Cluster(std::string_view letter) {
  cluster_ = LowerCase(letter);
  BuildAddressPrefix();
  PropertyChanged.Raise("Cluster");
}

void ArcNetConnection::BuildAddressPrefix() {
  const bool usable = (LengthInCharacters(cluster_) & LengthInCharacters(kestrelNum_)) != 0;
  addressPrefix_ = usable ? "/" + cluster_ + kestrelNum_ : std::string();
}

void ArcNetConnection::Connect() {
  if (connected_ == 0) host_.TerminalNetwork().KesRegisterProcess(kProcessNumber);
  if (connected_ == std::numeric_limits<std::int16_t>::max()) ThrowOverflow();
  ++connected_;
}

void ArcNetConnection::Disconnect() {
  if (connected_ == std::numeric_limits<std::int16_t>::min()) return;
  if (connected_-- == 1) host_.TerminalNetwork().KesCloseProcess();
}

std::string ArcNetConnection::Address(std::string_view name) const {
  return host_.Locale().ToBytes(addressPrefix_ + std::string(name));
}

std::int16_t ArcNetConnection::WriteValue(std::string_view name, std::string_view value,
                                          std::int32_t number) {
  if (addressPrefix_.empty()) return 0;
  return host_.TerminalNetwork().KesWrite(Address(name), number, value) == 0 ? 1 : 0;
}

/// The test of the prefix deliberately differs from that of WriteValue.
std::int16_t ArcNetConnection::ReadValue(std::string_view name, std::string& buffer,
                                         std::int32_t first, std::int32_t second) {
  if (LengthInCharacters(addressPrefix_) <= 1) return 0;
  return host_.TerminalNetwork().KesRead(Address(name), first, buffer, second) == 0 ? 1 : 0;
}

}  // namespace tarn
