#include "server/tarn_scale_server.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "connections/no_connection.hpp"
#include "connections/serial_connection.hpp"
#include "scale/dialects.hpp"
#include "server/class_registry.hpp"
#include "server/settings_file.hpp"
#include "server/tarn_server_connection.hpp"
#include "shareddata/data_sets.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

using Messages = std::vector<std::string>;

class ServerTest : public ScaleFixture {
 protected:
  ~ServerTest() override { server.reset(); }

  void Start() {
    server = std::make_shared<TarnScaleServer>(host, StartMode::AsSettingsSay);
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
    serial = NewObject<SerialConnection>(*site, "SerialConnection");
    serial->ComPort(comPort);
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
    scale->Disabled(false);
    return scale;
  }
  /// The numbers of the ports that are open, with a blank behind each.
  std::string OpenPorts() const {
    std::string open;
    for (const auto& port : host.ports) {
      if (port->PortOpen()) open += std::to_string(port->PortNumber()) + " ";
    }
    return open;
  }
  /// The names of the files and the flags of the configuration.
  std::string State() const {
    return server->CurrentFileName() + " " + server->CurrentLogName() +
           (server->CurrentFileNew() ? " new" : "") + (server->CurrentFileDirty() ? " dirty" : "") +
           (server->LoggingEnabled() ? " logging" : "");
  }
  std::string& File(const char* name) { return host.files.contents[name]; }
  std::string Stored(const char* name) {
    return host.store.values[std::string("settings/") + name];
  }
  /// What fails with that file from now on.
  static std::pair<std::string, AutomationError> Failure(const char* file, ErrorNumber number) {
    return {file, {number, "out of order"}};
  }

  std::shared_ptr<TarnScaleServer> server;
  Messages messages;
  Subscription onInfo;
};

TEST_F(ServerTest, TheStartUpReadsTheStoreLoadsTheFileAndRunsTheScales) {
  host.store.failReads = true;  // the defaults stay
  Start();
  host.store.failReads = false;
  EXPECT_EQ(State(), "Default.scl Default.log new");
  EXPECT_TRUE(host.files.contents.contains("Default.log"));
  EXPECT_FALSE(host.files.contents.contains("Default.scl"));
  EXPECT_TRUE(server->SummitEnabled());
  EXPECT_EQ(server->GetServerPath(7), "/program");
  for (std::int16_t n = 1; n <= 32; ++n) {
    const auto scale = server->GetScale(n);
    EXPECT_TRUE(scale->Disabled());
    EXPECT_EQ(scale->AliasName(), "Scale" + std::to_string(scale->ScaleNumber()));
  }
  for (const std::int16_t n : {std::int16_t{0}, std::int16_t{33}}) {
    EXPECT_EQ(ErrorOf([&] { server->GetScale(n); }), 9) << n;
  }

  Configure(3, 5)->AliasName("Line 3");
  server->CurrentFileName("plant.scl");
  server->SaveScaleSettings();
  server->CurrentLogName("plant.log");
  server->LoggingEnabled(false);
  EXPECT_EQ(Stored("loggingenabled"), "False");
  server->LoggingEnabled(true);
  EXPECT_EQ(Stored("loggingenabled") + Stored("lastfile") + Stored("logfile"),
            "Trueplant.sclplant.log");
  EXPECT_EQ(OpenPorts(), "");

  host.files.contents.erase("Default.log");
  Restart();
  EXPECT_FALSE(host.files.contents.contains("Default.log"));  // the store comes before the log
  EXPECT_EQ(State(), "plant.scl plant.log logging");
  EXPECT_EQ(server->GetScale(3)->AliasName(), "Line 3");
  EXPECT_EQ(OpenPorts(), "5 ");
  EXPECT_TRUE(server->GetComPortUsed(5));
  server->LoadScaleSettings(true);
  EXPECT_FALSE(server->GetComPortUsed(5));
  host.store.values["settings/loggingenabled"] = "perhaps";
  Restart();
  EXPECT_EQ(State(), "plant.scl plant.log");
}

// --- Settings file ----------------------------------------------------------------------------

