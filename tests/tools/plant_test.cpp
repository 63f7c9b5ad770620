// What a technician does to a whole plant: checks it, moves scales, and chooses what is printed.
#include <chrono>
#include <string>
#include <vector>

#include "tests/tools/scale_tool_fixture.hpp"
#include "tools/tarnscale/event_filter.hpp"
#include "tools/tarnscale/scale_check.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

class PlantTest : public ScaleToolFixture {
 protected:
  PlantTest() { file.LoadOrNew(); }
  void Apply(int number, const std::vector<std::string>& pairs) {
    ApplyPairs(file.Scale(number), file.Site(), pairs);
  }
  std::vector<std::string> Check(int number) {
    return Findings(file, number, [](std::int16_t port, const std::string& device) {
      return port == 9 || device == "/dev/gone" ? device + "#9" : std::string();
    });
  }

  ScaleFile file{host, kFile};
};

TEST_F(PlantTest, ACheckNamesWhatCannotWorkAndNothingElse) {
  Apply(1, {"type=standard", "protocol=continuous", "connection=serial", "enabled=yes"});
  EXPECT_THAT(Check(1), IsEmpty());
  Apply(2, {"protocol=shared-data", "connection=serial"});
  EXPECT_THAT(Check(2), ElementsAre(HasSubstr("set connection=ethernet or arcnet")));
  Apply(3, {"enabled=yes"});
  EXPECT_THAT(Check(3), ElementsAre(HasSubstr("no connection"), HasSubstr("no protocol")));
  Apply(4, {"connection=serial", "protocol=generic", "alias=D", "enabled=yes"});
  EXPECT_THAT(Check(4), ElementsAre(HasSubstr("Scale 4 (D): it has no type"),
                                    HasSubstr("COM1 is used by Scale 1 too")));
  Apply(4, {"type=fairbanks", "device=/dev/gone"});  // which is not COM1 any more
  EXPECT_THAT(Check(4), ElementsAre(HasSubstr("will show no weight"),
                                    HasSubstr("/dev/gone#9 is not there now")));
  EXPECT_THAT(Check(5), IsEmpty()) << "nobody has set it up";
  Apply(6, {"connection=serial", "protocol=template", "detect-minimum=2", "detect-rearm=2"});
  EXPECT_THAT(Check(6), ElementsAre(HasSubstr("detect-minimum has no effect: its protocol has no"),
                                    HasSubstr("may count twice")));
}

TEST_F(PlantTest, ScalesAreCopiedMovedAndDeletedButNeverOverwritten) {
  Apply(1, {"device=/dev/a b", "connection=serial", "protocol=mira", "rate=2"});
  file.Copy(1, 3);
  EXPECT_EQ(file.Scale(3).AliasName(), "Scale3");
  EXPECT_THAT(ShowScaleText(file, 3), HasSubstr("device=\"/dev/a b\"\n"));
  EXPECT_THAT(ShowScaleText(file, 3), HasSubstr("rate=2\n"));
  EXPECT_THAT([&] { file.Copy(1, 3); }, ThrowsMessage<Failure>(HasSubstr("tarnscale delete")));
  file.Clear(1);
  EXPECT_FALSE(IsConfigured(file.Scale(1), 1));
  EXPECT_EQ(file.Scale(3).ScaleNumber(), 3);
  for (const char* wrong : {"0", "33", "1.5", ""}) EXPECT_THROW(ScaleNumber(wrong), UsageError);
}

ScaleEvent Weight(int scale, const char* net, double seconds, bool motion = false) {
  ScaleEvent event;
  event.scale = scale;
  event.time = WallTime(std::chrono::milliseconds(static_cast<int>(seconds * 1000)));
  event.reading.net = net;
  event.reading.motion = motion;
  return event;
}

TEST(EventFilter, LeavesReadingsOut) {
  const std::vector<ScaleEvent> events = {Weight(1, "1.0", 0, true), Weight(1, "1.0", 1),
                                          Weight(2, "1.0", 1),       Weight(1, "1.0", 2),
                                          Weight(1, "Error", 3),     Weight(1, "2.0", 3)};
  const auto passed = [&events](const EventFilter::Options& options) {
    EventFilter filter(options);
    std::string text;
    for (const ScaleEvent& event : events) text += filter.Passes(event) ? 'x' : '-';
    return text;
  };
  EXPECT_EQ(passed({}), "xxxxxx");
  EXPECT_EQ(passed({.stable = true}), "-xxx-x");
  EXPECT_EQ(passed({.changes = true}), "xxx-xx");
  EXPECT_EQ(passed({.every = 2}), "x-xx--");
  EXPECT_EQ(passed({.stable = true, .changes = true, .count = 2}), "-xx---");
}

TEST(EventCsv, QuotesWhatNeedsIt) {
  ScaleEvent event = Weight(3, "12,5", 0);
  event.alias = "a \"b\"\n";
  EXPECT_EQ(EventCsv(event),
            "1970-01-01T00:00:00.000Z,NewWeight,3,\"a \"\"b\"\"?\",,,\"12,5\",,"
            "0,0,0,0,0,1,");
}

}  // namespace
}  // namespace tarn::tool
