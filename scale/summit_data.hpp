// The contract of a data object, which stores the terminal variables that a polling engine reads,
// and the contract's own empty implementation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/persistable.hpp"
#include "scale/data_object.hpp"
#include "scale/named_value.hpp"

namespace tarn {

class SDTagInfo;

class _SummitData : public DataObject, public Persistable {
 public:
  using TagInfo = std::shared_ptr<SDTagInfo>;

  /// The key under which GetAxDataObj finds the object; empty when it does not.
  virtual std::string_view DataObjectName() const { return {}; }

  /// Set to true when the terminal does not answer.
  virtual void CommLossError(bool value) = 0;
  virtual bool CommLossError() const = 0;
  /// Set to true when a reply cannot be loaded or belongs to no request.
  virtual void NoDataError(bool value) = 0;
  virtual bool NoDataError() const = 0;
  virtual void ConfigurationChanged() = 0;
  /// A polling round has delivered its values.
  virtual void DataUpdated() = 0;

  /// One value, or one element (counted from 0) of a value, of the variable that the tag describes.
  virtual void SetBitData(bool TagData, const TagInfo& myTagInfo) = 0;
  virtual void SetByteData(std::uint8_t TagData, const TagInfo& myTagInfo) = 0;
  virtual void SetCharArrayData(std::vector<std::uint8_t>& TagData, std::int16_t dataLen,
                                const TagInfo& myTagInfo) = 0;
  virtual void SetLongData(std::int32_t TagData, std::int16_t dataIndex,
                           const TagInfo& myTagInfo) = 0;
  virtual void SetFloatData(float TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) = 0;
  virtual void SetDoubleData(double TagData, std::int16_t dataIndex, const TagInfo& myTagInfo) = 0;
  virtual void SetStringData(const std::string& TagData, std::int16_t dataIndex,
                             const TagInfo& myTagInfo) = 0;
  virtual void SetIntData(std::int16_t TagData, std::int16_t dataIndex,
                          const TagInfo& myTagInfo) = 0;

  /// Called before the triggers of a round are armed.
  virtual void ResetState() = 0;
  /// All triggers have signalled new data.
  virtual bool TriggersComplete() const = 0;

  /// The present values under the published names of the members, for tools. Not published: a
  /// client's own data object shows none.
  virtual std::vector<NamedValue> NamedValues() const { return {}; }
};

/// Does nothing; every getter returns false. A scale that reads no terminal variables has one.
class SummitData : public _SummitData {
 public:
  static constexpr std::string_view kClassName = "SummitData";

  std::string_view ClassName() const override { return kClassName; }
  void CommLossError(bool /*value*/) override {}
  bool CommLossError() const override { return false; }
  void NoDataError(bool /*value*/) override {}
  bool NoDataError() const override { return false; }
  void ConfigurationChanged() override {}
  void DataUpdated() override {}
  void SetBitData(bool, const TagInfo&) override {}
  void SetByteData(std::uint8_t, const TagInfo&) override {}
  void SetCharArrayData(std::vector<std::uint8_t>&, std::int16_t, const TagInfo&) override {}
  void SetLongData(std::int32_t, std::int16_t, const TagInfo&) override {}
  void SetFloatData(float, std::int16_t, const TagInfo&) override {}
  void SetDoubleData(double, std::int16_t, const TagInfo&) override {}
  void SetStringData(const std::string&, std::int16_t, const TagInfo&) override {}
  void SetIntData(std::int16_t, std::int16_t, const TagInfo&) override {}
  void ResetState() override {}
  bool TriggersComplete() const override { return false; }
};

}  // namespace tarn
