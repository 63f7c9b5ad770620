#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/fakes/fake_host.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/line_tape.hpp"
#include "tools/tarnscale/replay.hpp"

namespace tarn::tool {
namespace {

std::string ContentsOf(const std::filesystem::path& name) {
  std::ostringstream text;
  text << std::ifstream(name, std::ios::binary).rdbuf();
  return text.str();
}

/// Each pair in the folder is a case; ./tarnscale replay --fast makes the second file.
TEST(Captures, GiveTheirEventsHoweverTheyAreCut) {
  FakeLocale locale;
  int found = 0;
  for (const auto& file : std::filesystem::directory_iterator(TARN_TEST_DATA "/captures")) {
    if (file.path().extension() != ".capture") continue;
    SCOPED_TRACE(file.path().filename());
    ++found;
    const Capture capture = ReadCapture(ContentsOf(file.path()));
    auto expected = file.path();
    const std::string events = ContentsOf(expected.replace_extension(".expected"));
    EXPECT_EQ(ReplayText(capture, {}, locale), events);
    EXPECT_EQ(FirstCutThatMatters(capture, {}, locale), std::nullopt);
  }
  EXPECT_GE(found, 5);
}

TEST(Captures, OtherSettingsTakeThePlaceOfTheCapturedOnes) {
  FakeLocale locale;
  const Capture capture = ReadCapture(ContentsOf(TARN_TEST_DATA "/captures/continuous.capture"));
  ReplayOptions options;
  options.settings = {"type=short"};
  EXPECT_EQ(ReplayText(capture, options, locale).find("123.4"), std::string::npos);
  options.settings = {"corrected=maybe"};
  EXPECT_THROW(ReplayText(capture, options, locale), UsageError);
}

TEST(Captures, AreReadUpToTheLineThatIsWrong) {
  const std::string title = "# tarnscale capture 1\n";
  const struct {
    std::string text;
    std::size_t pieces;  ///< or that line is wrong
    bool right = true;
  } cases[] = {
      {"", 0},
      {"# any\n\n  0.000 < 02 0d  |..|\r\n", 1},
      {"0.000 <\n1.999 > 5A\n", 2},
      {"5.000 < 41\n1.000 < 42\n", 2},    // a clock that was set back
      {"0.000 < 41  |A|\n0.001 < 4", 1},  // cut off
      {"0.000 < 411\n", 2, false},
      {"0.000 < 4G\n", 2, false},
      {"-1.000 < 41\n", 2, false},
      {"99999999999.000 < 41\n", 2, false},
      {"0.000 41\n", 2, false},
      {"scale 32\nscale 33\n", 3, false},
      {"set alias\n", 2, false},
      {"anything\n", 2, false},
  };
  for (const auto& c : cases) {
    try {
      const Capture capture = ReadCapture(title + c.text);
      EXPECT_TRUE(c.right) << c.text;
      EXPECT_EQ(capture.pieces.size(), c.pieces) << c.text;
    } catch (const Failure& failure) {
      EXPECT_FALSE(c.right) << failure.what();
      const std::string place = "line " + std::to_string(c.pieces) + " of the capture";
      EXPECT_TRUE(std::string_view(failure.what()).starts_with(place)) << failure.what();
    }
  }
  EXPECT_THROW(ReadCapture("scale 1\n"), Failure);
  EXPECT_EQ(ReadCapture(title + "set delimiter= \r\n").settings[0], "delimiter= ");
}

TEST(LineTape, KeepsTheLatestBytesOnly) {
  std::int64_t now = 0;
  std::size_t seen = 0;
  LineTape tape([&] { return now; },
                [&](const CapturedPiece& piece) { seen += piece.bytes.size(); });
  const auto kept = [&] { return ReadCapture("# tarnscale capture 1\n" + tape.Text()).pieces; };
  for (int i = 0; i < 10'000; ++i, ++now) tape.Arrived("x");
  EXPECT_EQ(kept().size(), LineTape::kKept / (1 + LineTape::kPieceCost));
  EXPECT_EQ(kept().back().time, 9999);
  tape.Sent(std::string(2 * LineTape::kKept, 'y'));
  EXPECT_EQ(kept().size(), 1U);
  EXPECT_FALSE(kept()[0].arrived);
  EXPECT_EQ(seen, 10'000 + 2 * LineTape::kKept);
}

}  // namespace
}  // namespace tarn::tool