TEST_F(ServerTest, AMissingOrMalformedFileGivesANewConfigurationAndIsKeptByTheNextSave) {
  Start();
  const auto load = [&] {
    server->GetScale(1)->AliasName("old");
    server->CurrentFileName("a.scl");
    messages.clear();
    server->LoadScaleSettings(false);
    EXPECT_EQ(messages, Messages{"48 Can't open configuration settings file: a.scl"});
    EXPECT_EQ(State(), "a.scl Default.log new");
    EXPECT_EQ(server->GetScale(1)->AliasName(), "Scale1");
  };
  const std::string tooShort = EncodeSettings(PropertyBag()).substr(0, 14);
  auto& files = host.files.contents;
  const std::pair<std::string, std::string> cases[] = {// content, kept as
                                                       {"", ""},
                                                       {"no settings", ".unreadable"},
                                                       {tooShort, ".unreadable2"}};
  for (const auto& [content, kept] : cases) {
    if (!content.empty()) files["a.scl"] = content;
    load();
    server->CurrentFileName("another.scl");
    server->SaveScaleSettings();
    server->CurrentFileName("a.scl");
    for (int save = 0; save < 2; ++save) server->SaveScaleSettings();
    EXPECT_FALSE(server->CurrentFileNew());
    EXPECT_EQ(files["a.scl" + kept] == content, !kept.empty());
    EXPECT_NE(files["a.scl"], content);
  }
  // Where the copy cannot be made, nothing is overwritten.
  files["a.scl"] = "a third one";
  load();
  host.files.failWrite.insert(Failure("a.scl.unreadable3", ErrorNumber::DiskFull));
  server->SaveScaleSettings();
  EXPECT_EQ(files["a.scl"], "a third one");
  EXPECT_EQ(messages.back(), "48 Can't write configuration settings file: a.scl");
}

TEST_F(ServerTest, ASaveNamesThePlacesThatItFillsWithDefaults) {
  struct ClientConnection final : Connection {
    std::string_view ClassName() const override { return "NoConnection"; }
    bool IsClientMade() const override { return true; }
  };
  Start();
  const auto scale = server->GetScale(3);
  scale->AliasName("kept");
  scale->SummitData(nullptr);
  server->GetScale(4)->Connection(nullptr);
  scale->Connection(std::make_shared<ClientConnection>());
  server->SaveScaleSettings();
  EXPECT_EQ(messages,
            (Messages{"48 Objects of clients are not saved; defaults take their place: "
                      "Scale3.Connection",
                      "48 Nothing is set here, so defaults were saved: Scale3.SummitData, "
                      "Scale4.Connection"}));
  EXPECT_EQ(host.traces.size(), 2U);
  EXPECT_FALSE(server->CurrentFileDirty());
  server->LoadScaleSettings(false);
  const auto loaded = server->GetScale(3);
  EXPECT_EQ(loaded->AliasName(), "kept");
  EXPECT_EQ(loaded->SummitData()->ClassName(), "SummitData");
  for (const auto& one : {loaded, server->GetScale(4)}) {
    EXPECT_EQ(one->Connection()->ClassName(), "NoConnection");
  }
}

TEST_F(ServerTest, AFailingSaveReportsAndLeavesTheFlags) {
  class Unwritable final : public Connection {
    void WriteProperties(PropertyBag&) const override { ThrowOverflow(); }
  };
  Start();
  const auto scale = server->GetScale(2);
  const auto good = scale->Connection();
  const auto full = Failure("Default.scl", ErrorNumber::DiskFull);
  const struct {
    const char* trace;
    std::function<void()> breakIt;
    std::function<void()> mend;
  } cases[] = {
      {"order", [&] { host.files.failWrite.insert(full); }, [&] { host.files.failWrite.clear(); }},
      {"Scale2: Overflow", [&] { scale->Connection(std::make_shared<Unwritable>()); },
       [&] { scale->Connection(good); }},
      {"Scale2.AliasName is too long", [&] { scale->AliasName(std::string(5U << 20U, 'x')); },
       [&] { scale->AliasName("x"); }},
      {"store", [&] { host.store.failWrites = true; }, [&] { host.store.failWrites = false; }}};
  for (const auto& c : cases) {
    c.breakIt();
    messages.clear();
    server->CurrentFileDirty(true);
    server->SaveScaleSettings();
    c.mend();
    EXPECT_EQ(messages, Messages{"48 Can't write configuration settings file: Default.scl"});
    EXPECT_NE(host.traces.back().find(c.trace), std::string::npos) << host.traces.back();
    EXPECT_EQ(State(), "Default.scl Default.log new dirty");
    EXPECT_EQ(Stored("lastfile"), "");
  }
  server->SaveScaleSettings();
  EXPECT_FALSE(server->CurrentFileDirty());
}

