#include "tools/tarnscale/template_keys.hpp"

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "protocols/demand_template_protocol.hpp"
#include "protocols/kes_demand_template_protocol.hpp"
#include "tools/escaped_text.hpp"
#include "tools/tarnscale/errors.hpp"

namespace tarn::tool {
namespace {

using Place = ScaleKey::Place;
using Config = TarnRecordTemplateConfig;

constexpr std::array<std::string_view, 20> kNameKeys = {
    "field1",  "field2",  "field3",  "field4",  "field5",  "field6",  "field7",
    "field8",  "field9",  "field10", "field11", "field12", "field13", "field14",
    "field15", "field16", "field17", "field18", "field19", "field20"};

Config& TemplateOf(const TarnScale& scale) {
  const auto protocol = std::dynamic_pointer_cast<TemplateProtocol>(scale.Protocol());
  return *Required(protocol).TemplateConfig();
}

template <class Whole>
Whole ParseWholeOf(std::string_view text, Whole least, const char* what) {
  const auto number = LocaleNumber(text, ".");
  if (!number || *number != RoundHalfEven(*number) || *number < least ||
      *number > std::numeric_limits<Whole>::max()) {
    throw UsageError(what);
  }
  return static_cast<Whole>(*number);
}

std::string PlainText(std::string_view text) {
  auto plain = FromEscapes(text);
  if (!plain) throw UsageError(kEscapesHelp);
  return std::move(*plain);
}

template <const std::string& (Config::*get)() const>
KeyValue TextValue(const TarnScale& scale) {
  return ToEscapes((TemplateOf(scale).*get)());
}

template <void (Config::*set)(std::string)>
void SetText(TarnScale& scale, ScaleSite& /*site*/, std::string_view text) {
  (TemplateOf(scale).*set)(PlainText(text));
}

template <std::int16_t index>
KeyValue NameValue(const TarnScale& scale) {
  return ToEscapes(TemplateOf(scale).FieldName(index));
}

template <std::int16_t index>
void SetName(TarnScale& scale, ScaleSite& /*site*/, std::string_view text) {
  TemplateOf(scale).FieldName(index, PlainText(text));
}

template <std::int16_t index>
bool IsField(const TarnScale& scale) {
  return index <= TemplateOf(scale).NumFields();
}

template <std::size_t... positions>
void AppendNames(std::vector<ScaleKey>& table, std::string_view className, bool first,
                 std::index_sequence<positions...> /*all*/) {
  const auto help = [first](std::size_t position) -> std::string {
    return first && position == 0 ? "name of the first field; so field2= up to field20=" : "";
  };
  (table.push_back({kNameKeys[positions], Place::Protocol, className, "TEXT", help(positions),
                    NameValue<static_cast<std::int16_t>(positions + 1)>,
                    SetName<static_cast<std::int16_t>(positions + 1)>, true,
                    IsField<static_cast<std::int16_t>(positions + 1)>}),
   ...);
}

/// The help shows the rows of one class; those of the other are the same.
void AppendKeysOf(std::vector<ScaleKey>& table, std::string_view className, bool first) {
  const std::vector<ScaleKey> keys = {
      {"fields", Place::Protocol, className, "1..20", "fields of a record",
       [](const TarnScale& s) -> KeyValue {
         return static_cast<double>(TemplateOf(s).NumFields());
       },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         constexpr const char* kWhat = "write a number from 1 to 20";
         const auto count = ParseWholeOf<std::int16_t>(v, 1, kWhat);
         if (count > TarnRecordTemplateData::kMaxNumFields) throw UsageError(kWhat);
         TemplateOf(s).NumFields(count);
       }},
      {"start", Place::Protocol, className, "TEXT",
       "text in front of a record; texts may have \\r \\n \\t \\b \\\\ \\xHH",
       TextValue<&Config::StartString>, SetText<&Config::StartString>},
      {"delimiter", Place::Protocol, className, "TEXT", "text between two fields",
       TextValue<&Config::Delimiter>, SetText<&Config::Delimiter>},
      {"terminator", Place::Protocol, className, "TEXT", "text behind the last field",
       TextValue<&Config::Terminator>, SetText<&Config::Terminator>},
      {"recordtime", Place::Protocol, className, "MILLISECONDS",
       "time to complete a record that has begun, 0 for no limit",
       [](const TarnScale& s) -> KeyValue { return static_cast<double>(TemplateOf(s).Timeout()); },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         TemplateOf(s).Timeout(
             ParseWholeOf<std::int32_t>(v, 0, "write whole milliseconds, 0 or more"));
       }},
      {"demand", Place::Protocol, className, "TEXT", "text that demands a record from the terminal",
       TextValue<&Config::DemandOutput>, SetText<&Config::DemandOutput>},
  };
  for (ScaleKey key : keys) {
    if (!first) key.help = {};
    table.push_back(key);
  }
  AppendNames(table, className, first, std::make_index_sequence<kNameKeys.size()>());
}

}  // namespace

void AppendTemplateKeys(std::vector<ScaleKey>& table) {
  AppendKeysOf(table, DemandTemplateProtocol::kClassName, true);
  AppendKeysOf(table, KesDemandTemplateProtocol::kClassName, false);
  table.push_back(
      {"letter", Place::Protocol, KesDemandTemplateProtocol::kClassName, "TEXT", "",
       [](const TarnScale& s) -> KeyValue {
         return std::dynamic_pointer_cast<KesDemandTemplateProtocol>(s.Protocol())->scaleNum();
       },
       [](TarnScale& s, ScaleSite&, std::string_view v) {
         std::dynamic_pointer_cast<KesDemandTemplateProtocol>(s.Protocol())
             ->scaleNum(std::string(v));
       }});
}

}  // namespace tarn::tool
