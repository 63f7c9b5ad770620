#include "server/tarn_scale_server.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "connections/no_connection.hpp"
#include "connections/serial_connection.hpp"
#include "server/class_registry.hpp"
#include "server/settings_file.hpp"
#include "server/tarn_server_connection.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

class ServerTest : public testing::Test {
 protected:
  ~ServerTest() override { server.reset(); }

  void Start(StartMode mode = StartMode::AsSettingsSay) {
    server = std::make_shared<TarnScaleServer>(host, mode);
    onInfo = server->InfoMessage.Subscribe([this](const std::string& text, std::int32_t style) {
      messages.push_back(std::to_string(style) + " " + text);
    });
  }
  void Restart() {
    server.reset();
    messages.clear();
    Start();
  }

  /// Puts a serial scale with the continuous protocol into a slot of a running server.
  std::shared_ptr<TarnScale> Configure(std::int16_t number, std::int16_t comPort) {
    const auto scale = server->GetScale(number);
    const auto site = std::make_shared<ServerSite>(host);
    const auto serial = NewObject<SerialConnection>(*site, "SerialConnection");
    serial->ComPort(comPort);
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
    scale->Disabled(false);
    return scale;
  }
  bool PortIsOpen(std::int16_t number) const {
    for (const auto& port : host.ports) {
      if (port->PortNumber() == number && port->PortOpen()) return true;
    }
    return false;
  }

  FakeHost host;
  std::shared_ptr<TarnScaleServer> server;
  std::vector<std::string> messages;
  Subscription onInfo;
};

using Messages = std::vector<std::string>;

TEST_F(ServerTest, TheFirstStartMakesANewConfiguration) {
  Start();
  EXPECT_EQ(server->CurrentFileName(), "Default.scl");
  EXPECT_TRUE(server->CurrentFileNew());
  EXPECT_FALSE(server->CurrentFileDirty());
  EXPECT_FALSE(server->LoggingEnabled());
  EXPECT_TRUE(server->SummitEnabled());
  EXPECT_EQ(server->CurrentLogName(), "Default.log");
  EXPECT_TRUE(host.files.contents.contains("Default.log"));
  EXPECT_FALSE(host.files.contents.contains("Default.scl"));
  EXPECT_EQ(server->GetServerPath(7), "/program");
  for (std::int16_t n = 1; n <= 32; ++n) {
    const auto scale = server->GetScale(n);
    EXPECT_TRUE(scale->Disabled());
    EXPECT_EQ(scale->AliasName(), "Scale" + std::to_string(n));
    EXPECT_EQ(scale->ScaleNumber(), n);
  }
  for (const int n : {0, 33, -1, 1000}) {
    EXPECT_EQ(ErrorOf([&] { server->GetScale(static_cast<std::int16_t>(n)); }), 9) << n;
  }
}

TEST_F(ServerTest, TheStartUpReadsTheStoreLoadsTheFileAndRunsTheScales) {
  Start();
  Configure(3, 5);
  server->GetScale(3)->AliasName("Line 3");
  server->CurrentFileName("plant.scl");
  server->SaveScaleSettings();
  server->LoggingEnabled(true);
  server->CurrentLogName("plant.log");
  EXPECT_EQ(host.store.values["settings/lastfile"], "plant.scl");
  EXPECT_EQ(host.store.values["settings/loggingenabled"], "True");
  EXPECT_EQ(host.store.values["settings/logfile"], "plant.log");
  EXPECT_FALSE(PortIsOpen(5));

  Restart();
  EXPECT_EQ(server->CurrentFileName(), "plant.scl");
  EXPECT_EQ(server->CurrentLogName(), "plant.log");
  EXPECT_TRUE(server->LoggingEnabled());
  EXPECT_FALSE(server->CurrentFileNew());
  EXPECT_FALSE(server->CurrentFileDirty());
  EXPECT_EQ(server->GetScale(3)->AliasName(), "Line 3");
  EXPECT_TRUE(PortIsOpen(5));
  EXPECT_TRUE(server->GetComPortUsed(5));
}

