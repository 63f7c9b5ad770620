// The live tables on a host of fakes: the monitor of a server, and the table of others' events.
#include "tools/tarnscale/monitor_model.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "connections/ethernet_connection.hpp"
#include "connections/serial_connection.hpp"
#include "tests/tools/scale_tool_fixture.hpp"
#include "tools/tarnscale/event_table.hpp"

namespace tarn::tool {
namespace {

using Key = Console::Key;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

/// A frame of 12.34 kg net and no tare, unless a flag of status B is given.
std::string Frame(char flags = 0) {
  return std::string("\x02\x24") + static_cast<char>(0x30 | flags) + " 001234000000\r";
}
constexpr char kMotion = 0x08;

class MonitorModelTest : public ScaleToolFixture {
 protected:
  void Start(bool all = false) {
    host.store.values["settings/lastfile"] = kFile;
    model.reset();
    server.emplace(host, StartMode::EachScale);
    model.emplace(host.loop, *server, MonitorModel::Options{.title = "t", .all = all},
                  [] { return WallTime(); });
  }
  void SetSerial(int number, std::initializer_list<std::string_view> more) {
    Set(number, {"connection=serial", "protocol=continuous", "enabled=yes"});
    Set(number, more);
  }
  FakeSerialPort& Port(std::int16_t scale) {
    const auto connection = server->GetScale(scale)->Connection();
    return dynamic_cast<FakeSerialPort&>(*dynamic_cast<SerialConnection&>(*connection).SaxPort());
  }
  bool Press(std::string_view characters) {
    bool goesOn = true;
    for (const char c : characters) goesOn = model->HandleKey(Key::Character, c);
    return goesOn;
  }
  void Press(Key key) { EXPECT_TRUE(model->HandleKey(key, 0)); }
  MonitorRow Row(std::size_t index = 0) { return model->Snapshot().rows.at(index); }
  std::vector<std::string> Events() { return model->Snapshot().events; }

