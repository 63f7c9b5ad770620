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
  MonitorRow first;
  first.number = 1;
  first.alias =
      "Br\xC3\xBC"
      "cke";
  first.connection = "COM1 9600,e,7,2";
  first.protocol = "continuous standard";
  first.reading = {.gross = "133.4",
                   .tare = "10.0",
                   .net = "123.4",
                   .units = "kg",
                   .motion = true,
                   .inNetMode = true};
  first.activityLed = true;
  first.readingsPerSecond = 9.96;
  MonitorRow second;
  second.number = 12;
  second.connection = "none";
  second.protocol = "none";
  second.errorLed = true;
  second.condition = "disabled";
  return {.title = "plant.scl",
          .rows = {first, second},
          .selected = 1,
          .events = {"one", "two"},
          .prompt = {}};
}

TEST(MonitorView, DrawsTableEventsAndKeys) {
  const Drawing drawing = DrawMonitor(Sample(), {.columns = 120, .rows = 9});
  EXPECT_THAT(
      drawing.lines,
      ElementsAre(
          "plant.scl",
          "  # Alias  Connection         Protocol                Gross      Tare       Net Un  "
          "State         Lamps     Rd/s",
          "  1 Br\xC3\xBC"
          "cke COM1 9600,e,7,2    continuous standard     133.4      10.0     123.4 kg  "
          "motion net    act       10.0",
          ">12        none               none                                                  "
          "disabled          ERR       ",
          "", "one", "two", "", HasSubstr("q quit")));
  EXPECT_EQ(drawing.selectedLine, 3U);
}

TEST(MonitorView, ANarrowScreenKeepsWhatMattersMost) {
  const auto header = [](int columns) {
    return DrawMonitor(Sample(), {.columns = columns, .rows = 9}).lines[1];
  };
  EXPECT_EQ(header(80),
            "  # Alias      Gross      Tare       Net Un  State         Lamps     Rd/s");
  EXPECT_EQ(header(50), "  # Alias      Gross       Net Un  State        ");
  EXPECT_EQ(header(30), "  #       Net State        ");
  EXPECT_EQ(header(10), "  #");
}

TEST(MonitorView, FitsEveryScreenAndShowsTheSelectedRow) {
  MonitorSnapshot snapshot = Sample();
  snapshot.rows.assign(32, snapshot.rows[0]);
  snapshot.events.assign(100,
                         "an event that is longer than many a screen is wide, as they all are");
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

TEST(MonitorView, ShowsTheNewestEventsAndThePrompt) {
  MonitorSnapshot snapshot = Sample();
  snapshot.events = {"e1", "e2", "e3", "e4"};
  snapshot.prompt = "Preset tare: 1_";
  const Drawing drawing = DrawMonitor(snapshot, {80, 8});
  EXPECT_THAT(drawing.lines, ElementsAre("plant.scl", HasSubstr("Alias"), HasSubstr(" 1 "),
                                         HasSubstr("12"), "", "e3", "e4", "Preset tare: 1_"));
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
