// Events as lines, and their way to a reader who may be slow.
#include "tools/tarnscale/scale_event.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/event_output.hpp"

namespace tarn::tool {
namespace {

using Kind = ScaleEvent::Kind;
using testing::EndsWith;
using namespace std::chrono_literals;

ScaleEvent Sample(Kind kind) {
  ScaleEvent event;
  event.kind = kind;
  event.time = WallTime(1'717'245'296s + 7ms);
  event.scale = 3;
  event.alias = "Line 3";
  event.reading = {"133.4", "10.0", "123.4", "kg", 133.4, 10, 123.4};
  event.reading.motion = event.reading.inNetMode = true;
  return event;
}

TEST(ScaleEventText, NeverSendsATerminalWhatATextHides) {
  ScaleEvent event = Sample(Kind::NewWeight);
  event.alias = "a\x1b[2J\r\n\u009Bm";  // the last one is a control character beyond ASCII
  event.reading.units = "k\ng";
  EXPECT_EQ(EventWords(event),
            "scale 3 (a?[2J???m): weight gross 133.4 tare 10.0 net 123.4 k?g (motion net)");
  event.kind = Kind::StatusChange;
  event.reading = {.atZero = true, .outOfRange = true, .noData = true};
  EXPECT_THAT(EventWords(event), EndsWith("gross - tare - net - (no-data range zero)"));
  event.kind = Kind::StartFailure;
  event.message = "\x1b[2J";
  EXPECT_THAT(EventWords(event), EndsWith("not started: ?[2J"));
}

TEST(ScaleEventJson, HasTheNamesOfThePublishedMembers) {
  ScaleEvent info = Sample(Kind::InfoMessage);
  info.scale = 0;
  info.message = "Can't open";
  info.style = 48;
  const std::string begin = R"({"time":"2024-06-01T12:34:56.007Z","event":)";
  const std::string scale = R"("scale":3,"alias":"Line 3",)";
  const std::string weights = R"("gross":"133.4","tare":"10.0","net":"123.4","units":"kg",)"
                              R"("grossValue":133.4,"tareValue":10.0,"netValue":123.4)";
  EXPECT_EQ(EventJson(Sample(Kind::NewWeight)),
            begin + R"("NewWeight",)" + scale + weights +
                R"(,"motion":true,"atZero":false,"outOfRange":false,"inNetMode":true,)"
                R"("noDataError":false})");
  EXPECT_EQ(EventJson(Sample(Kind::PrintRecord)),
            begin + R"("PrintRecord",)" + scale + weights + "}");
  EXPECT_EQ(EventJson(Sample(Kind::NewStatus)),
            begin + R"("NewStatus",)" + scale + R"("activityLED":false,"errorLED":false})");
  ScaleEvent record = Sample(Kind::NewDataReady);
  record.fields = {{"Id", "A\x1b"}, {"Id", ""}};
  EXPECT_EQ(EventJson(record), begin + R"("NewDataReady",)" + scale +
                                   R"("fields":[{"name":"Id","value":"A\u001b"},)"
                                   R"({"name":"Id","value":""}]})");
  EXPECT_EQ(EventWords(record), "scale 3 (Line 3): record Id=A?, Id=");
  EXPECT_EQ(EventJson(info), begin + R"("InfoMessage","message":"Can't open","style":48})");
}

TEST(ScaleEventJson, StaysOneLineOfValidJsonWhateverTheTexts) {
  ScaleEvent event = Sample(Kind::UpdateWeight);
  event.alias = "bad \xFF bytes\n\"";
  const std::string line = EventJson(event);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(line)["alias"], "bad \uFFFD bytes\n\"");
}

TEST(ScaleEventTimes, KeepTheirMilliseconds) {
  EXPECT_EQ(UtcText(WallTime(-1ms)), "1969-12-31T23:59:59.999Z");
  EXPECT_THAT(LocalText(WallTime(1'717'245'296s + 89ms)), EndsWith(".089"));
}

/// A reader that takes nothing until it is told to.
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

TEST(EventOutput, ASlowReaderLosesReadingsFirstAndIsToldHowManyOnce) {
  SlowReader reader;
  EventOutput output(true, reader.Function());
  const ScaleEvent reading = Sample(Kind::NewWeight);
  const std::size_t length = EventJson(reading).size() + 1;
  const std::size_t room = EventOutput::kReadingBound / length;
  for (std::size_t i = 0; i < room + 5; ++i) output.Write(reading);
  EXPECT_EQ(reader.waiting.size(), room * length);
  output.Write(Sample(Kind::PrintRecord));
  EXPECT_THAT(reader.waiting, testing::HasSubstr("PrintRecord"));

  // A little room is not enough to go on: a line would say so again and again.
  reader.waiting.resize(EventOutput::kReadingBound - 2 * length);
  output.Write(reading);
  EXPECT_EQ(reader.waiting.size(), EventOutput::kReadingBound - 2 * length);

  reader.waiting.clear();
  output.Write(reading);
  output.Write(reading);
  const std::string readings = EventJson(reading) + "\n" + EventJson(reading) + "\n";
  EXPECT_THAT(reader.waiting, EndsWith(R"("Lost","readings":6,"events":0})"
                                       "\n" +
                                       readings));
  EXPECT_EQ(std::count(reader.waiting.begin(), reader.waiting.end(), '\n'), 3);
}

TEST(EventOutput, WhatWaitsIsBoundedForEventsToo) {
  SlowReader reader;
  EventOutput output(false, reader.Function());
  ScaleEvent info = Sample(Kind::InfoMessage);
  info.message = std::string(EventOutput::kEventBound / 4, 'x');
  for (int i = 0; i < 6; ++i) output.Write(info);
  EXPECT_LE(reader.waiting.size(), EventOutput::kEventBound);
  reader.waiting.clear();
  for (int i = 0; i < 2; ++i) output.TellLost(info.time);
  EXPECT_THAT(reader.waiting, testing::HasSubstr("lost 0 readings and 3 other events"));
  EXPECT_EQ(std::count(reader.waiting.begin(), reader.waiting.end(), '\n'), 1);
}

TEST(LineWriter, GoesOnWhileTheReaderHangsAndWritesEverythingInOrder) {
  std::promise<void> begun;
  std::promise<void> released;
  std::mutex mutex;
  std::string written;
  LineWriter writer([&, first = true](std::string_view bytes) mutable {
    if (first) {
      begun.set_value();
      released.get_future().wait();
    }
    first = false;
    const std::lock_guard lock(mutex);
    written += bytes;
  });
  EXPECT_TRUE(writer.IsIdle());
  EXPECT_TRUE(writer.TryWrite("one ", 8));
  begun.get_future().wait();
  EXPECT_TRUE(writer.TryWrite("two ", 8));
  EXPECT_FALSE(writer.TryWrite("too long", 8));
  EXPECT_FALSE(writer.IsIdle());
  EXPECT_FALSE(writer.Finish(0ms));
  released.set_value();
  EXPECT_TRUE(writer.TryWrite("three", 16));
  ASSERT_TRUE(writer.Finish(60s));
  const std::lock_guard lock(mutex);
  EXPECT_EQ(written, "one two three");
}

}  // namespace
}  // namespace tarn::tool