  std::optional<TarnScaleServer> server;
  std::optional<MonitorModel> model;
};

TEST_F(MonitorModelTest, ARowFollowsItsScale) {
  SetSerial(4, {"alias=Line 4", "port=7"});
  SetSerial(5, {"port=5", "protocol=generic", "type=fairbanks"});
  Start();
  ASSERT_EQ(model->RowCount(), 2U);
  for (int i = 0; i < 10; ++i) {
    Port(4).Deliver(Frame(kMotion));
    Port(5).Deliver("   12.50 kg   \r\n");
    host.loop.Advance(100);
  }
  const MonitorRow row = Row();
  EXPECT_EQ(row.number, 4);
  EXPECT_EQ(row.alias + ", " + row.connection + ", " + row.protocol,
            "Line 4, COM7 9600,e,7,2, continuous standard");
  EXPECT_EQ(row.reading.gross, "12.34");
  EXPECT_TRUE(row.reading.motion);
  EXPECT_TRUE(row.activityLed);
  EXPECT_EQ(row.condition, "");
  EXPECT_DOUBLE_EQ(row.readingsPerSecond, 10) << "without the reports of the watchdog";
  EXPECT_EQ(Row(1).reading.net, "12.50") << "though every frame ends with no data";
  EXPECT_FALSE(Row(1).reading.noData);

  host.loop.Advance(6000);  // silence
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_TRUE(Row(i).reading.noData && Row(i).errorLed) << i;
    EXPECT_DOUBLE_EQ(Row(i).readingsPerSecond, 0);
  }
  EXPECT_EQ(Events().size(), 4U) << "good and stale, twice; changes of state are in the row";
  EXPECT_THAT(Events().back(), HasSubstr("Scale 5: condition stale: no byte"));
}

TEST_F(MonitorModelTest, ThePaneShowsTheLineOfTheSelectedScale) {
  SetSerial(1, {"alias=A"});
  Start();
  Port(1).Deliver("\x02short\r" + Frame());
  EXPECT_THAT(model->Snapshot().detail, IsEmpty());
  Press("i");
  const auto detail = model->Snapshot().detail;
  EXPECT_EQ(detail.at(0), "Scale 1 (A): good; the reading is 0 s old");
  EXPECT_THAT(detail.at(1), HasSubstr("bytesIn 24  bytesOut 0  frames 1"));
  EXPECT_THAT(detail.at(2), testing::StartsWith(" 02 73 68 6F 72 74 0D"));
  const auto lines = DrawMonitor(model->Snapshot(), {80, 20}).lines;
  EXPECT_THAT(lines, testing::Contains(HasSubstr("|.short..$0 00123|")));
  EXPECT_EQ(lines.size(), 20U);
  Press("i");
  EXPECT_THAT(model->Snapshot().detail, IsEmpty());
}

TEST_F(MonitorModelTest, TemplateRecordsPassAndAConnectionShowsItsState) {
  Set(1, {"alias=A", "connection=serial", "protocol=template", "fields=2", "terminator=;",
          "field1=Id", "enabled=yes"});
  Set(2, {"connection=ethernet", "protocol=tcp-template", "enabled=yes"});
  Start();
  EXPECT_EQ(Row(1).condition, "unconnected");
  const auto connection = server->GetScale(2)->Connection();
  dynamic_cast<FakeSocket&>(*dynamic_cast<EthernetConnection&>(*connection).mvarSocket()).Accept();
  EXPECT_EQ(Row(1).condition, "");
  Port(1).Deliver("A17,12.5;");
  EXPECT_THAT(model->Snapshot().passing,
              testing::ElementsAre(EndsWith("Scale 1 (A): record Id=A17, Field2=12.5")));
}

TEST_F(MonitorModelTest, KeysReachTheTerminalOfTheSelectedScale) {
  SetSerial(1, {"port=1", "bidirectional=yes"});
  SetSerial(2, {"port=2", "bidirectional=yes"});
  Start();
  Press("zt");
  Press(Key::Down);
  Press("cp");
  EXPECT_EQ(Port(1).written, "ZT");
  EXPECT_EQ(Port(2).written, "CP");

  Press("s1q2,55");  // in the prompt no key is a command
  Press(Key::Backspace);
  EXPECT_THAT(model->Snapshot().prompt, HasSubstr("12,5_"));
  Press(Key::Enter);
  EXPECT_EQ(Port(2).written, "CP12.5T");
  EXPECT_EQ(model->Snapshot().prompt, "");
  Press("s7");
  Press(Key::Escape);
  Press("s1-2");
  Press(Key::Enter);
  EXPECT_EQ(Port(2).written, "CP12.5T");
  EXPECT_THAT(Events().back(), HasSubstr("'1-2'"));

  Port(2).Unplug();
  EXPECT_EQ(Row(1).condition, "port closed");
  EXPECT_TRUE(Press("z")) << "a command that cannot be given ends nothing";
  EXPECT_THAT(Events().back(), HasSubstr("The port 2 is not open"));
}

TEST_F(MonitorModelTest, AScaleThatDidNotStartCanBeStartedLater) {
  SetSerial(1, {"port=5"});
  SetSerial(2, {"port=5"});
  Start();
  EXPECT_EQ(Row(1).condition, "not started");
  Press("d");
  EXPECT_EQ(Row(0).condition, "disabled");
  Press("je");
  EXPECT_EQ(Row(1).condition, "");
  Port(2).Deliver(Frame());
  EXPECT_EQ(Row(1).reading.net, "12.34");
  Press("R");
  EXPECT_THAT(Events(), testing::Contains(EndsWith("print gross 12.34 tare 0.00 net 12.34 kg")));
  Press("ke");
  EXPECT_THAT(Events().back(), HasSubstr("Scale 1: start failed: "));
}

TEST_F(MonitorModelTest, SelectionStaysInTheTableAlsoInAnEmptyOne) {
  Set(1, {"enabled=no"});
  Start(true);
  EXPECT_EQ(model->RowCount(), 32U);
  Press(Key::Up);
  EXPECT_EQ(model->Snapshot().selected, 0U);
  Press(Key::PageDown);
  EXPECT_EQ(model->Snapshot().selected, 10U);
  Press(Key::End);
  Press("j");
  EXPECT_EQ(model->Snapshot().selected, 31U);
  EXPECT_FALSE(Press("q"));

  Start();
  EXPECT_EQ(model->RowCount(), 0U);
  EXPECT_TRUE(Press("zspredjk"));
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(MonitorModelTest, ATableShowsTheEventsOfOtherPrograms) {
  Set(3, {"alias=Line 3", "connection=serial", "protocol=mira"});
  ScaleFile file(host, kFile);
  file.Load();
  EventTable table(host.loop, EventTable::RowsOf(file), "others", [] { return WallTime(); });
  const auto row = [&table] { return table.Snapshot().rows.at(0); };
  EXPECT_EQ(row().condition, "no event yet");
  host.loop.Advance(5000);
  table.Snapshot();
  const std::string begin = R"({"scale":3,"event":)";
  for (int i = 0; i < 10; ++i) table.HandleLine(begin + R"("NewWeight","net":"1.5"})");
  table.HandleLine(begin + R"("StatusChange","net":"Error"})");  // behind a weight it says nothing
  table.HandleLine(begin + R"("NewStatus","activityLED":true})");
  host.loop.Advance(1000);
  EXPECT_EQ(row().reading.net + row().condition, "1.5");
  EXPECT_TRUE(row().activityLed);
  EXPECT_DOUBLE_EQ(row().readingsPerSecond, 10);
  table.HandleLine(begin + R"("PrintRecord","net":"7"})");
  table.HandleLine(begin + R"("NewDataReady","fields":[]})");
  table.HandleLine(R"({"scale":4,"event":"NewWeight","net":"2"})");
  EXPECT_THAT(table.Snapshot().events,
              testing::ElementsAre(HasSubstr("net 7"), HasSubstr("Scale 4: weight")));
  EXPECT_EQ(table.Snapshot().passing.size(), 1U);
}

}  // namespace
}  // namespace tarn::tool
