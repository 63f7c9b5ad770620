#include "tools/tarnscale/monitor_view.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/screen.hpp"

namespace tarn::tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

MonitorSnapshot Sample() {
  MonitorSnapshot snapshot;
  snapshot.title = "plant.scl";
  snapshot.rows.resize(2);
  MonitorRow& first = snapshot.rows[0];
  first.number = 1;
  first.alias = "Br\u00FCcke";
  first.connection = "COM1 9600,e,7,2";
  first.protocol = "continuous standard";
  first.reading = {.gross = "133.4", .tare = "10.0", .net = "123.4", .units = "kg"};
  first.reading.motion = first.activityLed = true;
  first.readingsPerSecond = 9.96;
  MonitorRow& second = snapshot.rows[1];
  second.number = 12;
  second.errorLed = true;
  second.condition = "disabled";
  snapshot.selected = 1;
  snapshot.events = {"one", "two", "three"};
  snapshot.prompt = "1_";
  return snapshot;
}

TEST(MonitorView, DrawsTheTableTheNewestEventsAndThePrompt) {
  const Drawing drawing = DrawMonitor(Sample(), {.columns = 120, .rows = 8});
  EXPECT_THAT(
      drawing.lines,
      ElementsAre(
          "plant.scl",
          "  # Alias  Connection         Protocol                  Gross      Tare       Net Un  "
          "State         Lamps     Rd/s",
          "  1 Br\u00FCcke COM1 9600,e,7,2    continuous standard       133.4      10.0     123.4 "
          "kg "
          " "
          "motion        act       10.0",
          ">12                                                                                   "
          "disabled          ERR       ",
          "", "two", "three", "1_"));
  EXPECT_EQ(drawing.selectedLine, 3U);
}

TEST(MonitorView, ANarrowScreenKeepsWhatMattersMost) {
  EXPECT_EQ(DrawMonitor(Sample(), {50, 9}).lines[1],
            "  # Alias      Gross       Net Un  State        ");
  EXPECT_EQ(DrawMonitor(Sample(), {30, 9}).lines[1], "  #       Net State        ");
}

TEST(MonitorView, FitsEveryScreenAndShowsTheSelectedRow) {
  MonitorSnapshot snapshot = Sample();
  snapshot.rows.assign(32, snapshot.rows[0]);
  snapshot.events.assign(100, "an event that is longer than many a screen is wide");
  for (int columns = 1; columns <= 130; columns += 3) {
    for (int rows = 1; rows <= 50; ++rows) {
      for (const std::size_t selected : {0U, 15U, 31U}) {
        snapshot.selected = selected;
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
}

TEST(MonitorView, LetsNoControlCharacterThrough) {
  MonitorSnapshot snapshot = Sample();
  snapshot.title = "a\x1b[2J";
  snapshot.rows[0].alias = "b\nc";
  snapshot.events = {"d\re"};
  for (const std::string& line : DrawMonitor(snapshot, {120, 9}).lines) {
    EXPECT_EQ(line.find_first_of("\x1b\n\r"), std::string::npos) << line;
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
  EXPECT_EQ(screen.Update(drawing, size), "\x1b[1;1Hnew\x1b[K");
  drawing.selectedLine = Drawing::kNoLine;
  EXPECT_EQ(screen.Update(drawing, size), "\x1b[2;1Hrow\x1b[K");
  EXPECT_THAT(screen.Update(drawing, {6, 3}), HasSubstr("\x1b[2J\x1b[1;1Hnew"));
}

}  // namespace
}  // namespace tarn::tool
