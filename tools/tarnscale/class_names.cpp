#include "tools/tarnscale/class_names.hpp"

#include <cstdint>
#include <memory>

#include "base/number_text.hpp"
#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/serial_connection.hpp"
#include "scale/dialects.hpp"
#include "server/class_registry.hpp"

namespace tarn::tool {
namespace {

const ClassRow* RowNamed(std::string_view className) {
  for (const ClassRow& row : RegisteredClasses()) {
    if (row.name == className) return &row;
  }
  return nullptr;
}

std::string SerialText(const SerialConnection& serial) {
  const std::string& device = serial.Device();
  std::string text = device.empty() ? "COM" + std::to_string(serial.ComPort())
                                    : device.substr(device.find_last_of("/\\") + 1);
  text += ' ';
  text += BaudRatePiece(serial.BaudRate());
  text += ParityPiece(serial.Parity());
  text += DataBitsPiece(serial.DataBits());
  text += StopBitsPiece(serial.StopBits());
  return text;
}

}  // namespace

const ClassRow* FindClass(Role role, std::string_view text) {
  for (const ClassRow& row : RegisteredClasses()) {
    if (row.role != role || row.word.empty()) continue;
    if (EqualIgnoringCase(text, row.word) || EqualIgnoringCase(text, row.name)) return &row;
  }
  return nullptr;
}

std::vector<std::string_view> WordsOf(Role role) {
  std::vector<std::string_view> words;
  for (const ClassRow& row : RegisteredClasses()) {
    if (row.role == role && !row.word.empty()) words.push_back(row.word);
  }
  return words;
}

std::string WordOf(std::string_view className) {
  const ClassRow* row = RowNamed(className);
  return std::string(row == nullptr || row->word.empty() ? className : row->word);
}

ProtocolClass FamilyOf(std::string_view className) {
  const ClassRow* row = RowNamed(className);
  return row == nullptr ? ProtocolClass::NoProt : row->family;
}

std::string ProtocolTypeName(ProtocolType type) {
  const Dialect* dialect = FindDialect(type);
  return dialect ? std::string(dialect->name) : std::to_string(static_cast<std::int32_t>(type));
}

std::string ProtocolTypeWord(ProtocolType type) {
  const Dialect* dialect = FindDialect(type);
  return dialect && !dialect->word.empty() ? std::string(dialect->word) : ProtocolTypeName(type);
}

std::optional<ProtocolType> ParseProtocolType(std::string_view text) {
  for (const Dialect& dialect : kDialects) {
    const bool isWord = !dialect.word.empty() && EqualIgnoringCase(text, dialect.word);
    const auto number = std::to_string(static_cast<std::int32_t>(dialect.type));
    if (isWord || EqualIgnoringCase(text, dialect.name) || text == number) return dialect.type;
  }
  return std::nullopt;
}

std::vector<std::string_view> WordsOf(ProtocolClass family) {
  std::vector<std::string_view> words;
  for (const Dialect& dialect : kDialects) {
    if (dialect.family == family && !dialect.word.empty()) words.push_back(dialect.word);
  }
  return words;
}

std::string Joined(const std::vector<std::string_view>& words, std::string_view separator) {
  std::string list;
  for (const std::string_view word : words) list.append(list.empty() ? "" : separator).append(word);
  return list;
}

std::string ConnectionText(const TarnScale& scale) {
  const auto connection = scale.Connection();
  if (!connection) return {};
  if (const auto serial = std::dynamic_pointer_cast<SerialConnection>(connection)) {
    return SerialText(*serial);
  }
  if (const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(connection)) {
    return ethernet->IPAddress();
  }
  if (const auto arcnet = std::dynamic_pointer_cast<ArcNetConnection>(connection)) {
    return arcnet->AddressPrefix().empty() ? "arcnet, no address" : arcnet->AddressPrefix();
  }
  return WordOf(connection->ClassName());
}

std::string ProtocolText(const TarnScale& scale) {
  const auto protocol = scale.Protocol();
  if (!protocol) return {};
  std::string word = WordOf(protocol->ClassName());
  if (protocol->pType() == ProtocolType::NoProtType) return word;
  const std::string type = ProtocolTypeWord(protocol->pType());
  return type == word ? word : word + " " + type;
}

}  // namespace tarn::tool
