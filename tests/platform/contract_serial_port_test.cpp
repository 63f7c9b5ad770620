// The serial-port control over every kind of line, and the settings of one.
#include "platform/serial_settings.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class SerialPortContract : public PlatformContract {
 protected:
  void SetUp() override {
    if (!harness->ConnectLine()) GTEST_SKIP() << "no pair of ports is named";
    port = NewPort();
  }

  int OpenError() {
    return ErrorOf([this] { port->PortOpen(true); });
  }

  /// Opens the port and collects what each event has to read.
  void OpenAndCollect() {
    port->PortOpen(true);
    subscription = port->Receive.Subscribe([this] {
      events.emplace_back();
      while (const auto c = port->Input()) events.back() += *c;
      collected += events.back();
    });
  }

  /// Fills the output queue; returns what was accepted.
  std::string FillQueue() {
    harness->Stall();
    std::string accepted;
    int error = 0;
    while (error == 0 && accepted.size() < 64 * SerialPort::kMaxQueuedOutput) {
      const std::string chunk(1000, static_cast<char>('a' + accepted.size() / 1000 % 26));
      error = ErrorOf([&] { port->Output(chunk); });
      if (error == 0) accepted += chunk;
    }
    EXPECT_EQ(error, 57);
    EXPECT_GT(accepted.size() + 1000, SerialPort::kMaxQueuedOutput);
    return accepted;
  }

  std::shared_ptr<SerialPort> port;
  std::vector<std::string> events;
  std::string collected;
  Subscription subscription;
};
TARN_CONTRACT(SerialPortContract);

TEST_P(SerialPortContract, RefusesWhatItCannotDoClosedAndOpen) {
  const struct {
    std::string before;
    std::vector<const char*> wrong;
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
      port->Settings(before + piece + after);
      EXPECT_EQ(OpenError(), 380) << port->Settings();
    }
  }
  port->Settings("9600,e,7,2");
  for (const std::int16_t number : std::initializer_list<std::int16_t>{0, 250}) {
    if (number != 0 && !harness->HasNetwork()) continue;  // a fake host has every port
    port->PortNumber(number);
    EXPECT_EQ(OpenError(), 8002);
  }
  EXPECT_EQ(ErrorOf([&] { port->Output("x"); }), 8018);
  EXPECT_EQ(port->DeviceName(), "");

  port->PortNumber(Harness::kPort);
  port->PortOpen(true);
  port->PortOpen(true);
  EXPECT_NE(port->DeviceName(), "");
  EXPECT_EQ(ErrorOf([&] { port->PortNumber(2); }), 8000);
  EXPECT_EQ(ErrorOf([&] { port->Settings("300,n,8,1"); }), 8000);
  EXPECT_EQ(port->Settings(), "9600,e,7,2");
}

TEST(SerialSettings, AreTakenApart) {
  const struct {
    const char* text;
    const char* read;  ///< parity and stop bits by their numbers
    double characterTime;
  } cases[] = {{"9600,e,7,2", "9600 1 7 2", 11000.0 / 9600},
               {"9600,n,8,1", "9600 0 8 0", 10000.0 / 9600},
               {"110,O,5,1.5", "110 2 5 1", 8500.0 / 110},
               {"921600,s,4,1", "921600 3 4 0", 7000.0 / 921600},
               {"300,M,6,1", "300 4 6 0", 9000.0 / 300}};
  for (const auto& [text, read, characterTime] : cases) {
    const SerialSettings settings = ParseSerialSettings(text);
    std::ostringstream numbers;
    numbers << settings.baud << ' ' << static_cast<int>(settings.parity) << ' ' << settings.dataBits
            << ' ' << static_cast<int>(settings.stopBits);
    EXPECT_EQ(numbers.str(), read);
    EXPECT_DOUBLE_EQ(settings.CharacterTime(), characterTime) << text;
  }
}

/// Drivers keep the settings of the last opening, and some refuse what they have already.
TEST_P(SerialPortContract, OpensWithTheSameAndWithOtherSettingsAgain) {
  for (const char* settings : {"9600,e,7,2", "9600,e,7,2", "19200,o,7,1", "9600,n,8,1"}) {
    port->Settings(settings);
    port->PortOpen(true);
    port->Output(settings);
    EXPECT_TRUE(Becomes([&] { return harness->Sent().ends_with(settings); })) << settings;
    port->PortOpen(false);
  }
}

TEST_P(SerialPortContract, IsInUseByAnyNameUntilItClosesOrGoes) {
  port->PortOpen(true);
  auto other = NewPort(harness->SamePort());
  EXPECT_EQ(ErrorOf([&] { other->PortOpen(true); }), 8005);
  EXPECT_FALSE(other->PortOpen());
  other->PortOpen(false);
  port->PortOpen(false);
  other->PortOpen(true);
  EXPECT_EQ(OpenError(), 8005);
  harness->ForgetPorts();
  other.reset();
  EXPECT_EQ(OpenError(), 0);
}