TEST_F(ServerTest, AStoreThatCannotBeReadLeavesTheDefaults) {
  host.store.failReads = true;
  Start();
  EXPECT_EQ(server->CurrentFileName(), "Default.scl");
  EXPECT_EQ(server->CurrentLogName(), "Default.log");
  EXPECT_FALSE(server->LoggingEnabled());

  host.store.failReads = false;
  host.store.values["settings/loggingenabled"] = "perhaps";
  host.store.values["settings/logfile"] = "other.log";
  Restart();
  EXPECT_FALSE(server->LoggingEnabled());
  EXPECT_EQ(server->CurrentLogName(), "other.log");
}

TEST_F(ServerTest, ALogThatCannotBeOpenedEndsTheStartAndLeavesNothingRunning) {
  host.files.failOpen.emplace("Default.log",
                              AutomationError(ErrorNumber::PermissionDenied, "no permission"));
  EXPECT_EQ(ErrorOf([&] { Start(); }), 70);
  host.loop.Advance(1000);
  EXPECT_TRUE(host.traces.empty());
}

// --- Settings file
// --------------------------------------------------------------------------------

TEST_F(ServerTest, AMissingOrMalformedFileGivesANewConfigurationAndAMessage) {
  Start();
  host.files.contents["bad.scl"] = "not a settings file";
  host.files.contents["short.scl"] = EncodeSettings(PropertyBag()).substr(0, 14);
  for (const std::string name : {"none.scl", "bad.scl", "short.scl"}) {
    server->GetScale(1)->AliasName("old");
    server->CurrentFileName(name);
    messages.clear();
    server->LoadScaleSettings(false);
    EXPECT_EQ(messages, Messages{"48 Can't open configuration settings file: " + name});
    EXPECT_EQ(server->CurrentFileName(), name);
    EXPECT_EQ(server->GetScale(1)->AliasName(), "Scale1");
    EXPECT_TRUE(server->CurrentFileNew());
    EXPECT_FALSE(server->CurrentFileDirty());
  }
}

TEST_F(ServerTest, SavingWritesAllThirtyTwoScalesAsOneValue) {
  Start();
  server->SaveScaleSettings();
  EXPECT_TRUE(messages.empty());
  EXPECT_FALSE(server->CurrentFileNew());
  const std::string bytes = host.files.contents["Default.scl"];
  EXPECT_EQ(bytes.substr(0, 4), std::string("\x11\x20\x01\x00", 4));
  EXPECT_EQ(bytes.substr(8, 4), std::string(4, '\0'));
  EXPECT_EQ(static_cast<std::uint8_t>(bytes[4]) + 256U * static_cast<std::uint8_t>(bytes[5]),
            bytes.size() - 12);
  const PropertyBag bag = DecodeSettings(bytes);
  for (int n = 1; n <= 32; ++n) {
    const auto* scale = bag.FindObject("Scale" + std::to_string(n));
    ASSERT_NE(scale, nullptr) << n;
    EXPECT_EQ(scale->className, "TarnScale");
  }
}

TEST_F(ServerTest, AShorterConfigurationKeepsTheOldTailAndReadsItsOwnLength) {
  Start();
  server->GetScale(1)->AliasName(std::string(5000, 'x'));
  server->SaveScaleSettings();
  const std::string longFile = host.files.contents["Default.scl"];
  server->GetScale(1)->AliasName("short");
  server->SaveScaleSettings();
  const std::string& file = host.files.contents["Default.scl"];
  ASSERT_EQ(file.size(), longFile.size());
  EXPECT_EQ(file.substr(file.size() - 100), longFile.substr(longFile.size() - 100));
  server->LoadScaleSettings(false);
  EXPECT_TRUE(messages.empty());
  EXPECT_EQ(server->GetScale(1)->AliasName(), "short");
}

TEST_F(ServerTest, ASaveNamesWhatClientsHaveMade) {
  struct ClientConnection final : Connection {
    std::string_view ClassName() const override { return "NoConnection"; }
    bool IsClientMade() const override { return true; }
  };
  Start();
  server->GetScale(3)->AliasName("kept");
  server->GetScale(3)->Connection(std::make_shared<ClientConnection>());
  server->SaveScaleSettings();
  EXPECT_EQ(messages, Messages{"48 Objects of clients are not saved; defaults take their place: "
                               "Scale3.Connection"});
  EXPECT_FALSE(server->CurrentFileDirty());
  server->LoadScaleSettings(false);
  EXPECT_EQ(server->GetScale(3)->AliasName(), "kept");
  EXPECT_EQ(server->GetScale(3)->Connection()->ClassName(), "NoConnection");
}

