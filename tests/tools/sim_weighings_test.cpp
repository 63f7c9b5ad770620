// A simulated platform with its settling and noise, up to the records that a scale makes of it.
#include "tests/support/scale_fixture.hpp"
#include "tools/tarnsim/continuous_frame.hpp"

namespace tarn {
namespace {

class SimulatedWeighings : public ScaleFixture {};

/// Touched for a moment, overloaded and moving does not count, nor does a load on a load.
TEST_F(SimulatedWeighings, EachLoadThatRestsIsRecordedOnce) {
  const sim::Graduation graduation = sim::MakeGraduation(100, 0.05, {});
  sim::Indicator indicator(
      {graduation},
      sim::ParseLoadScript("load 20; wait 5s; load 0; wait 3s; load 20; press T; wait 5s; load 70; "
                           "wait 4s; load 0; wait 3s; load 40; wait 400ms; load 0; wait 3s; "
                           "load 200; wait 5s; load 0; wait 3s; ramp 30 33 5s; wait 4s; load 0"),
      {.noise = 0.02});
  const auto scale = NewSerialScale("TarnContinuousProtocol");
  scale->Protocol()->pType(ProtocolType::TarnContinuousStandard);
  scale->DetectMinimum(2);
  scale->DetectDigits(5);
  std::string weighings;
  const auto onPrint = scale->PrintData()->NewWeight.Subscribe(
      [&] { weighings += scale->PrintData()->GrossWeight() + " "; });
  scale->RunScale();
  for (double now = 100; now < 50'000; now += 100) {
    indicator.AdvanceTo(now);
    Port().Deliver(
        sim::BuildContinuousFrame({.graduation = graduation}, indicator.Present(), false));
    host.loop.Advance(100);
  }
  EXPECT_EQ(weighings, "20.00 20.00 33.00 ");
}

}  // namespace
}  // namespace tarn
