#include "connections/serial_connection.hpp"

#include <gtest/gtest.h>

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
  const struct {
    int baud, parity, dataBits, stopBits;
    const char* text;
  } cases[] = {{5, 1, 1, 2, "9600,e,7,2"},
               {7, 0, 0, 0, "38400,n,8,0"},
               {12, 4, 4, 1, "921600,m,4,1.5"},
               {0, 2, 2, 2, "110,o,6,2"},
               {9, 3, 3, 0, "115200,s,5,1"}};
  for (const auto& c : cases) {
    serial->Disconnect();
    serial->BaudRate(CommBaudRate{c.baud});
    serial->Parity(CommParity{c.parity});
    serial->DataBits(CommDataBits{c.dataBits});
    serial->StopBits(CommStopBits{c.stopBits});
    std::string expected = c.text;
    if (expected.ends_with(",0")) expected.back() = '1';
    EXPECT_EQ(SettingsAfterConnect(), expected);
  }
}

TEST_F(SerialConnectionTest, AnIndexOutsideItsRangeIsRefusedByThePort) {
  EXPECT_EQ(SettingsAfterConnect(), "9600,e,7,2");
  serial->Disconnect();
  serial->BaudRate(CommBaudRate{13});
  EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 380);
  EXPECT_EQ(Port().Settings(), "9600,e,7,2e,7,2");  // the last text, with the pieces once more
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 380);
  EXPECT_LT(Port().Settings().size(), 256U);
  serial->BaudRate(CommBaudRate::Baud_1200);
  serial->Parity(CommParity{-1});
  EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 380);
  EXPECT_EQ(Port().Settings(), "1200,7,2");
  serial->Parity(CommParity::Odd);
  EXPECT_EQ(SettingsAfterConnect(), "1200,o,7,2");
}

TEST_F(SerialConnectionTest, LineSettingsReopenAnOpenPortAndThePortNumberDoesNot) {
  serial->Connect();
  Port().calls.clear();
  serial->Parity(CommParity::Odd);
  EXPECT_EQ(Port().calls.front(), "Close");
  EXPECT_EQ(Port().calls.back(), "Open");
  EXPECT_EQ(Port().Settings(), "9600,o,7,2");
  Port().calls.clear();
  serial->ComPort(4);
  EXPECT_TRUE(Port().calls.empty());
  EXPECT_EQ(Port().PortNumber(), 1);
  serial->BaudRate(CommBaudRate::Baud_19200);
  EXPECT_EQ(Port().PortNumber(), 4);
  EXPECT_EQ(Port().Settings(), "19200,o,7,2");
  serial->Disconnect();
  Port().calls.clear();
  serial->StopBits(CommStopBits::One);
  EXPECT_TRUE(Port().calls.empty());
}

TEST_F(SerialConnectionTest, AFailureToOpenReachesTheCaller) {
  Port().failOpen = AutomationError(ErrorNumber::PortInUse, "The port is in use");
  EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 8005);
  EXPECT_FALSE(Port().PortOpen());
  serial->SaxPort(nullptr);
  EXPECT_EQ(ErrorOf([&] { serial->Connect(); }), 91);
  serial->Disconnect();
}

TEST_F(SerialConnectionTest, ItsSettingsPersistAndItsReleaseClosesThePort) {
  serial->ComPort(300);
  serial->BaudRate(CommBaudRate::Baud_115200);
  serial->Parity(CommParity::NoParity);
  serial->DataBits(CommDataBits::Eight);
  serial->StopBits(CommStopBits::One);
  PropertyBag bag;
  bag.WriteObject("Connection", *serial);
  const auto restored = ReadObject<SerialConnection>(PropertyBag::FromContents(bag.Contents()),
                                                     "Connection", *site, "NoConnection");
  EXPECT_EQ(restored->ComPort(), 300);
  EXPECT_EQ(restored->BaudRate(), CommBaudRate::Baud_115200);
  EXPECT_EQ(restored->Parity(), CommParity::NoParity);
  EXPECT_EQ(restored->DataBits(), CommDataBits::Eight);
  EXPECT_EQ(restored->StopBits(), CommStopBits::One);
  EXPECT_TRUE(restored->IsBidirectional());

  const auto port = host.ports.front();
  serial->Connect();
  serial.reset();
  EXPECT_FALSE(port->PortOpen());
}

}  // namespace
}  // namespace tarn