TEST_F(ServerTest, WhatAClientWritesMakesTheConfigurationDirty) {
  Start();
  const auto scale = Configure(1, 1);
  const auto isDirty = [this](const std::function<void()>& write) {
    server->CurrentFileDirty(false);
    write();
    return server->CurrentFileDirty();
  };
  EXPECT_TRUE(isDirty([&] { scale->AliasName("x"); }));
  EXPECT_TRUE(isDirty([&] { serial->ComPort(2); }));
  EXPECT_TRUE(isDirty([&] { scale->Protocol()->pType(ProtocolType{4}); }));
  // Not so the lamps, what a running scale and its watchdog do, and the rate.
  EXPECT_FALSE(isDirty([&] { scale->ErrorLED(true), scale->ActivityLED(true); }));
  EXPECT_FALSE(isDirty([&] { scale->RunScale(), host.loop.Advance(3000), scale->StopScale(); }));
  EXPECT_FALSE(isDirty([&] { scale->UpdateRate(3); }));
  EXPECT_FALSE(isDirty([&] {
    server->CurrentFileDirty(true);
    server->LoadScaleSettings(true);
  }));
  EXPECT_FALSE(isDirty([&] { scale->AliasName("a scale that has left the table"); }));
}

TEST_F(ServerTest, AScaleThatCannotBeRestoredLeavesItsSlotEmptyAndCostsNoOther) {
  class FutureConnection final : public Connection {
    std::string_view ClassName() const override { return "FutureConnection"; }
  };
  Start();
  server->GetScale(5)->Connection(std::make_shared<FutureConnection>());
  Configure(2, 2);
  Configure(7, 7);
  server->SaveScaleSettings();
  const std::string file = File("Default.scl");
  server->LoadScaleSettings(false);
  EXPECT_TRUE(messages.empty());
  EXPECT_EQ(server->GetScale(5), nullptr);
  EXPECT_EQ(ErrorOf([&] { server->RunAllScales(); }), 91);
  EXPECT_EQ(OpenPorts(), "2 ");
  EXPECT_EQ(ErrorOf([&] { server->StopAllScales(); }), 91);
  EXPECT_EQ(ErrorOf([&] { server->SetComPortsUsed(); }), 91);
  const auto failures = server->RunEachScale();
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].number, 5);
  EXPECT_EQ(OpenPorts(), "2 7 ");

  // A start goes on behind the empty slot; a save keeps the file and gives the slot its default.
  Restart();
  EXPECT_EQ(OpenPorts(), "2 7 ");
  server->SaveScaleSettings();
  EXPECT_EQ(messages, Messages{"48 Nothing is set here, so defaults were saved: Scale5"});
  EXPECT_EQ(File("Default.scl.unreadable"), file);
  server->LoadScaleSettings(false);
  EXPECT_TRUE(server->GetScale(5)->Disabled());
}

TEST_F(ServerTest, ALoadStopsAndDetachesTheOldScales) {
  Start();
  const auto old = Configure(1, 1);
  old->RunScale();
  server->SaveScaleSettings();
  server->LoadScaleSettings(false);
  EXPECT_EQ(OpenPorts(), "");
  EXPECT_EQ(ErrorOf([&] { old->RunScale(); }), 91);
  server->RunAllScales();
  EXPECT_EQ(OpenPorts(), "1 ");

  // A client that loads again from inside the events of a load gets a whole table.
  bool again = false;
  const auto onLast = server->GetScale(1)->WeightData()->NewWeight.Subscribe([&] {
    if (!std::exchange(again, true)) server->LoadScaleSettings(true);
  });
  server->LoadScaleSettings(false);
  EXPECT_TRUE(again);
  for (std::int16_t n = 1; n <= 32; ++n) EXPECT_NE(server->GetScale(n), nullptr) << n;
}

