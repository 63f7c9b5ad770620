// The record of one print: a frozen copy of a reading, taken when a print is asked for.
#pragma once

#include <string>
#include <utility>

#include "base/event.hpp"
#include "scale/data_object.hpp"

namespace tarn {

/// Who wanted a print.
enum class PrintOrigin {
  Terminal,   ///< the terminal sent it or asked for it
  Request,    ///< an operator of this program
  Client,     ///< an Automation client
  Detection,  ///< the scale found a weighing
};

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

  Event<> NewWeight;

  // Not published.

  PrintOrigin Origin() const { return origin_; }

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
