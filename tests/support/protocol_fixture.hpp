// A running scale on a serial line with the protocol under test, and what it shows and sends.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/scale_fixture.hpp"

namespace tarn {

class ProtocolFixture : public ScaleFixture {
 protected:
  void Start(std::string_view protocolClass, ProtocolType type) {
    scale = NewSerialScale(protocolClass);
    scale->Protocol()->pType(type);
    serial->IsBidirectional(true);
    scale->UpdateRate(0);  // the protocol's own time-out, no updates
    scale->RunScale();
    const auto record = scale->WeightData();
    onStatus_ = record->StatusChange.Subscribe([this] { trace_ += "s "; });
    onWeight_ = record->NewWeight.Subscribe([this, raw = record.get()] {
      ++newWeights;
      trace_ += "[" + ReadingOf(*raw) + "] ";
    });
    Trace();
    newWeights = 0;
  }

  /// gross|tare|net units, then flags: motion, range, zero, net mode, error.
  static std::string ReadingOf(const tarn::WeightData& w) {
    std::string text =
        w.GrossWeight() + "|" + w.TareWeight() + "|" + w.NetWeight() + " " + w.Units() + " ";
    if (w.Motion()) text += 'M';
    if (w.OutOfRange()) text += 'R';
    if (w.AtZero()) text += 'Z';
    if (w.InNetMode()) text += 'N';
    if (w.NoDataError()) text += 'E';
    return text;
  }
  std::string Reading() const { return ReadingOf(*scale->WeightData()); }
  /// The record's events since the last call: "s" for StatusChange, a reading for NewWeight.
  std::string Trace() { return std::exchange(trace_, {}); }
  /// What was sent since the last call.
  std::string Sent() { return std::exchange(Port().written, {}); }
  void Deliver(std::string_view bytes) { Port().Deliver(bytes); }
  /// So long that the scale's time-out has passed once.
  void KeepSilent() { host.loop.Advance(scale->ActivityTimer()->TimeoutTime()); }

  std::shared_ptr<TarnScale> scale;
  int newWeights = 0;

 private:
  std::string trace_;
  Subscription onStatus_;
  Subscription onWeight_;
};

}  // namespace tarn
