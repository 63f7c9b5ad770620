// The terminal variables that a client exchanges with the BASIC program of a terminal.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "shareddata/sd_variables.hpp"
#include "shareddata/summit_config.hpp"

namespace tarn {

/// Which variables there are is the user's own business: they are declared here, each under an easy
/// index, and persist. The polled ones are read in every round, in the order of declaring.
class TarnKesBasicConfig final : public SummitConfig {
 public:
  static constexpr std::string_view kClassName = "TarnKesBasicConfig";
  /// The easy indexes of the variables behind KBStatus and KBCommand of the data object.
  static constexpr const char* kStatus = "KBStatus";
  static constexpr const char* kCommand = "KBCommand";
  static constexpr std::int32_t kMostVariables = 500;

  std::string_view ClassName() const override { return kClassName; }
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  // Published members, in the order of the interface.

  /// Keys are the easy indexes.
  std::shared_ptr<tarn::SDVariables> SDVariables() const { return tags_; }
  /// Errors: 457 the easy index is declared already, 380 it is empty, or the name has not 1 to 6
  /// characters, or there is no such type, or a length (bytes) that the type or a message cannot
  /// have; 6 more than 500 variables.
  TagInfo AddVariable(const std::string& EasyIndex, const std::string& TagName, SDTagType TagType,
                      std::int16_t TagDataLen, bool Writable, bool Polled);
  /// Error 9 for an easy index that is not declared.
  void RemoveVariable(const std::string& EasyIndex);

  /// By the easy index, else by the variable's name.
  TagInfo GetTagInfoByKey(const std::string& TagName) const override;
  TagInfo GetTagInfoByIndex(std::int16_t TagIndex) const override;
  std::int16_t GetTagInfoCount() const override;

  /// Of the polled variables, by their easy indexes.
  std::vector<NamedValue> NamedValues() const override;

 private:
  void WatchTags();
  void TagsChanged();

  std::shared_ptr<tarn::SDVariables> tags_ = std::make_shared<tarn::SDVariables>();
  std::vector<TagInfo> polled_;
  std::vector<Subscription> onTagChanged_;
};

}  // namespace tarn
