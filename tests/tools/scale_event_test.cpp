// Events as lines, and their way to a reader who may be slow.
#include "outlets/scale_event.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <string>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/event_output.hpp"

namespace tarn::tool {
namespace {

using Kind = ScaleEvent::Kind;
using testing::EndsWith;
using testing::HasSubstr;
using namespace std::chrono_literals;

ScaleEvent Sample(Kind kind) {
  ScaleEvent event;
  event.kind = kind;
  event.time = WallTime(1'717'245'296s + 7ms);
  event.scale = 3;
  event.alias = "Line 3";
  event.reading = {"133.4", "10.0", "123.4", "kg", 133.4, 10, 123.4};
  event.reading.motion = event.reading.inNetMode = true;
  event.fields = {{"Id", "A\x1b"}, {"Id", ""}};
  event.message = "bad \xFF bytes\n\"";
  event.style = 48;
  event.origin = PrintOrigin::Detection;
  return event;
}

TEST(ScaleEventText, NeverSendsATerminalWhatATextHides) {
  ScaleEvent event = Sample(Kind::NewWeight);
  event.alias = "a\x1b[2J\r\n\u009Bm";  // the last one is a control character beyond ASCII
  event.reading.units = "k\ng";
  EXPECT_EQ(EventWords(event),
            "Scale 3 (a?[2J???m): weight gross 133.4 tare 10.0 net 123.4 k?g (motion net)");
  event.alias = "";
  event.kind = Kind::StatusChange;
  event.reading = {.atZero = true, .outOfRange = true, .noData = true};
  EXPECT_EQ(EventWords(event), "Scale 3: status gross - tare - net - (no-data out of range zero)");
  event.kind = Kind::NewDataReady;
  EXPECT_EQ(EventWords(event), "Scale 3: record Id=A?, Id=");
  event.kind = Kind::StartFailure;
  EXPECT_THAT(EventWords(event), HasSubstr("Scale 3: not started: bad"));
  EXPECT_EQ(EventWords(event).find('\n'), std::string::npos);
  EXPECT_EQ(UtcText(WallTime(-1ms)), "1969-12-31T23:59:59.999Z");
  EXPECT_THAT(LocalText(WallTime(1'717'245'296s + 89ms)), EndsWith(".089"));
}

TEST(ScaleEventJson, HasTheNamesOfThePublishedMembersAndCanBeReadBack) {
  const std::string weights = R"("gross":"133.4","tare":"10.0","net":"123.4","units":"kg",)"
                              R"("grossValue":133.4,"tareValue":10.0,"netValue":123.4)";
  const struct {
    Kind kind;
    std::string name;
    std::string members;
  } cases[] = {
      {Kind::NewWeight, "NewWeight",
       weights + R"(,"motion":true,"atZero":false,"outOfRange":false,"inNetMode":true,)"
                 R"("noDataError":false,"valid":true,)"},
      {Kind::PrintRecord, "PrintRecord", weights + R"(,"valid":true,"origin":"detection",)"},
      {Kind::NewStatus, "NewStatus", R"("activityLED":false,"errorLED":false,)"},
      {Kind::NewDataReady, "NewDataReady",
       R"("fields":[{"name":"Id","value":"A\u001b"},{"name":"Id","value":""}],)"},
      {Kind::TimeoutError, "TimeoutError", ""}};
  for (const auto& c : cases) {
    const std::string line = EventJson(Sample(c.kind));
    EXPECT_EQ(line, R"({"time":"2024-06-01T12:34:56.007Z","event":")" + c.name +
                        R"(","scale":3,"alias":"Line 3",)" + c.members +
                        "\"message\":\"bad \uFFFD bytes\\n\\\"\"}");
    auto read = EventOfJson(line);
    ASSERT_TRUE(read) << line;
    read->time = Sample(c.kind).time;
    EXPECT_EQ(EventJson(*read), line);
  }
  ScaleEvent condition = Sample(Kind::Condition);
  condition.reading.quality = Quality::Stale;
  condition.reading.reason = "NoByte";
  condition.reading.conditionWords = "no byte for 12 s";
  condition.reading.age = 12'345;
  condition.counters.frames = 7;
  const std::string line = EventJson(condition);
  EXPECT_THAT(line, HasSubstr(R"("quality":"stale","reason":"no byte for 12 s",)"
                              R"("reasonCode":"NoByte","ageMs":12345,)"));
  EXPECT_THAT(line, HasSubstr(R"("frames":7,)"));
  auto again = EventOfJson(line);
  ASSERT_TRUE(again);
  again->time = condition.time;
  EXPECT_EQ(EventJson(*again), line);
  EXPECT_THAT(EventText(condition),
              EndsWith("Scale 3 (Line 3): condition stale: no byte for 12 s"));
  ScaleEvent info = Sample(Kind::InfoMessage);
  info.scale = 0;
  EXPECT_THAT(EventJson(info), HasSubstr(R"("event":"InfoMessage","message":"bad)"));
  EXPECT_THAT(EventJson(info), EndsWith(R"(,"style":48})"));
  for (const char* wrong :
       {"", "a text", "[]", "{", "{}", R"({"event":"X"})", R"({"event":"Lost","scale":"3"})",
        R"({"event":"NewDataReady","fields":[{"name":"Id"}]})"}) {
    EXPECT_FALSE(EventOfJson(wrong)) << wrong;
  }
}

/// A reader that takes nothing; the test takes what waits.
struct SlowReader {
  EventOutput::TryWrite Function() {
    return [this](std::string_view bytes, std::size_t bound) {
      const bool fits = waiting.size() + bytes.size() <= bound;
      if (fits) waiting += bytes;
      return fits;
    };
  }
  std::string waiting;
};

TEST(EventOutput, ASlowReaderLosesReadingsFirstAndLearnsHowManyOnce) {
  SlowReader reader;
  EventOutput output(EventJson, reader.Function());
  const ScaleEvent reading = Sample(Kind::NewWeight);
  const std::string line = EventJson(reading) + "\n";
  const std::size_t room = EventOutput::kReadingBound / line.size();
  for (std::size_t i = 0; i < room + 5; ++i) output.Write(reading);
  EXPECT_EQ(reader.waiting.size(), room * line.size());
  output.Write(Sample(Kind::PrintRecord));
  EXPECT_THAT(reader.waiting, HasSubstr("PrintRecord"));

  // A little room is not enough to go on: a line would say so again and again.
  reader.waiting.resize(EventOutput::kReadingBound - 2 * line.size());
  output.Write(reading);
  EXPECT_EQ(reader.waiting.size(), EventOutput::kReadingBound - 2 * line.size());
  reader.waiting.clear();
  for (int i = 0; i < 2; ++i) output.Write(reading);
  EXPECT_THAT(reader.waiting, EndsWith("\"Lost\",\"readings\":6,\"events\":0}\n" + line + line));
  EXPECT_EQ(std::count(reader.waiting.begin(), reader.waiting.end(), '\n'), 3);

  // Other events are bounded too.
  reader.waiting.clear();
  ScaleEvent info = Sample(Kind::InfoMessage);
  info.message = std::string(EventOutput::kEventBound / 4, 'x');
  for (int i = 0; i < 6; ++i) output.Write(info);
  EXPECT_LE(reader.waiting.size(), EventOutput::kEventBound);
  reader.waiting.clear();
  for (int i = 0; i < 2; ++i) output.ReportLost(info.time);
  EXPECT_THAT(reader.waiting, EndsWith("\"Lost\",\"readings\":0,\"events\":3}\n"));
  EXPECT_EQ(std::count(reader.waiting.begin(), reader.waiting.end(), '\n'), 1);
}

TEST(LineWriter, GoesOnWhileTheReaderHangsAndWritesEverythingInOrder) {
  std::promise<void> begun;
  std::promise<void> released;
  std::string written;
  const auto sink = [&, first = true](std::string_view bytes) mutable {
    if (std::exchange(first, false)) {
      begun.set_value();
      released.get_future().wait();
    }
    written += bytes;
  };
  // The reader has room for three bytes; it is asked only while nothing waits.
  std::size_t room = 3;
  LineWriter writer(sink, [&](std::string_view bytes) {
    const std::size_t taken = std::min(std::exchange(room, 0), bytes.size());
    written += bytes.substr(0, taken);
    return taken;
  });
  EXPECT_TRUE(writer.IsIdle());
  EXPECT_TRUE(writer.TryWrite("one ", 8));
  begun.get_future().wait();
  room = 3;
  EXPECT_TRUE(writer.TryWrite("two ", 8));
  EXPECT_FALSE(writer.TryWrite("too long", 8));
  EXPECT_FALSE(writer.IsIdle());
  EXPECT_FALSE(writer.Finish(0ms));
  released.set_value();
  EXPECT_TRUE(writer.TryWrite("three", 16));
  ASSERT_TRUE(writer.Finish(60s));
  EXPECT_EQ(written, "one two three");
}

}  // namespace
}  // namespace tarn::tool
