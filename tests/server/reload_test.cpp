// A reload of the settings file, and how it is reported: what has not changed goes on.
#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "outlets/event_watch.hpp"
#include "server/settings_file.hpp"
#include "tests/tools/scale_tool_fixture.hpp"
#include "tools/tarnscale/running_scales.hpp"
#include "tools/tarnscale/service_report.hpp"

namespace tarn::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class ReloadTest : public ScaleToolFixture {
 protected:
  ReloadTest() {
    for (const int number : {1, 2}) Serial(number, number);
    host.store.values["settings/lastfile"] = kFile;
    server = std::make_unique<TarnScaleServer>(host, StartMode::NoScale);
    StartScales(*server);
  }
  void Serial(int number, int port) {
    Set(number, {"connection=serial", "protocol=generic", "type=fairbanks",
                 "port=" + std::to_string(port), "enabled=yes"});
  }
  FakeSerialPort& Port(int number) {
    for (const auto& port : host.ports) {
      if (port->PortOpen() && port->PortNumber() == number) return *port;
    }
    throw std::logic_error("no such port is open");
  }
  std::string Reload() {
    return ReloadWords(server->Reload([](TarnScale& scale) { PrepareScale(scale, {}); }), *server);
  }
  std::string& File() { return host.files.contents[kFile]; }

  std::unique_ptr<TarnScaleServer> server;
};

TEST_F(ReloadTest, OnlyChangedScalesAreReplacedAndWatchersFollowThem) {
  std::map<int, double> weights;
  const EventWatch watch(
      *server, {.readingsOnly = true}, [] { return WallTime(); },
      [&weights](const ScaleEvent& event) {
        if (!event.reading.noData) weights[event.scale] = event.reading.netValue;
      });
  const auto first = server->GetScale(1);
  const auto second = server->GetScale(2);
  const auto third = server->GetScale(3);
  first->ErrorLED(true);  // saved with the scale, but no setting
  EXPECT_EQ(Reload(), "nothing has changed");
  Port(1).Deliver("   12.50 k");  // half a frame, whose rest comes after the reload

  Set(2, {"alias=Packing", "port=5"});
  EXPECT_EQ(Reload(), "new settings for Scale 2 (Packing); the others run on");
  EXPECT_EQ(server->GetScale(1), first);
  EXPECT_EQ(server->GetScale(3), third);
  EXPECT_NE(server->GetScale(2), second);
  EXPECT_EQ(server->GetScale(2)->ScaleNumber(), 2);
  EXPECT_EQ(second->ScaleNumber(), 0);
  EXPECT_THROW(Port(2), std::logic_error);
  Port(1).Deliver("g   \r\n");
  Port(5).Deliver("    3.00 kg   \r\n");
  host.loop.Advance(300);
  EXPECT_THAT(weights, ElementsAre(Pair(1, 12.5), Pair(2, 3)));

  // Scales may exchange their ports.
  Set(1, {"port=5"});
  Set(2, {"port=1"});
  EXPECT_THAT(Reload(), HasSubstr("Scale 1, Scale 2 (Packing)"));
  EXPECT_THAT(server->StartFailures(), IsEmpty());
  Port(5).Deliver("   13.50 kg   \r\n");
  host.loop.Advance(300);
  EXPECT_EQ(weights[1], 13.5);
  server->SaveScaleSettings();
  EXPECT_EQ(Reload(), "nothing has changed");
}

TEST_F(ReloadTest, WhatCannotBeReadLeavesTheScalesAsTheyAre) {
  const auto first = server->GetScale(1);
  const std::string whole = File();
  Set(1, {"alias=New"});
  const std::string changed = File();
  for (const auto& damaged : {std::string(), changed.substr(0, changed.size() / 2)}) {
    File() = damaged;
    EXPECT_THROW(Reload(), AutomationError);
  }
  File() = changed;
  PropertyBag bag = DecodeSettings(changed);
  bag.WriteValues("Scale1", "Nonsense", PropertyBag());
  File() = EncodeSettings(bag);
  EXPECT_EQ(Reload(),
            "nothing has changed; damaged entries, whose scales run on as they are: "
            "Scale 1");
  EXPECT_EQ(server->GetScale(1), first);
  EXPECT_TRUE(Port(1).PortOpen());
  server->SaveScaleSettings();
  EXPECT_TRUE(host.files.contents.contains("plant.scl.unreadable"));
}

struct RecordingManager final : ServiceManager {
  bool Notify(std::string_view states) override {
    if (!full) seen += states;
    return !full;
  }
  double WatchdogTime() const override { return 30'000; }
  static inline std::string seen;
  static inline bool full;
};

TEST_F(ReloadTest, TheServiceManagerLearnsWhatDoesNotAnswerAndThatTheLoopRuns) {
  const auto take = [] { return std::exchange(RecordingManager::seen, {}); };
  RecordingManager::full = true;
  ServiceReport report(std::make_unique<RecordingManager>(), host.loop, *server);
  RecordingManager::full = false;
  host.loop.Advance(1000);
  EXPECT_THAT(take(), HasSubstr("READY=1\nSTATUS=0 of 2 scales good; 1 (Scale1): "));
  for (int i = 0; i < 40; ++i) {
    for (const int port : {1, 2}) Port(port).Deliver("   12.50 kg   \r\n");
    host.loop.Advance(500);
  }
  EXPECT_EQ(take(), "STATUS=2 of 2 scales good\nWATCHDOG=1\n");
  Port(1).Unplug();
  for (int i = 0; i < 3; ++i) {
    Port(2).Deliver("   12.50 kg   \r\n");
    host.loop.Advance(500);
  }
  EXPECT_THAT(take(), HasSubstr("STATUS=1 of 2 scales good; 1 (Scale1): "));
  for (std::int16_t number = 3; number <= 10; ++number) server->GetScale(number)->Disabled(false);
  EXPECT_THAT(ServiceStatus(*server), testing::EndsWith("; 4 more"));
  report.Reloading();
  EXPECT_THAT(take(), testing::StartsWith("RELOADING=1\nMONOTONIC_USEC=2"));
  report.Ready();
  EXPECT_THAT(take(), HasSubstr("READY=1\n"));
}

}  // namespace
}  // namespace tarn::tool