TEST_F(ServerTest, AFailingSaveReportsAndLeavesTheFlags) {
  Start();
  server->CurrentFileName("Default.scl");
  server->GetScale(1)->AliasName("changed");
  host.files.failWrite.emplace("Default.scl", AutomationError(ErrorNumber::DiskFull, "disk full"));
  server->SaveScaleSettings();
  EXPECT_EQ(messages, Messages{"48 Can't write configuration settings file: Default.scl"});
  EXPECT_TRUE(server->CurrentFileDirty());
  EXPECT_TRUE(server->CurrentFileNew());
  host.files.failWrite.clear();
  host.store.failWrites = true;
  server->SaveScaleSettings();
  EXPECT_EQ(messages.size(), 2U);
  EXPECT_TRUE(server->CurrentFileDirty());
  host.store.failWrites = false;
  server->SaveScaleSettings();
  EXPECT_FALSE(server->CurrentFileDirty());
}

TEST_F(ServerTest, WhatAClientWritesMakesTheConfigurationDirty) {
  Start();
  const auto scale = Configure(1, 1);
  const auto serial = std::dynamic_pointer_cast<SerialConnection>(scale->Connection());
  const struct {
    const char* name;
    std::function<void()> write;
    bool dirty;
  } cases[] = {
      {"alias", [&] { scale->AliasName("x"); }, true},
      {"disabled", [&] { scale->Disabled(false); }, true},
      {"port", [&] { serial->ComPort(2); }, true},
      {"bidirectional", [&] { serial->IsBidirectional(true); }, true},
      {"type", [&] { scale->Protocol()->pType(ProtocolType{4}); }, true},
      {"protocol", [&] { scale->Protocol(scale->Protocol()); }, true},
      {"connection", [&] { scale->Connection(serial); }, true},
      {"lamps",
       [&] {
         scale->ErrorLED(true);
         scale->ActivityLED(true);
       },
       false},
      {"running",
       [&] {
         scale->RunScale();
         scale->StopScale();
       },
       false},
      {"rate", [&] { scale->UpdateRate(3); }, false},
      {"the watchdog",
       [&] {
         scale->RunScale();
         host.loop.Advance(3000);
       },
       false},
  };
  for (const auto& c : cases) {
    server->CurrentFileDirty(false);
    c.write();
    EXPECT_EQ(server->CurrentFileDirty(), c.dirty) << c.name;
  }
  server->CurrentFileDirty(true);
  server->LoadScaleSettings(true);
  EXPECT_FALSE(server->CurrentFileDirty());
  scale->AliasName("a scale that has left the table");
  EXPECT_FALSE(server->CurrentFileDirty());
  server->GetScale(1)->AliasName("y");
  server->SaveScaleSettings();
  EXPECT_FALSE(server->CurrentFileDirty());
}

TEST_F(ServerTest, AScaleThatCannotBeRestoredLeavesItsSlotEmpty) {
  class FutureConnection final : public Connection {
    std::string_view ClassName() const override { return "FutureConnection"; }
  };
  Start();
  server->GetScale(5)->Connection(std::make_shared<FutureConnection>());
  Configure(2, 2);
  Configure(7, 7);
  server->SaveScaleSettings();
  server->LoadScaleSettings(false);
  EXPECT_TRUE(messages.empty());
  EXPECT_EQ(server->GetScale(5), nullptr);
  EXPECT_NE(server->GetScale(6), nullptr);
  EXPECT_EQ(ErrorOf([&] { server->RunAllScales(); }), 91);
  EXPECT_TRUE(PortIsOpen(2));
  EXPECT_FALSE(PortIsOpen(7));
  EXPECT_EQ(ErrorOf([&] { server->StopAllScales(); }), 91);
  EXPECT_EQ(ErrorOf([&] { server->SetComPortsUsed(); }), 91);
  server->SaveScaleSettings();  // would lose the entry, so it fails instead
  EXPECT_EQ(messages, Messages{"48 Can't write configuration settings file: Default.scl"});

  messages.clear();
  const auto failures = server->RunEachScale();
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].number, 5);
  EXPECT_TRUE(PortIsOpen(7));
}

