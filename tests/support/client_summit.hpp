// A configuration and a data object of terminal variables as clients implement them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "scale/summit_data.hpp"
#include "shareddata/summit_config.hpp"

namespace tarn {

/// The data object writes down what it hears. Both can do something at every call, before they
/// answer it.
struct ClientConfig final : SummitConfig {
  bool IsClientMade() const override { return true; }
  TagInfo GetTagInfoByIndex(std::int16_t i) const override {
    Called();
    return i >= 1 && i <= static_cast<std::int16_t>(tags.size())
               ? tags[static_cast<std::size_t>(i - 1)]
               : nullptr;
  }
  std::int16_t GetTagInfoCount() const override {
    Called();
    return static_cast<std::int16_t>(tags.size());
  }
  std::string GetResetTrigger(std::int16_t i) const override { return Name(resets, i); }
  std::string GetUpdateTrigger(std::int16_t i) const override { return Name(triggers, i); }
  TagInfo GetTagInfoByKey(const std::string& name) const override {
    Called();
    return trigger && name == trigger->TagName() ? trigger : nullptr;
  }
  static TagInfo Tag(const char* name, SDTagType type, std::int16_t length) {
    auto tag = std::make_shared<SDTagInfo>();
    tag->TagName(name);
    tag->TagType(type);
    tag->TagDataLen(length);
    return tag;
  }

  std::vector<TagInfo> tags;
  TagInfo trigger;
  std::vector<std::string> resets, triggers;
  std::function<void()> called;

 private:
  /// The call may let go of this object.
  void Called() const {
    if (const auto call = called) call();
  }
  std::string Name(const std::vector<std::string>& names, std::int16_t i) const {
    Called();
    return i >= 1 && i <= static_cast<std::int16_t>(names.size())
               ? names[static_cast<std::size_t>(i - 1)]
               : "";
  }
};

struct ClientData final : SummitData {
  bool IsClientMade() const override { return true; }
  void CommLossError(bool v) override {
    Tell(v ? "Lost" : "Found");
    lost = v;
  }
  bool CommLossError() const override {
    Called();
    return lost;
  }
  void NoDataError(bool v) override {
    Tell(v ? "NoData" : "Data");
    noData = v;
  }
  bool NoDataError() const override {
    Called();
    return noData;
  }
  void ConfigurationChanged() override { Tell("Config"); }
  void DataUpdated() override { Tell("Updated"); }
  void SetBitData(bool v, const TagInfo&) override { Tell("bit(", v ? "1" : "0"); }
  void SetByteData(std::uint8_t v, const TagInfo&) override { Tell("byte(", std::to_string(v)); }
  void SetCharArrayData(std::vector<std::uint8_t>& v, std::int16_t n, const TagInfo&) override {
    std::string text = std::to_string(n) + ":";
    for (const auto byte : v) text += std::to_string(byte) + ".";
    Tell("bytes(", text);
  }
  void SetLongData(std::int32_t v, std::int16_t i, const TagInfo&) override { Tell("long(", i, v); }
  void SetFloatData(float v, std::int16_t i, const TagInfo&) override { Tell("float(", i, v); }
  void SetDoubleData(double v, std::int16_t i, const TagInfo&) override { Tell("double(", i, v); }
  void SetIntData(std::int16_t v, std::int16_t i, const TagInfo&) override { Tell("int(", i, v); }
  void SetStringData(const std::string& v, std::int16_t i, const TagInfo&) override {
    Tell("text(", std::to_string(i) + ":" + v);
  }
  void ResetState() override { Tell("Reset"); }
  bool TriggersComplete() const override {
    Called();
    return complete;
  }

  std::function<void()> called;
  std::string told;
  bool complete = false;
  bool lost = false;
  bool noData = false;

 private:
  void Called() const {
    if (const auto call = called) call();
  }
  template <class Number>
  void Tell(const char* what, std::int16_t index, Number value) {
    Tell(what, std::to_string(index) + ":" + std::to_string(value));
  }
  void Tell(const std::string& what, const std::string& value = {}) {
    told += what + value + (what.ends_with('(') ? ") " : " ");
    Called();
  }
};

}  // namespace tarn
