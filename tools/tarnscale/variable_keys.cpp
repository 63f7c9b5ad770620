#include "tools/tarnscale/variable_keys.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"
#include "tools/tarnscale/errors.hpp"

namespace tarn::tool {
namespace {

using Place = ScaleKey::Place;
using Orbix = TarnOrbixDiagConfig;

constexpr std::string_view kVariablesHelp =
    "declared variables: INDEX:NAME:TYPE:LENGTH, with :poll and :write; commas between";

/// In the order of the numbers.
constexpr std::array<std::string_view, 14> kVariableTypes = {
    "none",  "bit",    "char",   "byte",      "ushort",    "long",      "ulong",
    "float", "double", "string", "chararray", "bytearray", "longarray", "longchararray"};

SummitProtocol& Engine(const TarnScale& scale) {
  return Required(std::dynamic_pointer_cast<SummitProtocol>(scale.Protocol()));
}

template <class Config>
Config& ConfigOf(const TarnScale& scale) {
  return Required(std::dynamic_pointer_cast<Config>(Engine(scale).Configuration()));
}

/// What the core refuses is a wrong value of the user's.
template <class Work>
void AsUsage(const Work& work) {
  try {
    work();
  } catch (const AutomationError& error) {
    throw UsageError(error.Description());
  }
}

template <const std::string& (Orbix::*get)() const>
KeyValue NameValue(const TarnScale& scale) {
  return (ConfigOf<Orbix>(scale).*get)();
}

template <void (Orbix::*set)(std::string)>
void SetName(TarnScale& scale, ScaleSite& /*site*/, std::string_view text) {
  AsUsage([&] { (ConfigOf<Orbix>(scale).*set)(std::string(text)); });
}

SDTagType ParseType(std::string_view text) {
  const auto found =
      std::find_if(kVariableTypes.begin() + 1, kVariableTypes.end(),
                   [&](std::string_view word) { return EqualIgnoringCase(word, text); });
  if (found == kVariableTypes.end())
    throw UsageError("there is no type '" + std::string(text) + "'");
  return SDTagType{static_cast<std::int32_t>(found - kVariableTypes.begin())};
}

std::string TypeWord(SDTagType type) {
  const auto index = static_cast<std::size_t>(type);
  return std::string(index < kVariableTypes.size() ? kVariableTypes[index] : "none");
}

std::string_view CutAt(std::string_view& text, char separator) {
  const auto end = text.find(separator);
  const std::string_view piece = text.substr(0, end);
  text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  return piece;
}

void Declare(TarnKesBasicConfig& config, std::string_view text) {
  const std::string index(CutAt(text, ':'));
  const std::string name(CutAt(text, ':'));
  if (text.empty()) throw UsageError(std::string(kVariablesHelp));
  const SDTagType type = ParseType(CutAt(text, ':'));
  const std::int32_t length = WholeNumber(CutAt(text, ':'));
  bool polled = false;
  bool writable = false;
  while (!text.empty()) {
    const std::string_view word = CutAt(text, ':');
    if (word != "poll" && word != "write") throw UsageError(std::string(kVariablesHelp));
    (word == "poll" ? polled : writable) = true;
  }
  const bool fits = length > 0 && length <= INT16_MAX;
  config.AddVariable(index, name, type, static_cast<std::int16_t>(fits ? length : 0), writable,
                     polled);
}

/// Declared apart first, so that a wrong text leaves the scale as it was.
void SetVariables(TarnScale& scale, ScaleSite& site, std::string_view text) {
  const auto config = NewObject<TarnKesBasicConfig>(site, TarnKesBasicConfig::kClassName);
  AsUsage([&] {
    while (!text.empty()) Declare(*config, CutAt(text, ','));
  });
  Engine(scale).Configuration(config);
}

KeyValue VariablesValue(const TarnScale& scale) {
  std::string text;
  const auto tags = ConfigOf<TarnKesBasicConfig>(scale).SDVariables();
  for (std::int32_t i = 1; i <= tags->Count(); ++i) {
    const auto tag = tags->Item(i);
    text += (text.empty() ? "" : ",") + tag->EasyIndex() + ":" + tag->TagName() + ":" +
            TypeWord(tag->TagType()) + ":" + std::to_string(tag->TagDataLen()) +
            (tag->Polled() ? ":poll" : "") + (tag->Writable() ? ":write" : "");
  }
  return text;
}

}  // namespace

void AppendVariableKeys(std::vector<ScaleKey>& table) {
  constexpr std::string_view kOrbix = Orbix::kClassName;
  table.insert(
      table.end(),
      {{"counts", Place::Configuration, kOrbix, "NAME", "the variable of the cells' counts",
        NameValue<&Orbix::CountsVariable>, SetName<&Orbix::CountsVariable>},
       {"countstype", Place::Configuration, kOrbix, "longarray|longchararray", "and its type",
        [](const TarnScale& s) -> KeyValue { return TypeWord(ConfigOf<Orbix>(s).CountsType()); },
        [](TarnScale& s, ScaleSite&, std::string_view v) {
          AsUsage([&] { ConfigOf<Orbix>(s).CountsType(ParseType(v)); });
        }},
       {"errors", Place::Configuration, kOrbix, "NAME", "the variable of the error numbers",
        NameValue<&Orbix::ErrorNumbersVariable>, SetName<&Orbix::ErrorNumbersVariable>},
       {"overloads", Place::Configuration, kOrbix, "NAME", "the variable of the overload status",
        NameValue<&Orbix::OverloadStatusVariable>, SetName<&Orbix::OverloadStatusVariable>},
       {"scantable", Place::Configuration, kOrbix, "NAME", "the variable of the scan table",
        NameValue<&Orbix::ScanTableVariable>, SetName<&Orbix::ScanTableVariable>},
       {"variables", Place::Configuration, TarnKesBasicConfig::kClassName, "LIST",
        std::string(kVariablesHelp), VariablesValue, SetVariables}});
}

}  // namespace tarn::tool