// --- Running -----------------------------------------------------------------------------------

TEST_F(ServerTest, AFailureEndsRunAllScalesAndTheStartButNotRunEachScale) {
  Start();
  for (const std::int16_t n : std::initializer_list<std::int16_t>{1, 2, 3}) Configure(n, n);
  host.ports[1]->failOpen = AutomationError(ErrorNumber::InvalidPort, "no such port");
  EXPECT_EQ(ErrorOf([&] { server->RunAllScales(); }), 8002);
  EXPECT_EQ(OpenPorts(), "1 ");
  int stopped = 0;  // a disabled scale is stopped, too
  const auto watch = server->GetScale(9)->WeightData()->NewWeight.Subscribe([&] { ++stopped; });
  server->StopAllScales();
  EXPECT_EQ(OpenPorts(), "");
  EXPECT_EQ(stopped, 1);
  EXPECT_EQ(server->RunEachScale().size(), 1U);
  EXPECT_EQ(OpenPorts(), "1 3 ");
  EXPECT_EQ(messages, Messages{"48 Can't start scale 2 (Scale2): The port 2 (COM2) does not open: "
                               "no such port"});

  // The setting keeps a plant running in which two scales have the same port.
  serial = std::dynamic_pointer_cast<SerialConnection>(server->GetScale(2)->Connection());
  serial->ComPort(1);
  server->SaveScaleSettings();
  server.reset();
  EXPECT_EQ(ErrorOf([&] { const TarnServerConnection failed(host); }), 8005);
  EXPECT_EQ(OpenPorts(), "") << "nothing outlives a failed start";
  host.store.values["settings/starteachscale"] = "True";
  std::int32_t any = 1;
  const TarnServerConnection connection(host);
  server = connection.TarnScaleServer(any);
  EXPECT_EQ(OpenPorts(), "1 3 ");
  ASSERT_EQ(server->StartFailures().size(), 1U);
  EXPECT_EQ(server->StartFailures()[0].number, 2);
}

TEST_F(ServerTest, PortsInUseLeaveOutNumberThirtyTwo) {
  Start();
  for (const std::int16_t port : {std::int16_t{1}, std::int16_t{31}, std::int16_t{32}}) {
    Configure(port, port);
  }
  const auto used = [&] {
    std::string ports;
    for (int port = -5; port < 40; ++port) {
      if (server->GetComPortUsed(port)) ports += std::to_string(port) + " ";
    }
    return ports;
  };
  EXPECT_EQ(used(), "") << "marked on demand only";
  server->SetComPortsUsed();
  EXPECT_EQ(used(), "1 31 ");
  server->GetScale(1)->Connection(std::make_shared<NoConnection>());
  server->SetComPortsUsed();
  EXPECT_EQ(used(), "31 ");
}

// --- Log ---------------------------------------------------------------------------------------

TEST_F(ServerTest, PrintRecordsAreLoggedWhileLoggingIsOn) {
  Start();
  const auto scale = server->GetScale(1);
  const auto record = scale->WeightData();
  record->GrossWeight("12.5");
  record->TareWeight("0.5");
  record->NetWeight("12");
  record->Units("k\ng");
  // A quote is not escaped; a control character never reaches the file, so nothing forges a line.
  scale->AliasName("say \"B\"\r\n\x1b\x7f\xC2\x85\xC3\xA4");
  scale->printRequest(true);
  EXPECT_EQ(File("Default.log"), "");
  server->LoggingEnabled(true);
  scale->printRequest(true);
  const std::string line =
      "\"6/1/2024\",\"12:34:56\",\"say \"B\"?????\xE4\",12.5,0.5,12,\"k?g\"\r\n";
  EXPECT_EQ(File("Default.log"), line);
  server->CurrentLogName("second.log");
  server->LogFile()->WriteLine("a client's own line");
  EXPECT_EQ(File("Default.log") + File("second.log"), line + "a client's own line\r\n");

  // A full disk reaches the client that prints, and nothing else.
  host.files.failWrite.insert(Failure("second.log", ErrorNumber::DiskFull));
  EXPECT_EQ(ErrorOf([&] { scale->printRequest(true); }), 61);
  host.files.failClose.insert(Failure("second.log", ErrorNumber::DiskFull));
  EXPECT_EQ(ErrorOf([&] { server->CurrentLogName("third.log"); }), 61);
  scale->printRequest(true);
  EXPECT_NE(File("third.log"), "");
}

