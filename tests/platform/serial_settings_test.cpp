// The settings text of a serial line.
#include "platform/serial_settings.hpp"

#include <string>
#include <vector>

#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

TEST(SerialSettings, AreTakenApart) {
  using Parity = SerialSettings::Parity;
  using StopBits = SerialSettings::StopBits;
  const struct {
    const char* text;
    SerialSettings settings;
    double characterTime;
  } cases[] = {
      {"9600,e,7,2", {9600, Parity::Even, 7, StopBits::Two}, 11000.0 / 9600},
      {"9600,n,8,1", {9600, Parity::None, 8, StopBits::One}, 10000.0 / 9600},
      {"110,O,5,1.5", {110, Parity::Odd, 5, StopBits::OneAndAHalf}, 8500.0 / 110},
      {"921600,s,4,1", {921600, Parity::Space, 4, StopBits::One}, 7000.0 / 921600},
      {"300,M,6,1", {300, Parity::Mark, 6, StopBits::One}, 9000.0 / 300},
  };
  for (const auto& [text, expected, characterTime] : cases) {
    const SerialSettings settings = ParseSerialSettings(text);
    EXPECT_EQ(settings.baud, expected.baud) << text;
    EXPECT_EQ(settings.parity, expected.parity) << text;
    EXPECT_EQ(settings.stopBits, expected.stopBits) << text;
    EXPECT_DOUBLE_EQ(settings.CharacterTime(), characterTime) << text;
  }
}

TEST(SerialSettings, AnythingElseIsRefused) {
  const struct {
    std::string before;
    std::vector<const char*> pieces;
    std::string after;
  } cases[] = {
      {"", {"", "0", "-9600", "96x0", "99999999999", " 9600"}, ",n,8,1"},
      {"9600,", {"", "x", "ee", " n"}, ",8,1"},
      {"9600,n,", {"", "3", "9", "10"}, ",1"},
      {"9600,n,8,", {"", "3", "1.50", "1,", "1,x"}, ""},
      {"", {"", "9600", "9600,n,8"}, ""},
  };
  for (const auto& [before, pieces, after] : cases) {
    for (const char* piece : pieces) {
      const std::string text = before + piece + after;
      EXPECT_EQ(ErrorOf([&] { ParseSerialSettings(text); }), 380) << text;
    }
  }
}

}  // namespace
}  // namespace tarn
