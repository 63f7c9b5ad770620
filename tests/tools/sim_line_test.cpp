// What goes over a simulated line: commands, pace, faults.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/serial_settings.hpp"
#include "tools/tarnsim/fault_injector.hpp"
#include "tools/tarnsim/line_pacer.hpp"
#include "tools/tarnsim/terminal_command.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;

TEST(CommandReader, FindsCommandsByteByByte) {
  struct Case {
    std::string bytes;
    std::vector<TerminalCommand> commands;
  };
  const std::string longest(CommandReader::kLongestNumber, '1');
  const std::vector<Case> cases{
      {"CTZP", {{Key::Clear}, {Key::Tare}, {Key::Zero}, {Key::Print}}},
      {"12.5T", {{Key::PresetTare, 12.5}}},
      {"0T", {{Key::PresetTare, 0}}},
      {"-3T", {{Key::PresetTare, -3}}},
      {"1E-03T", {{Key::PresetTare, 0.001}}},
      {"12.5TT", {{Key::PresetTare, 12.5}, {Key::Tare}}},
      {"12.5C", {{Key::Clear}}},
      {"12 5T", {{Key::PresetTare, 5}}},
      {"12\rT", {{Key::Tare}}},
      {"1.2.3T", {}},
      {"1.2.3TT", {{Key::Tare}}},
      {"-T", {}},
      {".T", {}},
      {"1E999T", {}},
      {"ctzp\x02\xFF\r\n", {}},
      {longest + "T", {{Key::PresetTare, 1.1111111111111111e23}}},
      {longest + "1T", {}},
      {std::string(100'000, '7') + "T" + "5T", {{Key::PresetTare, 5}}},
  };
  for (const Case& c : cases) {
    CommandReader reader;
    std::vector<TerminalCommand> commands;
    for (const char byte : c.bytes) {
      if (const auto command = reader.Take(byte)) commands.push_back(*command);
    }
    EXPECT_EQ(commands, c.commands) << c.bytes.substr(0, 40);
  }
}

TEST(LinePacer, CarriesEachCharacterInItsTime) {
  // Start, seven data, parity and two stop bits: 11 / 9600 s.
  const double characterTime = ParseSerialSettings("9600,e,7,2").CharacterTime();
  ASSERT_NEAR(characterTime, 1.14583, 0.00001);
  LinePacer pacer(characterTime);
  pacer.Send("0123456789", 100, 10);
  EXPECT_NEAR(pacer.FreeAt(), 111.4583, 0.0001);

  struct Case {
    double now;
    const char* carried;
    bool busy;
  };
  const std::vector<Case> cases{
      {99, "", true},
      {101.14, "", true},
      {101.15, "0", true},
      {105.72, "0123", true},
      {105.73, "01234", true},
      {111.45, "012345678", true},
      {111.46, "0123456789", false},
      {200, "0123456789", false},
  };
  std::string carried;
  for (const Case& c : cases) {
    pacer.Carry(c.now, carried);
    EXPECT_EQ(carried, c.carried) << c.now;
    EXPECT_EQ(pacer.Busy(), c.busy) << c.now;
  }
}

TEST(LinePacer, StartsBehindWhatItSendsAndKeepsTheLineTaken) {
  LinePacer pacer(1);
  std::string carried;
  pacer.Send("abc", 10, 8);
  pacer.Carry(13, carried);
  EXPECT_FALSE(pacer.Busy());
  EXPECT_EQ(pacer.FreeAt(), 18) << "the line time of the frame, whatever was lost of it";
  pacer.Send("de", 14, 1);
  pacer.Carry(18.5, carried);
  EXPECT_EQ(carried, "abc");
  pacer.Carry(19, carried);
  EXPECT_EQ(carried, "abcd");
  pacer.Abandon();
  pacer.Carry(30, carried);
  EXPECT_EQ(carried, "abcd");
  EXPECT_FALSE(pacer.Busy());
}

std::string Spoilt(const FaultOptions& options, int frames, std::uint64_t seed = 1) {
  FaultInjector faults(options, 7, seed);
  std::string bytes;
  for (int i = 0; i < frames; ++i) bytes += faults.Spoil("\x02:0 001234000000\r", i * 100);
  return bytes;
}

TEST(FaultInjector, DoesEachFaultWhenItIsCertain) {
  const std::string frame = "ABCDEFGH";
  const auto spoil = [&frame](const FaultOptions& options) {
    return FaultInjector(options, 7, 5).Spoil(frame, 0);
  };
  EXPECT_EQ(spoil({}), frame);
  EXPECT_EQ(spoil({.drop = 1}), "");
  EXPECT_EQ(spoil({.silence = 1}), "");
  EXPECT_EQ(spoil({.repeat = 1}), "AABBCCDDEEFFGGHH");
  const std::string cut = spoil({.cut = 1});
  EXPECT_LT(cut.size(), frame.size());
  EXPECT_TRUE(frame.starts_with(cut));
  const std::string burst = spoil({.burst = 1});
  EXPECT_GT(burst.size(), frame.size());
  EXPECT_LE(burst.size(), frame.size() + FaultInjector::kLongestBurst);
  EXPECT_TRUE(burst.ends_with(frame));
  const std::string noise = spoil({.noise = 1});
  ASSERT_EQ(noise.size(), 2 * frame.size());
  for (std::size_t i = 0; i < frame.size(); ++i) EXPECT_EQ(noise[2 * i + 1], frame[i]);
}

TEST(FaultInjector, IsFixedByTheSeedAndKeepsToItsChances) {
  const FaultOptions all{.noise = 0.05, .burst = 0.1, .drop = 0.05, .repeat = 0.05, .cut = 0.1};
  EXPECT_EQ(Spoilt(all, 200), Spoilt(all, 200));
  EXPECT_NE(Spoilt(all, 200), Spoilt(all, 200, 2));
  for (const char c : Spoilt({.burst = 1}, 500)) ASSERT_GE(c, 0) << "seven data bits";

  constexpr double kCharacters = 1000 * 17;
  const auto kept = static_cast<double>(Spoilt({.drop = 0.1}, 1000).size());
  EXPECT_NEAR(kept / kCharacters, 0.9, 0.01);
  const auto sent = static_cast<double>(Spoilt({.silence = 0.25}, 1000).size());
  EXPECT_NEAR(sent / kCharacters, 0.75, 0.05);
}

TEST(Schedule, HoldsForItsLengthOnceAPeriod) {
  const Schedule schedule = ParseSchedule("30s/500ms");
  struct Case {
    double now;
    bool holds;
  };
  for (const Case& c : std::vector<Case>{{0, false},
                                         {499, false},
                                         {29'999, false},
                                         {30'000, true},
                                         {30'499, true},
                                         {30'500, false},
                                         {60'000, true},
                                         {60'500, false}}) {
    EXPECT_EQ(schedule.Holds(c.now), c.holds) << c.now;
  }
  EXPECT_FALSE(Schedule{}.Holds(1000));
  for (const char* bad : {"30s", "5s/30s", "5s/5s", "0/0", "30s/0", "a/b", "/"}) {
    EXPECT_THROW(ParseSchedule(bad), UsageError) << bad;
  }
}

}  // namespace
}  // namespace tarn::sim