TEST_F(ServerTest, ALogThatCannotBeOpenedLocksNobodyOutAndIsTriedAgain) {
  Start();
  const std::pair<std::function<void()>, int> cases[] = {
      // with the error while the log is away
      {[&] { server->LoggingEnabled(true); }, 0},
      {[&] { server->LoggingEnabled(false); }, 0},
      {[&] { server->CurrentLogName("away.log"); }, 75},
      {[&] { server->GetScale(1)->printRequest(true); }, 75}};
  for (const auto& [attempt, error] : cases) {
    host.files.failOpen.insert(Failure("away.log", ErrorNumber::PathFileAccess));
    EXPECT_EQ(ErrorOf([&] { server->CurrentLogName("away.log"); }), 75);
    EXPECT_EQ(server->CurrentLogName(), "away.log");
    EXPECT_EQ(server->LogFile(), nullptr);
    server->LoggingEnabled(true);
    host.loop.ComeLate(1e8);
    host.traces.clear();
    Restart();
    EXPECT_EQ(host.traces.at(0), "The activity log away.log cannot be opened: out of order");
    EXPECT_EQ(ErrorOf(attempt), error);
    EXPECT_EQ(server->LogFile(), nullptr);
    host.files.failOpen.clear();
    EXPECT_EQ(ErrorOf(attempt), 0);
    EXPECT_NE(server->LogFile(), nullptr);
  }
  server->LogFile(nullptr);  // a client's own decision: nothing is opened instead
  EXPECT_EQ(ErrorOf([&] { server->GetScale(1)->printRequest(true); }), 91);
}

// --- Shut-down and the shared server -----------------------------------------------------------

TEST_F(ServerTest, AfterTheShutDownEverythingIsQuiet) {
  Start();
  const auto scale = Configure(1, 1);
  scale->RunScale();
  server->CurrentFileName("plant.scl");
  const auto log = server->LogFile();
  server->LoggingEnabled(true);
  auto last = scale->WeightData()->NewWeight.Subscribe([&] { scale->printRequest(true); });
  server->ShutDown();
  last.Reset();
  EXPECT_NE(File("Default.log"), "");  // still open while the scales go
  EXPECT_EQ(Stored("lastfile"), "plant.scl");
  EXPECT_FALSE(host.files.contents.contains("plant.scl"));
  EXPECT_EQ(OpenPorts(), "");
  EXPECT_EQ(ErrorOf([&] { server->GetScale(33); }), 9);
  for (const auto& call : std::vector<std::function<void()>>{
           [&] { log->WriteLine("x"); }, [&] { server->GetScale(1); },
           [&] { server->RunAllScales(); }, [&] { server->StopAllScales(); },
           [&] { server->LoadScaleSettings(true); }, [&] { server->SaveScaleSettings(); },
           [&] { server->SetComPortsUsed(); }, [&] { server->CurrentLogName("x"); },
           [&] { scale->RunScale(); }}) {
    EXPECT_EQ(ErrorOf(call), 91);
  }
  EventRecorder recorder;
  recorder.Watch(*scale);
  host.loop.Advance(10000);
  EXPECT_EQ(recorder.Take(), "");
  scale->printRequest(true);
}

