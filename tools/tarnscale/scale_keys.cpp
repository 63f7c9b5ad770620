#include "tools/tarnscale/scale_keys.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "base/number_text.hpp"
#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "connections/reconnector.hpp"
#include "connections/serial_connection.hpp"
#include "server/class_registry.hpp"
#include "shareddata/data_sets.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "shareddata/summit_protocol.hpp"
#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/template_keys.hpp"
#include "tools/tarnscale/variable_keys.hpp"

namespace tarn::tool {
namespace {

using Place = ScaleKey::Place;

// --- Values -----------------------------------------------------------------------------------

bool ParseSwitch(std::string_view text) {
  for (const std::string_view yes : {"yes", "true", "on", "1"}) {
    if (EqualIgnoringCase(text, yes)) return true;
  }
  for (const std::string_view no : {"no", "false", "off", "0"}) {
    if (EqualIgnoringCase(text, no)) return false;
  }
  throw UsageError("write yes or no");
}

double ParseNumber(std::string_view text, double least, double most, const char* what) {
  const std::optional<double> number = LocaleNumber(text, ".");
  if (!number || *number < least || *number > most) throw UsageError(what);
  return *number;
}

std::int32_t ParseWhole(std::string_view text, std::int32_t least, std::int32_t most,
                        const char* what) {
  const double number = ParseNumber(text, least, most, what);
  if (number != RoundHalfEven(number)) throw UsageError(what);
  return static_cast<std::int32_t>(number);
}

constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();

double ParseLoad(std::string_view text) {
  return ParseNumber(text, 0, std::numeric_limits<double>::max(),
                     "write a load in the unit that the scale shows, such as 2.5, or 0");
}

KeyValue Number(std::int32_t number) {
  return static_cast<double>(number);
}

// --- Settings that are indexes into texts -----------------------------------------------------

template <class Index>
using PieceFunction = std::string_view (*)(Index index);

/// The text of an index without the comma that joins the pieces of a line's settings.
template <class Index>
std::string_view PieceText(PieceFunction<Index> piece, Index index) {
  std::string_view text = piece(index);
  if (text.ends_with(',')) text.remove_suffix(1);
  return text;
}

template <class Index>
KeyValue PieceValue(PieceFunction<Index> piece, Index index) {
  const std::string_view text = PieceText(piece, index);
  if (text.empty()) {
    return "index " + std::to_string(static_cast<std::int32_t>(index)) + ", which is none";
  }
  if (const auto number = LocaleNumber(text, ".")) return *number;
  return std::string(text);
}

template <class Index>
std::vector<std::string_view> PieceWords(PieceFunction<Index> piece) {
  std::vector<std::string_view> words;
  for (std::int32_t i = 0; !PieceText(piece, Index{i}).empty(); ++i) {
    words.push_back(PieceText(piece, Index{i}));
  }
  return words;
}

template <class Index>
Index ParsePiece(PieceFunction<Index> piece, std::string_view text) {
  const auto words = PieceWords(piece);
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (EqualIgnoringCase(text, words[i])) return Index{static_cast<std::int32_t>(i)};
  }
  throw UsageError("write one of " + Joined(words, ", "));
}

std::string_view ParityName(CommParity index) {
  static constexpr std::array<std::string_view, 5> kNames = {"none", "even", "odd", "space",
                                                             "mark"};
  const auto position = static_cast<std::size_t>(index);
  return position < kNames.size() ? kNames[position] : std::string_view();
}

/// A name or its first letter.
CommParity ParseParity(std::string_view text) {
  return text.size() == 1 ? ParsePiece<CommParity>(ParityPiece, text)
                          : ParsePiece<CommParity>(ParityName, text);
}

// --- Connections and protocols ----------------------------------------------------------------

SerialConnection& Serial(const TarnScale& scale) {
  return Required(std::dynamic_pointer_cast<SerialConnection>(scale.Connection()));
}

EthernetConnection& Ethernet(const TarnScale& scale) {
  return Required(std::dynamic_pointer_cast<EthernetConnection>(scale.Connection()));
}

KesSDProtocol& SharedData(const TarnScale& scale) {
  return Required(std::dynamic_pointer_cast<KesSDProtocol>(scale.Protocol()));
}

ArcNetConnection& ArcNet(const TarnScale& scale) {
  return Required(std::dynamic_pointer_cast<ArcNetConnection>(scale.Connection()));
}

ReconnectingConnection& Reconnecting(const TarnScale& scale) {
  return Required(std::dynamic_pointer_cast<ReconnectingConnection>(scale.Connection()));
}

template <class Contract>
bool Has(const std::shared_ptr<Contract>& object, std::string_view className) {
  return object && object->ClassName() == className;
}

std::string_view ParseClass(Role role, std::string_view text) {
  if (const ClassRow* row = FindClass(role, text)) return row->name;
  throw UsageError("write one of " + Joined(WordsOf(role), ", "));
}

void SetConnection(TarnScale& scale, ScaleSite& site, std::string_view text) {
  const std::string_view className = ParseClass(Role::Connection, text);
  // The one that is there keeps its settings.
  if (Has(scale.Connection(), className)) return;
  const auto made = NewObject<_Connection>(site, className);
  if (const auto link = std::dynamic_pointer_cast<EthernetConnection>(made))
    link->CheckSender(true);
  scale.Connection(made);
}

void SetProtocol(TarnScale& scale, ScaleSite& site, std::string_view text) {
  const std::string_view className = ParseClass(Role::Protocol, text);
  if (Has(scale.Protocol(), className)) return;
  scale.Protocol(NewObject<_Protocol>(site, className));
  // Without a letter it would have no variables to read.
  if (Has(scale.Protocol(), KesSDProtocol::kClassName)) SharedData(scale).scaleNum("a");
}

std::int16_t ParsePort(std::string_view text) {
  constexpr std::string_view kPrefix = "COM";
  if (EqualIgnoringCase(text.substr(0, kPrefix.size()), kPrefix))
    text.remove_prefix(kPrefix.size());
  return static_cast<std::int16_t>(
      ParseWhole(text, 1, std::numeric_limits<std::int16_t>::max(),
                 "write a port number like 3 or COM3; the option --port 3=DEVICE says which device "
                 "that is"));
}

void SetType(TarnScale& scale, ScaleSite& /*site*/, std::string_view text) {
  const auto type = ParseProtocolType(text);
  // The one that is there can be set again, whatever it is.
  const bool present = type && *type == scale.Protocol()->pType();
  const ProtocolClass family = FamilyOf(scale.Protocol()->ClassName());
  if (!present && (!type || TypeToClass(*type) != family)) {
    throw UsageError("write one of " + Joined(WordsOf(family), ", ") +
                     ", or the published name or number");
  }
  scale.Protocol()->pType(*type);
}

KeyValue TypeValue(const TarnScale& scale) {
  return ProtocolTypeWord(scale.Protocol()->pType());
}

/// Such a protocol sets the update rate to 0 when it starts.
bool HasUpdateRate(const TarnScale& scale) {
  const auto family = FamilyOf(scale.Protocol()->ClassName());
  return family != ProtocolClass::TarnContinuous && family != ProtocolClass::DemandTemplate &&
         family != ProtocolClass::KesDemandTemplate;
}

/// With an update rate the start sets it.
bool HasOwnTimeout(const TarnScale& scale) {
  return !HasUpdateRate(scale) || scale.UpdateRate() <= 0;
}

bool DetectsWeighings(const TarnScale& scale) {
  return scale.DetectMinimum() > 0;
}

bool HasDevice(const TarnScale& scale) {
  return !Serial(scale).Device().empty();
}

/// TCP accepts nobody else anyway.
bool HasStrangers(const TarnScale& scale) {
  return FamilyOf(scale.Protocol()->ClassName()) != ProtocolClass::KesDemandTemplate;
}

// --- The table --------------------------------------------------------------------------------

/// As many of the words as a column of the help has room for.
std::string Brief(const std::vector<std::string_view>& words) {
  constexpr std::size_t kColumn = 27;
  std::string list = Joined(words, "|");
  if (list.size() <= kColumn) return list;
  return list.substr(0, list.rfind('|', kColumn - 4) + 1) + "...";
}

constexpr std::string_view kSerial = SerialConnection::kClassName;
constexpr std::string_view kEthernet = EthernetConnection::kClassName;
constexpr std::string_view kArcNet = ArcNetConnection::kClassName;

/// A protocol that speaks one dialect has no type to choose.
void AppendTypeKeys(std::vector<ScaleKey>& table) {
  for (const ClassRow& row : RegisteredClasses()) {
    const auto words = WordsOf(row.family);
    if (row.role != Role::Protocol || words.size() < 2) continue;
    table.push_back({"type", Place::Protocol, row.name, Brief(words),
                     "the dialect of " + std::string(row.word) + ": " + Joined(words, ", "),
                     TypeValue, SetType});
  }
}

std::vector<ScaleKey> MakeTable() {
  std::vector<ScaleKey> table = {
      {"alias", Place::Scale, "", "TEXT", "the name that operators know",
       [](const TarnScale& s) -> KeyValue { return s.AliasName(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { s.AliasName(std::string(v)); }},
      {"enabled", Place::Scale, "", "yes|no", "whether the server starts the scale",
       [](const TarnScale& s) -> KeyValue { return !s.Disabled(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { s.Disabled(!ParseSwitch(v)); }},
      {"disabled", Place::Scale, "", "yes|no", "the opposite of enabled",
       [](const TarnScale& s) -> KeyValue { return s.Disabled(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { s.Disabled(ParseSwitch(v)); }, false},
      {"rate", Place::Scale, "", "0..1000",
       "updates a second, 0 for none (continuous output sets 0 when it starts)",
       [](const TarnScale& s) -> KeyValue { return s.UpdateRate(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         s.UpdateRate(ParseNumber(v, 0, 1000, "write a number from 0 to 1000"));
       },
       true, HasUpdateRate},
      {"timeout", Place::Scale, "", "MILLISECONDS",
       "silence until no-data, 0 for never (with a rate above 0 the server sets it)",
       [](const TarnScale& s) -> KeyValue { return Number(s.ActivityTimeoutTime()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         s.ActivityTimeoutTime(ParseWhole(v, 0, kLargest, "write whole milliseconds, 0 or more"));
       },
       true, HasOwnTimeout},
      {"corrected", Place::Scale, "", "yes|no",
       "whether readings are corrected where the published rules falsify or withhold them",
       [](const TarnScale& s) -> KeyValue { return s.CorrectReadings(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { s.CorrectReadings(ParseSwitch(v)); }},
      {"detect-minimum", Place::Scale, "", "LOAD",
       "the least load that is detected as a weighing and recorded, 0 for no detection",
       [](const TarnScale& s) -> KeyValue { return s.DetectMinimum(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { s.DetectMinimum(ParseLoad(v)); }, true,
       DetectsWeighings},
      {"detect-stable", Place::Scale, "", "MILLISECONDS", "for how long it must rest",
       [](const TarnScale& s) -> KeyValue { return Number(s.DetectStable()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         s.DetectStable(ParseWhole(v, 0, kLargest, "write whole milliseconds, 0 or more"));
       },
       true, DetectsWeighings},
      {"detect-digits", Place::Scale, "", "NUMBER",
       "within how many steps of the last digit shown (a scale that counts by 5 takes 5 and more)",
       [](const TarnScale& s) -> KeyValue { return Number(s.DetectDigits()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         s.DetectDigits(ParseWhole(v, 0, kLargest, "write a whole number, 0 or more"));
       },
       true, DetectsWeighings},
      {"detect-rearm", Place::Scale, "", "LOAD",
       "below which load the next one counts, 0 for half of detect-minimum",
       [](const TarnScale& s) -> KeyValue { return s.DetectRearm(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { s.DetectRearm(ParseLoad(v)); }, true,
       DetectsWeighings},
      {"connection", Place::Scale, "", Brief(WordsOf(Role::Connection)),
       "how the terminal is reached",
       [](const TarnScale& s) -> KeyValue { return WordOf(Required(s.Connection()).ClassName()); },
       SetConnection},
      {"port", Place::Connection, kSerial, "1..32767", "the serial port: 3 or COM3",
       [](const TarnScale& s) -> KeyValue { return Number(Serial(s).ComPort()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { Serial(s).ComPort(ParsePort(v)); }},
      {"device", Place::Connection, kSerial, "DEVICE",
       "what the port stands for, such as /dev/ttyUSB0, unless --port or the store names another",
       [](const TarnScale& s) -> KeyValue { return Serial(s).Device(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { Serial(s).Device(std::string(v)); }, true,
       HasDevice},
      {"baud", Place::Connection, kSerial, Brief(PieceWords(BaudRatePiece)), "speed of the line",
       [](const TarnScale& s) { return PieceValue(BaudRatePiece, Serial(s).BaudRate()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Serial(s).BaudRate(ParsePiece(BaudRatePiece, v));
       }},
      {"parity", Place::Connection, kSerial, Brief(PieceWords(ParityName)), "or the first letter",
       [](const TarnScale& s) { return PieceValue(ParityName, Serial(s).Parity()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { Serial(s).Parity(ParseParity(v)); }},
      {"databits", Place::Connection, kSerial, Brief(PieceWords(DataBitsPiece)),
       "data bits of a character",
       [](const TarnScale& s) { return PieceValue(DataBitsPiece, Serial(s).DataBits()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Serial(s).DataBits(ParsePiece(DataBitsPiece, v));
       }},
      {"stopbits", Place::Connection, kSerial, Brief(PieceWords(StopBitsPiece)),
       "stop bits of a character",
       [](const TarnScale& s) { return PieceValue(StopBitsPiece, Serial(s).StopBits()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Serial(s).StopBits(ParsePiece(StopBitsPiece, v));
       }},
      {"bidirectional", Place::Connection, kSerial, "yes|no",
       "whether commands may be sent to the terminal",
       [](const TarnScale& s) -> KeyValue { return Serial(s).IsBidirectional(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Serial(s).IsBidirectional(ParseSwitch(v));
       }},
      {"reconnect", Place::Connection, kSerial, "yes|no",
       "whether a server connects a link again that broke (run and monitor always do)",
       [](const TarnScale& s) -> KeyValue { return Reconnecting(s).AutoReconnect(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Reconnecting(s).AutoReconnect(ParseSwitch(v));
       }},
      {"address", Place::Connection, kEthernet, "HOST", "address or name of the terminal",
       [](const TarnScale& s) -> KeyValue { return Ethernet(s).IPAddress(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { Ethernet(s).IPAddress(std::string(v)); }},
      {"bidirectional", Place::Connection, kEthernet, "yes|no", "",
       [](const TarnScale& s) -> KeyValue { return Ethernet(s).IsBidirectional(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Ethernet(s).IsBidirectional(ParseSwitch(v));
       }},
      {"reconnect", Place::Connection, kEthernet, "yes|no", "",
       [](const TarnScale& s) -> KeyValue { return Reconnecting(s).AutoReconnect(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Reconnecting(s).AutoReconnect(ParseSwitch(v));
       }},
      {"checksender", Place::Connection, kEthernet, "yes|no",
       "whether datagrams count only when they come from the address",
       [](const TarnScale& s) -> KeyValue { return Ethernet(s).CheckSender(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         Ethernet(s).CheckSender(ParseSwitch(v));
       },
       true, HasStrangers},
      {"cluster", Place::Connection, kArcNet, "LETTER", "cluster of the terminal on its network",
       [](const TarnScale& s) -> KeyValue { return ArcNet(s).Cluster(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { ArcNet(s).Cluster(v); }},
      {"node", Place::Connection, kArcNet, "NUMBER",
       "the terminal's number there (one digit with one letter, or corrected=yes)",
       [](const TarnScale& s) -> KeyValue { return ArcNet(s).KestrelNum(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) { ArcNet(s).KestrelNum(std::string(v)); }},
      {"protocol", Place::Scale, "", Brief(WordsOf(Role::Protocol)),
       "how it is talked to: " + Joined(WordsOf(Role::Protocol), ", "),
       [](const TarnScale& s) -> KeyValue { return WordOf(Required(s.Protocol()).ClassName()); },
       SetProtocol},
      {"letter", Place::Protocol, KesSDProtocol::kClassName, "a|b|c|d|e",
       "letter of the scale at its terminal",
       [](const TarnScale& s) -> KeyValue { return SharedData(s).scaleNum(); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         const std::string letter = AsciiLower(v);
         if (letter.size() != 1 || letter < "a" || letter > "e") {
           throw UsageError("write a letter from a to e");
         }
         SharedData(s).scaleNum(letter);
       }},
  };
  AppendTypeKeys(table);
  AppendTemplateKeys(table);
  AppendVariableKeys(table);
  return table;
}

const std::vector<ScaleKey>& Table() {
  static const std::vector<ScaleKey> kTable = MakeTable();
  return kTable;
}

/// The dialect that brings a configuration.
std::string DataSetWord(std::string_view configuration) {
  for (const DataSet& set : DataSets()) {
    if (set.configuration.name == configuration) return ProtocolTypeWord(set.type);
  }
  return {};
}

/// Which connection or protocol would have the key, for one that the scale has not now.
std::string WhereKeyBelongs(std::string_view name) {
  std::string where;
  for (const ScaleKey& key : Table()) {
    if (!EqualIgnoringCase(key.name, name)) continue;
    if (key.place == Place::Configuration) {
      where += "protocol=variables type=" + DataSetWord(key.className);
      continue;
    }
    where += where.empty() ? "" : " or ";
    where += key.place == Place::Connection ? "connection=" : "protocol=";
    where += WordOf(key.className);
  }
  return where;
}

std::string PresentChoices(const TarnScale& scale) {
  return "connection=" + WordOf(Required(scale.Connection()).ClassName()) +
         " protocol=" + WordOf(Required(scale.Protocol()).ClassName());
}

const ScaleKey& FindKey(const TarnScale& scale, std::string_view name) {
  bool known = false;
  for (const ScaleKey& key : Table()) {
    if (!EqualIgnoringCase(key.name, name)) continue;
    if (key.Fits(scale)) return key;
    known = true;
  }
  const std::string quoted = "'" + Printable(name) + "'";
  if (!known) throw UsageError("there is no key " + quoted + "; the keys are:\n" + KeyHelp());
  throw UsageError("the key " + quoted + " belongs to " + WhereKeyBelongs(name) +
                   ", and this scale has " + PresentChoices(scale));
}

}  // namespace

std::string ValueText(const KeyValue& value) {
  if (const bool* flag = std::get_if<bool>(&value)) return *flag ? "yes" : "no";
  if (const double* number = std::get_if<double>(&value)) return GeneralNumberText(*number);
  return std::get<std::string>(value);
}

bool ScaleKey::Fits(const TarnScale& scale) const {
  switch (place) {
    case Place::Connection:
      return Has(scale.Connection(), className);
    case Place::Protocol:
      return Has(scale.Protocol(), className);
    case Place::Configuration: {
      const auto engine = std::dynamic_pointer_cast<SummitProtocol>(scale.Protocol());
      return engine && Has(engine->Configuration(), className);
    }
    case Place::Scale:
      break;
  }
  return true;
}

void ApplyPairs(TarnScale& scale, ScaleSite& site, std::vector<std::string> pairs) {
  const auto rank = [](std::string_view pair) {
    constexpr std::array<std::string_view, 3> kFirst = {"connection", "protocol", "type"};
    const auto* found = std::find_if(kFirst.begin(), kFirst.end(), [&](std::string_view key) {
      return EqualIgnoringCase(pair.substr(0, pair.find('=')), key);
    });
    return found - kFirst.begin();
  };
  std::stable_sort(pairs.begin(), pairs.end(), [&rank](const auto& left, const auto& right) {
    return rank(left) < rank(right);
  });
  for (const std::string& pair : pairs) ApplyPair(scale, site, pair);
}

std::span<const ScaleKey> ScaleKeys() {
  return Table();
}

void ApplyPair(TarnScale& scale, ScaleSite& site, std::string_view pair) {
  const auto equals = pair.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    throw UsageError("'" + Printable(pair) + "' is no setting: write KEY=VALUE, such as port=3");
  }
  const ScaleKey& key = FindKey(scale, pair.substr(0, equals));
  try {
    key.set(scale, site, pair.substr(equals + 1));
  } catch (const UsageError& error) {
    throw UsageError(Printable(pair) + ": " + error.what());
  }
}

std::string KeyHelp() {
  std::string help;
  for (const ScaleKey& key : Table()) {
    if (key.help.empty()) continue;
    help += "  " + Fit(std::string(key.name) + "=", 16) + Fit(key.values, 28);
    help += key.help;
    help += '\n';
  }
  return help;
}

}  // namespace tarn::tool
