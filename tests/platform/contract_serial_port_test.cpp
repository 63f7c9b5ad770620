// The serial-port control over every kind of line, and the settings of one.
#include "platform/serial_settings.hpp"
#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// A port and the far end of its line: a pseudo-terminal on POSIX, on Windows the COM port that
/// TARN_TEST_FORT_B names. That pair is away while a file exists whose name is in TARN_TEST_UNPLUG;
/// without that variable it stays.
class SerialPortContract : public PlatformTest {
 protected:
  void SetUp() override {
    const std::string place = kOnWindows ? Variable("TARN_TEST_FORT_B") : Name("port7");
    if (place.empty()) GTEST_SKIP() << "no pair of ports is named";
    line = host->CreateTerminalLine(place);
    arriving = line->Received.Subscribe([this](std::string_view bytes) { arrived += bytes; });
    port = NewPort();
  }

  void Deliver(std::string_view bytes) { ASSERT_EQ(line->Write(bytes), bytes.size()); }

  void Unplug() {
    if (kOnWindows)
      Write(unplugFile, "");
    else
      line->Detach();
  }

  void PlugIn() {
    if (!kOnWindows) return line->Attach();
    ASSERT_TRUE(Becomes([this] { return !line->IsAttached(); }));
    std::filesystem::remove(unplugFile);
    const auto attaches = [this] { return ErrorOf([this] { line->Attach(); }) == 0; };
    ASSERT_TRUE(Becomes(attaches)) << "the pair does not come back";
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

  const std::string unplugFile = Variable("TARN_TEST_UNPLUG");
  std::unique_ptr<TerminalLine> line;
  std::string arrived;
  Subscription arriving;
  std::shared_ptr<SerialPort> port;
  std::vector<std::string> events;
  std::string collected;
  Subscription subscription;
};

TEST_F(SerialPortContract, RefusesWhatItCannotDoClosedAndOpen) {
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
    port->PortNumber(number);
    EXPECT_EQ(OpenError(), 8002);
  }
  EXPECT_EQ(ErrorOf([&] { port->Output("x"); }), 8018);
  EXPECT_EQ(port->DeviceName(), "");

  port->PortNumber(kPort);
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
TEST_F(SerialPortContract, OpensWithTheSameAndWithOtherSettingsAgain) {
  for (const char* settings : {"9600,e,7,2", "9600,e,7,2", "19200,o,7,1", "9600,n,8,1"}) {
    port->Settings(settings);
    port->PortOpen(true);
    port->Output(settings);
    EXPECT_TRUE(Becomes([&] { return arrived.ends_with(settings); })) << settings;
    port->PortOpen(false);
  }
}

TEST_F(SerialPortContract, IsInUseByAnyNameUntilItClosesOrGoes) {
  port->PortOpen(true);
  std::int16_t samePort = 4;
  if (kOnWindows)
    samePort = static_cast<std::int16_t>(std::stoi(Variable("TARN_TEST_PORT_A").substr(3)));
  else
    std::filesystem::create_symlink(Name("port7"), Name("port4"));
  auto other = NewPort(samePort);
  EXPECT_EQ(ErrorOf([&] { other->PortOpen(true); }), 8005);
  EXPECT_FALSE(other->PortOpen());
  other->PortOpen(false);
  port->PortOpen(false);
  other->PortOpen(true);
  EXPECT_EQ(OpenError(), 8005);
  other.reset();
  EXPECT_EQ(OpenError(), 0);
}

TEST_F(SerialPortContract, RaisesReceiveFromTheThresholdOnAndForWholeFrames) {
  port->ReceiveThreshold(0);
  EXPECT_EQ(port->ReceiveThreshold(), 1);
  port->ReceiveThreshold(4);
  OpenAndCollect();
  Deliver("abc");
  ASSERT_TRUE(Becomes([&] { return port->InBufferCount() == 3; }));
  RunSomeTurns();
  EXPECT_THAT(events, ElementsAre());
  Deliver("d");
  ASSERT_TRUE(Becomes([&] { return !events.empty(); }));
  port->EndCharacter('\r');
  Deliver("abcdef");
  RunSomeTurns();
  EXPECT_EQ(port->InBufferCount(), 0);
  Deliver("g\r");
  ASSERT_TRUE(Becomes([&] { return events.size() == 2; }));
  EXPECT_THAT(events, ElementsAre("abcd", "abcdefg\r"));
}

TEST_F(SerialPortContract, EveryByteValuePasses) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  OpenAndCollect();
  Deliver(bytes);
  port->Output(bytes);
  ASSERT_TRUE(Becomes([&] { return collected.size() + arrived.size() == 512; }));
  EXPECT_EQ(collected, bytes);
  EXPECT_EQ(arrived, bytes);
}

