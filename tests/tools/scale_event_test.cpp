// Events as lines, and their way to a reader who may be slow.
#include "tools/tarnscale/scale_event.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "tools/tarnscale/event_output.hpp"
#include "tools/tarnscale/line_writer.hpp"

namespace tarn::tool {
namespace {

using Kind = ScaleEvent::Kind;
using namespace std::chrono_literals;

ScaleEvent Sample(Kind kind) {
  ScaleEvent event;
  event.kind = kind;
  event.time = WallTime(1'717'245'296s + 7ms);
  event.scale = 3;
  event.alias = "Line 3";
  event.reading = {.gross = "133.4",
                   .tare = "10.0",
                   .net = "123.4",
                   .units = "kg",
                   .grossValue = 133.4,
                   .tareValue = 10,
                   .netValue = 123.4,
                   .motion = true,
                   .inNetMode = true};
  return event;
}

TEST(ScaleEventText, SaysWhatHappenedInWords) {
  EXPECT_EQ(EventWords(Sample(Kind::NewWeight)),
            "scale 3 (Line 3): weight gross 133.4 tare 10.0 net 123.4 kg (motion net)");

  ScaleEvent print = Sample(Kind::PrintRecord);
  print.reading.motion = print.reading.inNetMode = false;
  EXPECT_EQ(EventWords(print), "scale 3 (Line 3): print gross 133.4 tare 10.0 net 123.4 kg");

  ScaleEvent blank = Sample(Kind::StatusChange);
  blank.reading = {.atZero = true, .outOfRange = true, .noData = true};
  EXPECT_EQ(EventWords(blank),
            "scale 3 (Line 3): status gross - tare - net - (no-data range zero)");

  ScaleEvent lamps = Sample(Kind::NewStatus);
  lamps.errorLed = true;
  EXPECT_EQ(EventWords(lamps), "scale 3 (Line 3): lamps activity off, error on");

  EXPECT_EQ(EventWords(Sample(Kind::ScaleConfigurationChange)),
            "scale 3 (Line 3): configuration changed");

  ScaleEvent failure = Sample(Kind::StartFailure);
  failure.alias = "";
  failure.message = "The port is in use";
  EXPECT_EQ(EventWords(failure), "scale 3: not started: The port is in use");

  ScaleEvent info = Sample(Kind::InfoMessage);
  info.scale = 0;
  info.message = "Error reading registry!";
  EXPECT_EQ(EventWords(info), "info: Error reading registry!");
}

TEST(ScaleEventText, NeverSendsATerminalWhatAnAliasHides) {
  ScaleEvent event = Sample(Kind::NewWeight);
  event.alias = "a\x1b[2J\r\n\xC2\x9Bm";  // the last one is a control character beyond ASCII
  event.reading.units = "k\ng";
  EXPECT_EQ(EventWords(event),
            "scale 3 (a?[2J???m): weight gross 133.4 tare 10.0 net 123.4 k?g (motion net)");
}

TEST(ScaleEventJson, HasTheNamesOfThePublishedMembers) {
  EXPECT_EQ(EventJson(Sample(Kind::NewWeight)),
            R"({"time":"2024-06-01T12:34:56.007Z","event":"NewWeight","scale":3,"alias":"Line 3",)"
            R"("gross":"133.4","tare":"10.0","net":"123.4","units":"kg",)"
            R"("grossValue":133.4,"tareValue":10.0,"netValue":123.4,)"
            R"("motion":true,"atZero":false,"outOfRange":false,"inNetMode":true,)"
            R"("noDataError":false})");
  EXPECT_EQ(EventJson(Sample(Kind::PrintRecord)),
            R"({"time":"2024-06-01T12:34:56.007Z","event":"PrintRecord","scale":3,)"
            R"("alias":"Line 3","gross":"133.4","tare":"10.0","net":"123.4","units":"kg",)"
            R"("grossValue":133.4,"tareValue":10.0,"netValue":123.4})");
  EXPECT_EQ(EventJson(Sample(Kind::NewStatus)),
            R"({"time":"2024-06-01T12:34:56.007Z","event":"NewStatus","scale":3,)"
            R"("alias":"Line 3","activityLED":false,"errorLED":false})");

  ScaleEvent info = Sample(Kind::InfoMessage);
  info.scale = 0;
  info.message = "Can't open";
  info.style = 48;
  EXPECT_EQ(EventJson(info),
            R"({"time":"2024-06-01T12:34:56.007Z","event":"InfoMessage","message":"Can't open",)"
            R"("style":48})");
}

TEST(ScaleEventJson, StaysOneLineOfValidJsonWhateverTheTexts) {
  ScaleEvent event = Sample(Kind::UpdateWeight);
  event.alias = "bad \xFF bytes\n\"";
  const std::string line = EventJson(event);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(line)["alias"], "bad \xEF\xBF\xBD bytes\n\"");
}

TEST(ScaleEventTimes, KeepTheirMilliseconds) {
  EXPECT_EQ(UtcText(WallTime(0s)), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(UtcText(WallTime(-1ms)), "1969-12-31T23:59:59.999Z");
  const std::string local = LocalText(WallTime(1'717'245'296s + 89ms));
  EXPECT_THAT(local, testing::EndsWith(".089"));
  EXPECT_EQ(local.size(), std::string_view("2024-06-01 12:34:56.089").size());
}

/// A reader that takes nothing until it is told to.
class SlowReader {
 public:
  bool Take(std::string_view bytes, std::size_t bound) {
    if (waiting.size() + bytes.size() > bound) return false;
    waiting += bytes;
    return true;
  }
  EventOutput::TryWrite Function() {
    return [this](std::string_view bytes, std::size_t bound) { return Take(bytes, bound); };
  }
  std::string waiting;
};

/// The names of the events in JSON lines.
std::vector<std::string> EventNames(const std::string& text) {
  std::vector<std::string> names;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    names.push_back(nlohmann::json::parse(line)["event"]);
  }
  return names;
}

TEST(EventOutput, ASlowReaderLosesReadingsFirstAndIsToldHowManyOnce) {
  SlowReader reader;
  EventOutput output(true, reader.Function());
  const ScaleEvent reading = Sample(Kind::NewWeight);
  const std::size_t length = EventJson(reading).size() + 1;
  const std::size_t room = EventOutput::kReadingBound / length;
  for (std::size_t i = 0; i < room + 5; ++i) output.Write(reading);
  EXPECT_EQ(reader.waiting.size(), room * length);
  output.Write(Sample(Kind::PrintRecord));
  EXPECT_EQ(EventNames(reader.waiting).back(), "PrintRecord");

  // A little room is not enough to go on: a line would say so again and again.
  reader.waiting.resize(EventOutput::kReadingBound - 2 * length);
  output.Write(reading);
  EXPECT_EQ(reader.waiting.size(), EventOutput::kReadingBound - 2 * length);

  reader.waiting.clear();
  output.Write(reading);
  output.Write(reading);
  EXPECT_THAT(EventNames(reader.waiting), testing::ElementsAre("Lost", "NewWeight", "NewWeight"));
  EXPECT_THAT(reader.waiting, testing::HasSubstr(R"("readings":6,"events":0)"));
}

TEST(EventOutput, WhatWaitsIsBoundedForEventsToo) {
  SlowReader reader;
  EventOutput output(false, reader.Function());
  ScaleEvent info = Sample(Kind::InfoMessage);
  info.message = std::string(EventOutput::kEventBound / 4, 'x');
  for (int i = 0; i < 6; ++i) output.Write(info);
  EXPECT_LE(reader.waiting.size(), EventOutput::kEventBound);
  reader.waiting.clear();
  output.TellLost(info.time);
  EXPECT_THAT(reader.waiting, testing::HasSubstr("lost 0 readings and 3 other events"));
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
