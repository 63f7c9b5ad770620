// The record of one print: a frozen copy of a reading, taken when a print is asked for.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/event.hpp"
#include "scale/data_object.hpp"

namespace tarn {

/// Who asked for a print. The numbers are published.
enum class PrintOrigin : std::int32_t {
  Terminal = 0,   ///< the terminal itself, by its key or its own rules
  Request = 1,    ///< an operator, through this program
  Client = 2,     ///< a client of the Automation server
  Detection = 3,  ///< the scale's detection of weighings
};

inline constexpr std::array<std::string_view, 4> kPrintOriginNames = {"terminal", "request",
                                                                      "client", "detection"};
/// The word for programs.
constexpr std::string_view PrintOriginName(PrintOrigin origin) {
  return kPrintOriginNames[static_cast<std::size_t>(origin)];
}
/// Nothing for a word that no origin has.
constexpr std::optional<PrintOrigin> PrintOriginNamed(std::string_view name) {
  for (std::size_t i = 0; i < kPrintOriginNames.size(); ++i) {
    if (kPrintOriginNames[i] == name) return static_cast<PrintOrigin>(i);
  }
  return std::nullopt;
}

/// Clients only read. Writers write NetWeightValue last: it commits the record and raises
/// NewWeight.
class PrintData final : public DataObject {
 public:
  double TareWeightValue() const { return tareValue_; }
  double NetWeightValue() const { return netValue_; }
  double GrossWeightValue() const { return grossValue_; }
  const std::string& Units() const { return units_; }
  const std::string& NetWeight() const { return net_; }
  const std::string& TareWeight() const { return tare_; }
  const std::string& GrossWeight() const { return gross_; }
  /// Beside the published members.
  PrintOrigin Origin() const { return origin_; }

  Event<> NewWeight;

  // Called only by the server's own protocols and scales. Texts are not converted to values.
  void GrossWeight(std::string text) { gross_ = std::move(text); }
  void TareWeight(std::string text) { tare_ = std::move(text); }
  void NetWeight(std::string text) { net_ = std::move(text); }
  void Units(std::string text) { units_ = std::move(text); }
  void Origin(PrintOrigin origin) { origin_ = origin; }
  void GrossWeightValue(double value) { grossValue_ = value; }
  void TareWeightValue(double value) { tareValue_ = value; }
  void NetWeightValue(double value) {
    netValue_ = value;
    NewWeight.Raise();
  }

 private:
  std::string gross_;
  std::string tare_;
  std::string net_;
  std::string units_;
  double grossValue_ = 0;
  double tareValue_ = 0;
  double netValue_ = 0;
  PrintOrigin origin_ = PrintOrigin::Terminal;
};

}  // namespace tarn