TEST_F(ServerTest, ALoadStopsAndDetachesTheOldScales) {
  Start();
  const auto old = Configure(1, 1);
  old->RunScale();
  server->SaveScaleSettings();
  server->LoadScaleSettings(false);
  EXPECT_FALSE(PortIsOpen(1));
  EXPECT_NE(server->GetScale(1), old);
  EXPECT_EQ(ErrorOf([&] { old->RunScale(); }), 91);
  server->RunAllScales();
  EXPECT_TRUE(PortIsOpen(1));

  // A client that loads again from inside the events of a load gets a whole table.
  const auto running = server->GetScale(1);
  bool again = false;
  const auto subscription = running->WeightData()->NewWeight.Subscribe([&] {
    if (!std::exchange(again, true)) server->LoadScaleSettings(true);
  });
  server->LoadScaleSettings(false);
  EXPECT_TRUE(again);
  for (std::int16_t n = 1; n <= 32; ++n) EXPECT_NE(server->GetScale(n), nullptr) << n;
}

// --- Running
// --------------------------------------------------------------------------------------

TEST_F(ServerTest, RunAllScalesStopsAtTheFirstFailureAndRunEachScaleDoesNot) {
  Start();
  for (const std::int16_t n : std::initializer_list<std::int16_t>{1, 2, 3}) Configure(n, n);
  host.ports[1]->failOpen = AutomationError(ErrorNumber::InvalidPort, "no such port COM2");
  EXPECT_EQ(ErrorOf([&] { server->RunAllScales(); }), 8002);
  EXPECT_TRUE(PortIsOpen(1));
  EXPECT_FALSE(PortIsOpen(3));
  server->StopAllScales();
  EXPECT_FALSE(PortIsOpen(1));

  const auto failures = server->RunEachScale();
  EXPECT_TRUE(PortIsOpen(1));
  EXPECT_TRUE(PortIsOpen(3));
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].number, 2);
  EXPECT_EQ(messages, Messages{"48 Can't start scale 2 (Scale2): no such port COM2"});
}

TEST_F(ServerTest, TheSettingStartEachScaleKeepsThePlantRunning) {
  Start();
  Configure(1, 1);
  Configure(2, 1);  // the same port twice: the second finds it in use
  Configure(3, 3);
  server->SaveScaleSettings();
  EXPECT_EQ(ErrorOf([&] { Restart(); }), 8005);
  EXPECT_FALSE(PortIsOpen(1));  // nothing outlives a failed start
  host.store.values["settings/starteachscale"] = "True";
  Restart();
  EXPECT_TRUE(PortIsOpen(1));
  EXPECT_TRUE(PortIsOpen(3));
  ASSERT_EQ(server->StartFailures().size(), 1U);
  EXPECT_EQ(server->StartFailures()[0].number, 2);
}

TEST_F(ServerTest, PortsInUseLeaveOutNumberThirtyTwo) {
  Start();
  Configure(1, 1);
  Configure(2, 31);
  Configure(3, 32);
  Configure(4, 300);
  EXPECT_FALSE(server->GetComPortUsed(1));  // marked on demand only
  server->SetComPortsUsed();
  for (const int port : {1, 31}) EXPECT_TRUE(server->GetComPortUsed(port)) << port;
  for (const int port : {0, -5, 2, 32, 33, 300}) EXPECT_FALSE(server->GetComPortUsed(port)) << port;
  server->GetScale(1)->Connection(std::make_shared<NoConnection>());
  server->SetComPortsUsed();
  EXPECT_FALSE(server->GetComPortUsed(1));
}

// --- Log
// ------------------------------------------------------------------------------------------

