#include "connections/arcnet_connection.hpp"

#include <cstddef>
#include <limits>
#include <utility>

#include "base/automation_error.hpp"
#include "platform/attempt.hpp"
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
  PropertyChanged.Raise("KestrelNum");
}

void ArcNetConnection::Cluster(std::string_view letter) {
  cluster_ = LowerCase(letter);
  PropertyChanged.Raise("Cluster");
}

std::string ArcNetConnection::AddressPrefix() const {
  const bool usable = Rules() == ReadingRules::Corrected
                          ? !cluster_.empty() && !kestrelNum_.empty()
                          : (LengthInCharacters(cluster_) & LengthInCharacters(kestrelNum_)) != 0;
  return usable ? "/" + cluster_ + kestrelNum_ : std::string();
}

/// The two counts are apart, so that scales with the published count cannot end a registration that
/// others need.
void ArcNetConnection::Connect() {
  if (Rules() == ReadingRules::Corrected) {
    if (isCounted_) return;
    if (counted_ == 0 && connected_ < 1) host_.TerminalNetwork().KesRegisterProcess(kProcessNumber);
    isCounted_ = true;
    ++counted_;
    return;
  }
  if (connected_ == 0) host_.TerminalNetwork().KesRegisterProcess(kProcessNumber);
  if (connected_ == std::numeric_limits<std::int16_t>::max()) ThrowOverflow();
  ++connected_;
}

void ArcNetConnection::Disconnect() {
  if (isCounted_) {
    isCounted_ = false;
    if (--counted_ == 0 && connected_ < 1) host_.TerminalNetwork().KesCloseProcess();
    return;
  }
  if (Rules() == ReadingRules::Corrected) return;
  if (connected_ == std::numeric_limits<std::int16_t>::min()) return;
  if (connected_-- == 1 && counted_ == 0) host_.TerminalNetwork().KesCloseProcess();
}

/// By the published count one that is replaced stays counted, deliberately.
void ArcNetConnection::Replaced() {
  if (isCounted_) Attempt(host_, "The terminal network did not close", [this] { Disconnect(); });
}

std::string ArcNetConnection::Address(std::string_view name) const {
  return host_.Locale().ToBytes(AddressPrefix() + std::string(name));
}

std::int16_t ArcNetConnection::WriteValue(std::string_view name, std::string_view value,
                                          std::int32_t number) {
  if (AddressPrefix().empty()) return 0;
  return host_.TerminalNetwork().KesWrite(Address(name), number, value) == 0 ? 1 : 0;
}

/// The test of the prefix deliberately differs from that of WriteValue.
std::int16_t ArcNetConnection::ReadValue(std::string_view name, std::string& buffer,
                                         std::int32_t first, std::int32_t second) {
  if (LengthInCharacters(AddressPrefix()) <= 1) return 0;
  return host_.TerminalNetwork().KesRead(Address(name), first, buffer, second) == 0 ? 1 : 0;
}

}  // namespace tarn
