// What goes over a simulated line: commands, pace, faults.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/tarnsim/fault_injector.hpp"
#include "tools/tarnsim/line_pacer.hpp"
#include "tools/tarnsim/terminal_command.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;

TEST(CommandReader, FindsCommandsByteByByte) {
  const std::string longest(CommandReader::kLongestNumber, '1');
  const std::pair<std::string, std::vector<TerminalCommand>> cases[] = {
      {"CTZP", {{Key::Clear}, {Key::Tare}, {Key::Zero}, {Key::Print}}},
      {"-3T12.5TT", {{Key::PresetTare, -3}, {Key::PresetTare, 12.5}, {Key::Tare}}},
      {"1E-03T12.5C", {{Key::PresetTare, 0.001}, {Key::Clear}}},
      {"12 5T12\rT", {{Key::PresetTare, 5}, {Key::Tare}}},
      {"1.2.3TT", {{Key::Tare}}},
      {"-T.T1E999Tctzp\x02\xFF\r\n", {}},
      {longest + "T" + longest + "1T", {{Key::PresetTare, 1.1111111111111111e23}}},
      {std::string(100'000, '7') + "T" + "5T", {{Key::PresetTare, 5}}}};
  for (const auto& [bytes, expected] : cases) {
    CommandReader reader;
    std::vector<TerminalCommand> commands;
    for (const char byte : bytes) {
      if (const auto command = reader.Take(byte)) commands.push_back(*command);
    }
    EXPECT_EQ(commands, expected) << bytes.substr(0, 40);
  }
}

TEST(LinePacer, SendsNothingBeforeTheLineIsFree) {
  LinePacer pacer(1);
  std::string carried;
  pacer.Send("abc", 10, 8);
  pacer.Carry(13, carried);
  pacer.Send("de", 14, 1);
  pacer.Carry(18.5, carried);
  EXPECT_EQ(carried, "abc");
}

std::string Spoilt(const FaultOptions& options, int frames = 1, std::uint64_t seed = 1) {
  FaultInjector faults(options, 7, seed);
  std::string bytes;
  for (int i = 0; i < frames; ++i) bytes += faults.Spoil("ABCDEFGH", i * 100);
  return bytes;
}

TEST(FaultInjector, DoesEachFaultByItsChanceAndSeed) {
  const std::string frame = "ABCDEFGH";
  EXPECT_EQ(Spoilt({}), frame);
  EXPECT_EQ(Spoilt({.drop = 1}) + Spoilt({.silence = 1}), "");
  EXPECT_EQ(Spoilt({.repeat = 1}), "AABBCCDDEEFFGGHH");
  const std::string cut = Spoilt({.cut = 1});
  EXPECT_LT(cut.size(), frame.size());
  EXPECT_TRUE(frame.starts_with(cut));
  const std::string burst = Spoilt({.burst = 1});
  EXPECT_GT(burst.size(), frame.size());
  EXPECT_LE(burst.size(), frame.size() + FaultInjector::kLongestBurst);
  EXPECT_TRUE(burst.ends_with(frame));
  const std::string noise = Spoilt({.noise = 1});
  ASSERT_EQ(noise.size(), 2 * frame.size());
  for (std::size_t i = 0; i < frame.size(); ++i) EXPECT_EQ(noise[2 * i + 1], frame[i]);

  const FaultOptions all{.noise = 0.05, .burst = 0.1, .drop = 0.05, .repeat = 0.05, .cut = 0.1};
  EXPECT_EQ(Spoilt(all, 200), Spoilt(all, 200));
  EXPECT_NE(Spoilt(all, 200), Spoilt(all, 200, 2));
  for (const char c : Spoilt({.burst = 1}, 500)) ASSERT_GE(c, 0) << "seven data bits";
  EXPECT_NEAR(static_cast<double>(Spoilt({.drop = 0.1}, 2000).size()), 0.9 * 16'000, 160);
  EXPECT_NEAR(static_cast<double>(Spoilt({.silence = 0.25}, 2000).size()), 0.75 * 16'000, 800);
}

TEST(Schedule, HoldsForItsLengthOnceAPeriod) {
  const Schedule schedule = ParseSchedule("30s/500ms");
  for (const double now : {30'000, 30'499, 60'000}) EXPECT_TRUE(schedule.Holds(now)) << now;
  for (const double now : {0, 499, 29'999, 30'500}) EXPECT_FALSE(schedule.Holds(now)) << now;
  for (const char* bad : {"30s", "5s/30s", "5s/5s", "0/0", "30s/0", "a/b", "/"}) {
    EXPECT_THROW(ParseSchedule(bad), UsageError) << bad;
  }
}

}  // namespace
}  // namespace tarn::sim