TEST_F(SerialPortContract, ClearAndOpeningEmptyTheBuffer) {
  port->ReceiveThreshold(100);
  OpenAndCollect();
  const std::function<void()> ways[] = {[&] { port->ClearInput(); },
                                        [&] { port->PortOpen(false); }};
  for (const auto& empty : ways) {
    Deliver("old");
    ASSERT_TRUE(Becomes([&] { return port->InBufferCount() == 3; }));
    empty();
    EXPECT_EQ(port->InBufferCount(), 0);
    EXPECT_EQ(port->Input(), std::nullopt);
    port->PortOpen(true);
  }
  port->ReceiveThreshold(1);
  Deliver("new");
  ASSERT_TRUE(Becomes([&] { return collected == "new"; }));
}

TEST_F(SerialPortContract, MayCloseOrGoInsideAHandler) {
  const std::function<void()> ways[] = {[&] {
                                          port->PortOpen(false);
                                          EXPECT_EQ(port->Input(), std::nullopt);
                                        },
                                        [&] { port.reset(); }};
  for (const auto& end : ways) {
    int eventCount = 0;
    const auto first = port->Receive.Subscribe([&] {
      ++eventCount;
      end();
    });
    port->PortOpen(true);
    Deliver("abc");
    ASSERT_TRUE(Becomes([&] { return !port || !port->PortOpen(); }));
    RunSomeTurns();
    EXPECT_EQ(eventCount, 1);
  }
}

TEST_F(SerialPortContract, OutputWaitsInABoundedQueueAndHoldsUpNoClosing) {
  port->PortOpen(true);
  const std::string accepted = FillQueue();
  EXPECT_TRUE(port->PortOpen());
  ASSERT_TRUE(Becomes([&] { return arrived.size() >= accepted.size(); }));
  RunSomeTurns();
  EXPECT_TRUE(arrived == accepted);

  port->PortOpen(false);
  port->PortOpen(true);
  FillQueue();
  port->PortOpen(false);  // the device still holds on to a write
  port->PortOpen(true);
  port->Output("the end");
  EXPECT_TRUE(Becomes([&] { return arrived.ends_with("the end"); }));
  EXPECT_THAT(traces, ElementsAre());
}

TEST_F(SerialPortContract, ALineThatGoesAwayClosesThePort) {
  if (kOnWindows && unplugFile.empty()) GTEST_SKIP() << "these lines stay";
  OpenAndCollect();
  int losses = 0;
  const auto onLost = port->Lost.Subscribe([&] {
    EXPECT_FALSE(port->PortOpen());
    ++losses;
  });
  Deliver("last words");
  ASSERT_TRUE(Becomes([&] { return collected == "last words"; }));
  Unplug();
  ASSERT_TRUE(Becomes([&] { return !port->PortOpen(); }));
  RunSomeTurns();
  EXPECT_EQ(losses, 1);
  EXPECT_THAT(port->LostText(), HasSubstr("The port 7 ("));
  EXPECT_EQ(ErrorOf([&] { port->Output("x"); }), 8018);
  EXPECT_EQ(port->DeviceName(), "");
  PlugIn();
  port->PortOpen(true);
  Deliver(" again");
  ASSERT_TRUE(Becomes([&] { return collected == "last words again"; }));
  port->PortOpen(false);
  RunSomeTurns();
  EXPECT_EQ(losses, 1) << "closing is no loss";
}

}  // namespace
}  // namespace tarn
