// A start that nobody watches: what fails is tried again where that is wanted, and a print record
// outlives the process.
#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "connections/serial_connection.hpp"
#include "platform/block_stream.hpp"
#include "protocols/tarn_continuous_protocol.hpp"
#include "server/tarn_scale_server.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/support/error_of.hpp"

namespace tarn {
namespace {

using ::testing::Contains;

TEST(UnattendedStart, APortThatIsMissingIsTriedAgainAndTheScaleShowsSilenceMeanwhile) {
  FakeHost host;
  TarnScaleServer server(host, StartMode::NoScale);
  const std::pair<bool, ErrorNumber> ports[] = {
      // comes back by itself, and what fails
      {true, ErrorNumber::InvalidPort},
      {false, ErrorNumber::InvalidPort},
      {true, ErrorNumber::InvalidPropertyValue},  // trying again would not mend that
      {true, ErrorNumber::PermissionDenied}};
  std::int16_t number = 0;
  for (const auto& [reconnects, error] : ports) {
    const auto scale = server.GetScale(++number);
    auto serial = std::make_shared<SerialConnection>(scale->Site());
    serial->ComPort(number);
    serial->AutoReconnect(reconnects);
    host.ports.back()->failOpen = AutomationError(error, "not there");
    scale->Connection(serial);
    scale->Protocol(std::make_shared<TarnContinuousProtocol>(scale->Site()));
    scale->ActivityTimeoutTime(1000);
    scale->Disabled(false);
  }
  std::vector<std::string> seen;
  for (const StartFailure& failure : server.RunEachScale()) {
    seen.push_back(std::to_string(failure.number) + (failure.isRetried ? " retried" : "") +
                   (failure.isPermission ? " permission" : ""));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"1 retried", "2", "3", "4 retried permission"}));
  EXPECT_EQ(ErrorOf([&] { server.GetScale(1)->RunScale(); }), 8002) << "as published";

  server.RunEachScale();
  server.GetScale(4)->StopScale();
  host.loop.Advance(2500);
  EXPECT_TRUE(server.GetScale(1)->WeightData()->NoDataError());
  for (const auto& port : host.ports) port->failOpen.reset();
  host.loop.Advance(60'000);
  EXPECT_THAT(host.traces, Contains("Scale 1: port 1 is connected"));
  for (const auto& port : host.ports) EXPECT_EQ(port->PortOpen(), port == host.ports[0]);
}

class RecordingStream final : public TextStream {
 public:
  void WriteLine(std::string_view) override {}
  void StoreEachLine() override { ++stored; }
  void Close() override {}
  int stored = 0;
};

TEST(StoreEachLine, IsASettingOfTheStoreThatIsOffAsARule) {
  for (const char* value : {"", "True"}) {
    FakeHost host;
    if (*value != 0) host.store.values["settings/storeeachline"] = value;
    TarnScaleServer server(host, StartMode::NoScale);
    const auto stream = std::make_shared<RecordingStream>();
    server.LogFile(stream);
    EXPECT_EQ(stream->stored, *value == 0 ? 0 : 1);
  }
}

struct Disk {
  std::string content;
  std::size_t room = 1000;
  bool stores = true;
};

class FakeFile final : public BlockStream::File {
 public:
  explicit FakeFile(Disk& disk) : disk_(disk) {}
  void Append(std::string& bytes) override {
    const std::size_t count = std::min(bytes.size(), disk_.room);
    disk_.content += bytes.substr(0, count);
    disk_.room -= count;
    bytes.erase(0, count);
    if (!bytes.empty()) throw AutomationError(ErrorNumber::DiskFull, "full");
  }
  bool Store() noexcept override { return disk_.stores; }

 private:
  Disk& disk_;
};

TEST(BlockStream, ALineThatIsStoredAtOnceIsWrittenWholeAndOnce) {
  const FakeLocale locale;
  Disk disk;
  BlockStream stream(std::make_unique<FakeFile>(disk), "log", locale);
  stream.WriteLine("one");
  EXPECT_EQ(disk.content, "");
  stream.StoreEachLine();
  stream.WriteLine("two");
  EXPECT_EQ(disk.content, "one\r\ntwo\r\n");
  disk.room = 0;
  for (int tries = 0; tries < 3; ++tries) EXPECT_EQ(ErrorOf([&] { stream.WriteLine("3"); }), 61);
  disk.room = 2;
  stream.WriteLine("three");  // begun, so it counts as taken
  disk.room = 1000;
  stream.WriteLine("four");
  EXPECT_EQ(disk.content, "one\r\ntwo\r\nthree\r\nfour\r\n");
  stream.Close();
  EXPECT_EQ(ErrorOf([&] { stream.WriteLine("five"); }), 91);
}

}  // namespace
}  // namespace tarn
