// How the monitor draws its rows, and what a terminal is sent to show them.
#include "tools/tarnscale/monitor_view.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/screen.hpp"

namespace tarn::tool {
namespace {

MonitorSnapshot Sample() {
  MonitorSnapshot snapshot{.title = "plant.scl", .selected = 1, .prompt = "1_"};
  snapshot.rows = {{.number = 1,
                    .alias = "Br\u00FCcke",
                    .connection = "COM1 9600,e,7,2",
                    .protocol = "continuous standard",
                    .reading = {.gross = "133.4", .tare = "10.0", .net = "123.4", .units = "kg"},
                    .activityLed = true,
                    .readingsPerSecond = 9.96},
                   {.number = 12, .errorLed = true, .condition = "disabled"}};
  snapshot.rows[0].reading.motion = true;
  snapshot.events = {"one", "two", "three"};
  return snapshot;
}

TEST(MonitorView, DrawsTheTableTheNewestEventsAndThePrompt) {
  MonitorSnapshot snapshot = Sample();
  const Drawing drawing = DrawMonitor(snapshot, {.columns = 120, .rows = 8});
  const std::string blanks(82, ' ');
  EXPECT_THAT(drawing.lines,
              testing::ElementsAre(
                  "plant.scl   2 scales, 1 with errors",
                  "  # Alias  Connection         Protocol                  Gross      Tare       "
                  "Net unit State         Lamps          /s",
                  "  1 Br\u00FCcke COM1 9600,e,7,2    continuous standard       133.4      10.0    "
                  " 123.4 kg   motion        active       10.0",
                  ">12" + blanks + "  disabled             ERR       ", "", "two", "three", "1_"));
  EXPECT_EQ(drawing.selectedLine, 3U);
  EXPECT_EQ(DrawMonitor(snapshot, {50, 9}).lines[1],
            "  # Alias      Gross       Net unit State        ");
  EXPECT_EQ(DrawMonitor(snapshot, {30, 9}).lines[1], "  #       Net State        ");

  snapshot.rows[0].reading.quality = Quality::Stale;
  EXPECT_EQ(DrawMonitor(snapshot, {50, 9}).lines[2],
            "  1 Br\u00FCcke   (133.4)   (123.4) kg   stale motion ");

  snapshot.title = "a\x1b[2J";
  snapshot.rows[0].alias = "b\nc";
  snapshot.events = {"d\re"};
  for (const std::string& line : DrawMonitor(snapshot, {120, 9}).lines) {
    EXPECT_EQ(line.find_first_of("\x1b\n\r"), std::string::npos) << line;
  }
}

TEST(MonitorView, KeepsAnAnswerAmongRecordsAndShowsReasonsWhole) {
  MonitorSnapshot snapshot{.title = "t"};
  snapshot.rows.assign(32, MonitorRow{.number = 1});
  snapshot.events = {"10:00:00  an older line", "10:00:01  Z sent"};
  snapshot.passing.assign(32, "10:00:02  a record");
  const auto lines = DrawMonitor(snapshot, {80, 24}).lines;
  EXPECT_EQ(lines.front(), "t   18 of 32 scales");
  EXPECT_THAT(lines, testing::Contains("10:00:01  Z sent"));
  snapshot.rows.resize(1);
  snapshot.events = {"10:00:01  a reason that is longer than the screen is wide"};
  EXPECT_THAT(DrawMonitor(snapshot, {40, 12}).lines,
              testing::Contains("          the screen is wide"));
}

TEST(MonitorView, FitsEveryScreenAndShowsTheSelectedRow) {
  MonitorSnapshot snapshot = Sample();
  snapshot.rows.assign(32, snapshot.rows[0]);
  snapshot.events.assign(100, "an event that is longer than many a screen is wide");
  for (int columns = 1; columns <= 130; columns += 3) {
    for (int rows = 1; rows <= 50; ++rows) {
      snapshot.selected = static_cast<std::size_t>(columns + rows) % 32;
      const Drawing drawing = DrawMonitor(snapshot, {columns, rows});
      ASSERT_EQ(drawing.lines.size(), rows > 3 ? static_cast<std::size_t>(rows) : 1U);
      for (const std::string& line : drawing.lines) {
        ASSERT_LE(DisplayWidth(line), static_cast<std::size_t>(columns));
      }
      if (rows <= 3) continue;
      ASSERT_LT(drawing.selectedLine, drawing.lines.size());
      ASSERT_EQ(drawing.lines[drawing.selectedLine].front(), '>');
    }
  }
}

TEST(Screen, SendsOnlyWhatChanged) {
  Screen screen;
  Drawing drawing{.lines = {"top", "row", "full!"}, .selectedLine = 1};
  const Console::Size size{5, 3};
  EXPECT_EQ(screen.Update(drawing, size),
            "\x1b[2J\x1b[1;1Htop\x1b[K\x1b[2;1H\x1b[7mrow\x1b[0m\x1b[K\x1b[3;1Hfull!");
  EXPECT_EQ(screen.Update(drawing, size), "");
  drawing.lines[0] = "new";
  drawing.selectedLine = Drawing::kNoLine;
  EXPECT_EQ(screen.Update(drawing, size), "\x1b[1;1Hnew\x1b[K\x1b[2;1Hrow\x1b[K");
  EXPECT_THAT(screen.Update(drawing, {6, 3}), testing::HasSubstr("\x1b[2J\x1b[1;1Hnew"));
}

}  // namespace
}  // namespace tarn::tool