TEST_F(ServerTest, PrintRecordsAreLoggedWhileLoggingIsOn) {
  Start();
  const auto scale = server->GetScale(1);
  scale->AliasName("Line 1");
  const auto record = scale->WeightData();
  record->GrossWeight("12.5");
  record->TareWeight("0.5");
  record->NetWeight("12");
  record->Units("kg");
  scale->printRequest(true);
  EXPECT_EQ(host.files.contents["Default.log"], "");
  server->LoggingEnabled(true);
  scale->printRequest(true);
  const std::string line = "\"6/1/2024\",\"12:34:56\",\"Line 1\",12.5,0.5,12,\"kg\"\r\n";
  EXPECT_EQ(host.files.contents["Default.log"], line);

  server->CurrentLogName("second.log");
  scale->AliasName("say \"B\"");  // not escaped
  scale->printRequest(true);
  EXPECT_EQ(host.files.contents["Default.log"], line);
  EXPECT_EQ(host.files.contents["second.log"],
            "\"6/1/2024\",\"12:34:56\",\"say \"B\"\",12.5,0.5,12,\"kg\"\r\n");
  server->LogFile()->WriteLine("a client's own line");
  EXPECT_TRUE(host.files.contents["second.log"].ends_with("own line\r\n"));
}

TEST_F(ServerTest, AFullDiskReachesTheClientThatPrintsAndNothingElse) {
  Start();
  server->LoggingEnabled(true);
  host.files.failWrite.emplace("Default.log", AutomationError(ErrorNumber::DiskFull, "disk full"));
  EXPECT_EQ(ErrorOf([&] { server->GetScale(1)->printRequest(true); }), 61);
  host.files.failClose.emplace("Default.log", AutomationError(ErrorNumber::DiskFull, "disk full"));
  EXPECT_EQ(ErrorOf([&] { server->CurrentLogName("second.log"); }), 61);
  server->GetScale(1)->printRequest(true);  // into the new log
  EXPECT_FALSE(host.files.contents["second.log"].empty());
}

// --- Shut-down and the shared server
// --------------------------------------------------------------

TEST_F(ServerTest, AfterTheShutDownEverythingIsQuiet) {
  Start();
  const auto scale = Configure(1, 1);
  scale->RunScale();
  server->CurrentFileName("plant.scl");
  const auto log = server->LogFile();
  server->ShutDown();
  EXPECT_EQ(host.store.values["settings/lastfile"], "plant.scl");
  EXPECT_FALSE(host.files.contents.contains("plant.scl"));
  EXPECT_FALSE(PortIsOpen(1));
  EXPECT_EQ(ErrorOf([&] { log->WriteLine("x"); }), 91);
  EXPECT_EQ(ErrorOf([&] { server->GetScale(1); }), 91);
  EXPECT_EQ(ErrorOf([&] { server->GetScale(33); }), 9);
  for (const auto& call : std::vector<std::function<void()>>{
           [&] { server->RunAllScales(); }, [&] { server->StopAllScales(); },
           [&] { server->LoadScaleSettings(true); }, [&] { server->SaveScaleSettings(); },
           [&] { server->SetComPortsUsed(); }, [&] { server->CurrentLogName("x"); },
           [&] { scale->RunScale(); }}) {
    EXPECT_EQ(ErrorOf(call), 91);
  }
  int events = 0;
  const auto count = scale->WeightData()->NewWeight.Subscribe([&] { ++events; });
  host.loop.Advance(10000);
  EXPECT_EQ(events, 0);
  scale->printRequest(true);
}

TEST(TarnServerConnectionTest, AllConnectionsShareOneServerAsLongAsOneLives) {
  FakeHost host;
  std::int32_t one = 1;
  std::int32_t many = 77;
  auto first = std::make_unique<TarnServerConnection>(host);
  auto second = std::make_unique<TarnServerConnection>(host);
  const auto server = first->TarnScaleServer(one);
  EXPECT_EQ(server, second->TarnScaleServer(many));
  EXPECT_EQ(many, 77);
  const auto scale = server->GetScale(4);
  EXPECT_EQ(scale, second->TarnScaleServer(one)->GetScale(4));
  server->CurrentFileName("plant.scl");
  server->SaveScaleSettings();

  first.reset();
  EXPECT_EQ(server->GetScale(4), scale);
  second.reset();
  EXPECT_EQ(ErrorOf([&] { server->GetScale(4); }), 91);

  const TarnServerConnection third(host);
  EXPECT_NE(third.TarnScaleServer(one), server);
  EXPECT_EQ(third.TarnScaleServer(one)->CurrentFileName(), "plant.scl");
}