TEST_F(ServerTest, AllConnectionsShareOneServerAsLongAsOneLives) {
  std::int32_t any = 77;
  auto first = std::make_unique<TarnServerConnection>(host);
  auto second = std::make_unique<TarnServerConnection>(host);
  server = first->TarnScaleServer(any);
  EXPECT_EQ(server, second->TarnScaleServer(any));
  EXPECT_EQ(any, 77);
  Configure(1, 1);
  Configure(2, 2);
  server->RunAllScales();
  server->CurrentFileName("plant.scl");
  server->SaveScaleSettings();
  const auto scale = server->GetScale(1);
  first.reset();
  EXPECT_EQ(server->GetScale(1), scale);

  // A client that comes inside the shut-down gets a fresh server, while both ports are still open.
  std::unique_ptr<TarnServerConnection> next;
  std::string seen;
  const auto come = scale->WeightData()->StatusChange.Subscribe([&] {
    if (!next) next = std::make_unique<TarnServerConnection>(host);
    seen += next->TarnScaleServer(any)->GetScale(2)->AliasName();
  });
  second.reset();
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(ErrorOf([&] { server->GetScale(1); }), 91);
  EXPECT_EQ(seen, "Scale2");
  EXPECT_NE(next->TarnScaleServer(any), server);
  EXPECT_EQ(next->TarnScaleServer(any)->CurrentFileName(), "plant.scl");
  EXPECT_EQ(OpenPorts(), "1 2 ");
  next.reset();
  EXPECT_EQ(OpenPorts(), "");
}

/// A protocol that lacks its row, its dialects or its family shows here.
TEST(ClassRegistry, HasAProtocolForEveryDialectThatUsersMayChoose) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  std::multiset<ProtocolClass> spoken;
  for (const ClassRow& row : RegisteredClasses()) {
    const auto made = CreateClass(row.name, site);
    const auto protocol = std::dynamic_pointer_cast<_Protocol>(made);
    EXPECT_EQ(protocol != nullptr, row.role == ClassRow::Role::Protocol) << row.name;
    if (!protocol || row.word.empty()) continue;
    spoken.insert(row.family);
    made->InitProperties();
    const Dialect* first = FindDialect(protocol->pType());
    ASSERT_NE(first, nullptr) << row.name;
    EXPECT_TRUE(first->family == row.family || first->type == ProtocolType::NoProtType) << row.name;
  }
  for (const Dialect& dialect : kDialects) {
    EXPECT_EQ(spoken.count(dialect.family), dialect.word.empty() ? 0 : 1) << dialect.name;
  }
  for (const DataSet& set : DataSets()) {
    EXPECT_EQ(CreateClass(set.data.name, site)->ClassName(), set.data.name);
    EXPECT_EQ(CreateClass(set.configuration.name, site)->ClassName(), set.configuration.name);
  }
}

/// A file as the first version wrote it: later ones must go on reading it, and would write it the
/// same.
TEST_F(ServerTest, TheFileOfTheFirstVersionIsRead) {
  std::ifstream file(TARN_TEST_DATA "/plant_1.scl", std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  ScaleTable table;
  // What stands behind is the tail of a longer old file.
  EXPECT_TRUE(table.Load(DecodeSettings(bytes + "an old tail"), site));
  EXPECT_TRUE(host.traces.empty());
  EXPECT_EQ(table.At(1)->AliasName(), "Br\xC3\xBC\x63ke 1");
  EXPECT_EQ(table.At(1)->Protocol()->pType(), ProtocolType::TarnContinuousShort);
  EXPECT_EQ(table.At(2)->UpdateRate(), 2.5);
  EXPECT_EQ(EncodeSettings(table.Save()), bytes);
}

/// No bit of the header or of the first entry's frame may flip unnoticed.
TEST_F(ServerTest, AFlippedBitIsRefusedOrNoticedByTheLoad) {
  ScaleTable table;
  table.FillNew(site);
  const std::string bytes = EncodeSettings(table.Save());
  for (std::size_t at = 0; at < 16 * 8; ++at) {
    std::string flipped = bytes;
    flipped[at / 8] = static_cast<char>(flipped[at / 8] ^ (1 << at % 8));
    bool whole = false;
    ErrorOf([&] { whole = ScaleTable().Load(DecodeSettings(flipped), site); });
    EXPECT_FALSE(whole) << "bit " << at;
  }
}

}  // namespace
}  // namespace tarn
