#include "platform/serial_settings.hpp"

#include <gtest/gtest.h>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

TEST(SerialSettings, AreTakenApart) {
  using Parity = SerialSettings::Parity;
  using StopBits = SerialSettings::StopBits;
  struct Case {
    const char* text;
    std::int32_t baud;
    Parity parity;
    int dataBits;
    StopBits stopBits;
    double characterTime;
  };
  const Case cases[] = {
      {"9600,e,7,2", 9600, Parity::Even, 7, StopBits::Two, 11000.0 / 9600},
      {"9600,n,8,1", 9600, Parity::None, 8, StopBits::One, 10000.0 / 9600},
      {"110,O,5,1.5", 110, Parity::Odd, 5, StopBits::OneAndAHalf, 8500.0 / 110},
      {"921600,s,4,1", 921600, Parity::Space, 4, StopBits::One, 7000.0 / 921600},
      {"300,M,6,1", 300, Parity::Mark, 6, StopBits::One, 9000.0 / 300},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const SerialSettings settings = ParseSerialSettings(c.text);
    EXPECT_EQ(settings.baud, c.baud);
    EXPECT_EQ(settings.parity, c.parity);
    EXPECT_EQ(settings.dataBits, c.dataBits);
    EXPECT_EQ(settings.stopBits, c.stopBits);
    EXPECT_DOUBLE_EQ(settings.CharacterTime(), c.characterTime);
  }
}

TEST(SerialSettings, AnythingElseIsRefused) {
  for (const char* text : {"",
                           "9600",
                           "9600,n,8",
                           "9600,n,8,1,",
                           "9600,n,8,1,x",
                           ",n,8,1",
                           "9600,,8,1",
                           "9600,n,,1",
                           "9600,n,8,",
                           "0,n,8,1",
                           "-9600,n,8,1",
                           "96x0,n,8,1",
                           "99999999999,n,8,1",
                           "9600,x,8,1",
                           "9600,ee,8,1",
                           "9600,n,3,1",
                           "9600,n,9,1",
                           "9600,n,10,1",
                           "9600,n,8,3",
                           "9600,n,8,1.50",
                           " 9600,n,8,1",
                           "9600, n,8,1"}) {
    try {
      ParseSerialSettings(text);
      ADD_FAILURE() << '"' << text << "\" was understood";
    } catch (const AutomationError& error) {
      EXPECT_EQ(error.Number(), ErrorNumber::InvalidPropertyValue) << text;
    }
  }
}

}  // namespace
}  // namespace tarn