/// From a handler of a scale's last events, with that scale's port and another one's still open.
TEST_F(ServerTest, AClientThatComesInsideTheShutDownGetsAFreshServer) {
  std::int32_t one = 1;
  auto last = std::make_unique<TarnServerConnection>(host);
  server = last->TarnScaleServer(one);
  const auto leaving = Configure(1, 1);
  Configure(2, 2);
  server->RunAllScales();
  server->CurrentFileName("plant.scl");
  server->SaveScaleSettings();
  std::unique_ptr<TarnServerConnection> next;
  std::vector<std::string> seen;
  const auto come = leaving->WeightData()->StatusChange.Subscribe([&] {
    if (!next) next = std::make_unique<TarnServerConnection>(host);
    seen.push_back(next->TarnScaleServer(one)->GetScale(2)->AliasName());
  });
  last.reset();
  EXPECT_EQ(seen, std::vector<std::string>{"Scale2"});
  EXPECT_NE(next->TarnScaleServer(one), server);
  EXPECT_TRUE(PortIsOpen(1) && PortIsOpen(2));
  next.reset();
  EXPECT_FALSE(PortIsOpen(1) || PortIsOpen(2));
}

TEST(TarnServerConnectionTest, AFailedStartLeavesNoServerBehind) {
  FakeHost host;
  host.files.failOpen.emplace("Default.log",
                              AutomationError(ErrorNumber::PermissionDenied, "no permission"));
  EXPECT_EQ(ErrorOf([&] { const TarnServerConnection failed(host); }), 70);
  host.files.failOpen.clear();
  std::int32_t number = 1;
  const TarnServerConnection connection(host);
  EXPECT_NE(connection.TarnScaleServer(number)->GetScale(1), nullptr);
}

TEST(ClassRegistry, MakesEveryClassUnderItsOwnName) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  for (const auto name : ClassNames()) {
    EXPECT_EQ(CreateClass(name, site)->ClassName(), name);
  }
  EXPECT_EQ(ErrorOf([&] { CreateClass("tarnscale", site); }), 429);
}

/// A file as the first version wrote it: later ones must go on reading it.
TEST(SettingsFile, TheFileOfTheFirstVersionIsRead) {
  std::ifstream file(TARN_TEST_DATA "/plant_1.scl", std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  ScaleTable table;
  table.Load(DecodeSettings(bytes), site);
  EXPECT_TRUE(host.traces.empty());
  const auto first = table.At(1);
  EXPECT_EQ(first->AliasName(),
            "Br\xC3\xBC"
            "cke 1");
  EXPECT_FALSE(first->Disabled());
  EXPECT_EQ(first->Protocol()->pType(), ProtocolType::TarnContinuousShort);
  const auto serial = std::dynamic_pointer_cast<SerialConnection>(first->Connection());
  ASSERT_NE(serial, nullptr);
  EXPECT_EQ(serial->ComPort(), 3);
  EXPECT_EQ(serial->BaudRate(), CommBaudRate::Baud_19200);
  EXPECT_TRUE(serial->IsBidirectional());
  EXPECT_EQ(table.At(2)->UpdateRate(), 2.5);
  EXPECT_EQ(table.At(2)->ActivityTimeoutTime(), 1500);
  EXPECT_TRUE(table.At(2)->Disabled());
  EXPECT_EQ(table.At(32)->AliasName(), "Scale32");
  EXPECT_EQ(EncodeSettings(table.Save()), bytes);  // and would be written the same
}

TEST(SettingsFile, TruncationAtEveryLengthIsAnError) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  ScaleTable table;
  table.FillNew(site);
  const std::string bytes = EncodeSettings(table.Save());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    ASSERT_EQ(ErrorOf([&] { DecodeSettings(std::string_view(bytes).substr(0, length)); }), 321)
        << length;
  }
  EXPECT_NE(DecodeSettings(bytes + "tail").FindObject("Scale32"), nullptr);
}

}  // namespace
}  // namespace tarn
