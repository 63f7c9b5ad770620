#include "connections/serial_connection.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

class SerialConnectionTest : public ScaleFixture {
 protected:
  SerialConnectionTest() {
    serial = NewObject<SerialConnection>(*site, "SerialConnection");
    serial->IsBidirectional(true);
  }
  std::string SettingsAfterConnect() {
    serial->Disconnect();
    serial->Connect();
    return Port().Settings();
  }
};

TEST_F(SerialConnectionTest, ConnectWritesThePortInOrderAndOpensIt) {
  EXPECT_EQ(serial->ReceiveThresholdLength(), 1);
  serial->ReceiveThresholdLength(16);
  serial->ReceiveEndCharacter('\r');
  Port().calls.clear();
  serial->Connect();
  EXPECT_EQ(Port().calls,
            (std::vector<std::string>{"PortNumber 1", "Settings 9600,e,7,2", "ReceiveThreshold 16",
                                      "EndCharacter 13", "ClearInput", "Open"}));
  serial->Disconnect();
  EXPECT_FALSE(Port().PortOpen());
  serial->Disconnect();

  // A threshold that is written anew belongs to another protocol, with no end character.
  serial->ReceiveThresholdLength(1);
  serial->Connect();
  EXPECT_EQ(Port().EndCharacter(), std::nullopt);
}

TEST_F(SerialConnectionTest, IndexesBecomeTheSettingsText) {
  const char* speeds[] = {"110",   "300",   "1200",   "2400",   "4800",   "9600",  "19200",
                          "38400", "57600", "115200", "230400", "460800", "921600"};
  const char* others[] = {"n,8,1", "e,7,1.5", "o,6,2", "s,5,2", "m,4,2"};
  for (int i = 0; i < 13; ++i) {
    const int other = i % 5;
    serial->Disconnect();
    serial->BaudRate(CommBaudRate{i});
    serial->Parity(CommParity{other});
    serial->DataBits(CommDataBits{other});
    serial->StopBits(CommStopBits{std::min(other, 2)});
    EXPECT_EQ(SettingsAfterConnect(), std::string(speeds[i]) + "," + others[other]);
  }
}

TEST_F(SerialConnectionTest, AnIndexOutsideItsRangeIsRefusedByThePort) {
  EXPECT_EQ(SettingsAfterConnect(), "9600,e,7,2");
  serial->Disconnect();
  serial->BaudRate(CommBaudRate{9600});
  try {
    serial->Connect();
    FAIL() << "it was not refused";
  } catch (const AutomationError& error) {
    EXPECT_EQ(error.Description(),
              "Invalid line settings \"9600,e,7,2e,7,2\": BaudRate is an "
              "index from 0 to 12, not 9600");
  }
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 380);
  EXPECT_LT(Port().Settings().size(), 256U);
  serial->BaudRate(CommBaudRate::Baud_1200);
  serial->Parity(CommParity{-1});
  EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 380);
  serial->Parity(CommParity::Odd);
  EXPECT_EQ(SettingsAfterConnect(), "1200,o,7,2");
}

TEST_F(SerialConnectionTest, LineSettingsReopenAnOpenPortAndThePortNumberDoesNot) {
  serial->Connect();
  Port().calls.clear();
  serial->ComPort(4);
  EXPECT_TRUE(Port().calls.empty());
  EXPECT_EQ(Port().PortNumber(), 1);
  serial->Parity(CommParity::Odd);
  EXPECT_EQ(Port().calls.front(), "Close");
  EXPECT_EQ(Port().calls.back(), "Open");
  EXPECT_EQ(Port().PortNumber(), 4);
  EXPECT_EQ(Port().Settings(), "9600,o,7,2");
  serial->Disconnect();
  Port().calls.clear();
  serial->StopBits(CommStopBits::One);
  EXPECT_TRUE(Port().calls.empty());
}

TEST_F(SerialConnectionTest, AFailureToOpenReachesTheCallerAndTheReleaseClosesThePort) {
  const auto port = host.ports.front();
  port->failOpen = AutomationError(ErrorNumber::PortInUse, "The port is in use");
  EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 8005);
  EXPECT_FALSE(port->PortOpen());
  port->failOpen.reset();
  serial->Connect();
  NewObject<SerialConnection>(*site, "SerialConnection").swap(serial);
  EXPECT_FALSE(port->PortOpen());
  serial->SaxPort(nullptr);
  EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 91);
  serial->Disconnect();
}

}  // namespace
}  // namespace tarn