TEST_P(SerialPortContract, RaisesReceiveFromTheThresholdOnAndForWholeFrames) {
  port->ReceiveThreshold(0);
  EXPECT_EQ(port->ReceiveThreshold(), 1);
  port->ReceiveThreshold(4);
  OpenAndCollect();
  harness->Deliver("abc");
  ASSERT_TRUE(Becomes([&] { return port->InBufferCount() == 3; }));
  RunSomeTurns();
  EXPECT_THAT(events, ElementsAre());
  harness->Deliver("d");
  ASSERT_TRUE(Becomes([&] { return !events.empty(); }));
  port->EndCharacter('\r');
  harness->Deliver("abcdef");
  RunSomeTurns();
  EXPECT_EQ(port->InBufferCount(), 0);
  harness->Deliver("g\r");
  ASSERT_TRUE(Becomes([&] { return events.size() == 2; }));
  EXPECT_THAT(events, ElementsAre("abcd", "abcdefg\r"));
}

TEST_P(SerialPortContract, EveryByteValuePasses) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  OpenAndCollect();
  harness->Deliver(bytes);
  port->Output(bytes);
  ASSERT_TRUE(Becomes([&] { return collected.size() + harness->Sent().size() == 512; }));
  EXPECT_EQ(collected, bytes);
  EXPECT_EQ(harness->Sent(), bytes);
}

TEST_P(SerialPortContract, ClearAndOpeningEmptyTheBuffer) {
  port->ReceiveThreshold(100);
  OpenAndCollect();
  const std::function<void()> ways[] = {[&] { port->ClearInput(); },
                                        [&] { port->PortOpen(false); }};
  for (const auto& empty : ways) {
    harness->Deliver("old");
    ASSERT_TRUE(Becomes([&] { return port->InBufferCount() == 3; }));
    empty();
    EXPECT_EQ(port->InBufferCount(), 0);
    EXPECT_EQ(port->Input(), std::nullopt);
    port->PortOpen(true);
  }
  port->ReceiveThreshold(1);
  harness->Deliver("new");
  ASSERT_TRUE(Becomes([&] { return collected == "new"; }));
}

TEST_P(SerialPortContract, MayCloseOrGoInsideAHandler) {
  const std::function<void()> ways[] = {[&] {
                                          port->PortOpen(false);
                                          EXPECT_EQ(port->Input(), std::nullopt);
                                        },
                                        [&] {
                                          harness->ForgetPorts();
                                          port.reset();
                                        }};
  for (const auto& end : ways) {
    int eventCount = 0;
    const auto first = port->Receive.Subscribe([&] {
      ++eventCount;
      end();
    });
    port->PortOpen(true);
    harness->Deliver("abc");
    ASSERT_TRUE(Becomes([&] { return !port || !port->PortOpen(); }));
    RunSomeTurns();
    EXPECT_EQ(eventCount, 1);
  }
}

TEST_P(SerialPortContract, OutputWaitsInABoundedQueueAndHoldsUpNoClosing) {
  port->PortOpen(true);
  const std::string accepted = FillQueue();
  EXPECT_TRUE(port->PortOpen());
  ASSERT_TRUE(Becomes([&] { return harness->Sent().size() >= accepted.size(); }));
  RunSomeTurns();
  EXPECT_TRUE(harness->Sent() == accepted);

  port->PortOpen(false);
  port->PortOpen(true);
  FillQueue();
  port->PortOpen(false);  // the device still holds on to a write
  port->PortOpen(true);
  port->Output("the end");
  EXPECT_TRUE(Becomes([&] { return harness->Sent().ends_with("the end"); }));
  EXPECT_THAT(harness->Traces(), ElementsAre());
}

TEST_P(SerialPortContract, ALineThatGoesAwayClosesThePort) {
  if (!harness->CanUnplug()) GTEST_SKIP() << "these lines stay";
  OpenAndCollect();
  int losses = 0;
  const auto onLost = port->Lost.Subscribe([&] {
    EXPECT_FALSE(port->PortOpen());
    ++losses;
  });
  harness->Deliver("last words");
  ASSERT_TRUE(Becomes([&] { return collected == "last words"; }));
  harness->Unplug();
  ASSERT_TRUE(Becomes([&] { return !port->PortOpen(); }));
  RunSomeTurns();
  EXPECT_EQ(losses, 1);
  EXPECT_THAT(port->LostText(), HasSubstr("The port 7 ("));
  EXPECT_EQ(ErrorOf([&] { port->Output("x"); }), 8018);
  EXPECT_EQ(port->DeviceName(), "");
  harness->PlugIn();
  port->PortOpen(true);
  harness->Deliver(" again");
  ASSERT_TRUE(Becomes([&] { return collected == "last words again"; }));
  port->PortOpen(false);
  RunSomeTurns();
  EXPECT_EQ(losses, 1) << "closing is no loss";
}

}  // namespace
}  // namespace tarn
