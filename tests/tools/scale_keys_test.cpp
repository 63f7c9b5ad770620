#include "tools/tarnscale/scale_keys.hpp"

#include <map>
#include <vector>

#include "connections/serial_connection.hpp"
#include "tests/tools/scale_tool_fixture.hpp"
#include "tools/tarnscale/class_names.hpp"

namespace tarn::tool {
namespace {

using testing::HasSubstr;

class ScaleKeysTest : public ScaleToolFixture {
 protected:
  ScaleKeysTest() { file.LoadOrNew(); }

  void Apply(const std::vector<std::string>& pairs) {
    for (const std::string& pair : pairs) ApplyPair(Scale(), file.Site(), pair);
  }
  TarnScale& Scale() { return file.Scale(1); }
  /// Everything that is shown of the scale.
  std::map<std::string, std::string> Values() {
    std::map<std::string, std::string> values;
    for (const ScaleKey& key : ScaleKeys()) {
      if (key.Fits(Scale())) values[std::string(key.name)] = ValueText(key.get(Scale()));
    }
    return values;
  }

  ScaleFile file{host, kFile};
  const std::vector<std::string> kSerial = {"connection=serial", "protocol=continuous"};
};

TEST_F(ScaleKeysTest, TextsBecomeSettings) {
  struct Case {
    std::string pair;
    std::string key;
    std::string shown;
  };
  const std::vector<Case> cases = {
      {"alias=Line = 1", "alias", "Line = 1"},
      {"alias=", "alias", ""},
      {"enabled=YES", "disabled", "no"},
      {"disabled=1", "enabled", "no"},
      {"rate=2.5", "rate", "2.5"},
      {"timeout=1500", "timeout", "1500"},
      {"port=com12", "port", "12"},
      {"port=32767", "port", "32767"},
      {"baud=38400", "baud", "38400"},
      {"baud=921600", "baud", "921600"},
      {"parity=M", "parity", "mark"},
      {"parity=none", "parity", "none"},
      {"databits=8", "databits", "8"},
      {"stopbits=1.5", "stopbits", "1.5"},
      {"bidirectional=on", "bidirectional", "yes"},
      {"PROTOCOL=Continuous", "protocol", "continuous"},
      {"connection=SerialConnection", "connection", "serial"},
      {"type=short-setpoint", "type", "TarnContinuousShortSetpoint"},
      {"type=tarncontinuousstandardcount", "type", "TarnContinuousStandardCount"},
      {"type=4", "type", "TarnContinuousShort"},
  };
  Apply(kSerial);
  for (const Case& c : cases) {
    Apply({c.pair});
    EXPECT_EQ(Values()[c.key], c.shown) << c.pair;
  }
}

TEST_F(ScaleKeysTest, LineSettingsAreTheOnesThatThePortGets) {
  Apply(kSerial);
  Apply({"port=3", "baud=38400", "parity=odd", "databits=8", "stopbits=1", "enabled=yes"});
  Scale().RunScale();
  EXPECT_EQ(host.ports.back()->PortNumber(), 3);
  EXPECT_EQ(host.ports.back()->Settings(), "38400,o,8,1");
}

TEST_F(ScaleKeysTest, WhatDoesNotFitIsRefusedAndChangesNothing) {
  struct Case {
    std::vector<std::string> before;
    std::string pair;
    std::string complaint;
  };
  const std::vector<Case> cases = {
      {{}, "alias", "KEY=VALUE"},
      {{}, "=x", "KEY=VALUE"},
      {{}, "color=red", "no key 'color'"},
      {{}, "baud=9600", "belongs to connection=serial, and this scale has connection=none"},
      {{"connection=serial"}, "type=short", "belongs to protocol=continuous"},
      {{}, "connection=carrier-pigeon", "none, serial"},
      {{}, "protocol=morse", "none, continuous"},
      {{}, "enabled=maybe", "yes or no"},
      {{}, "rate=-1", "0 to 1000"},
      {{}, "rate=1001", "0 to 1000"},
      {{}, "rate=nan", "0 to 1000"},
      {{}, "timeout=1.5", "whole milliseconds"},
      {{}, "timeout=2147483648", "whole milliseconds"},
      {kSerial, "port=0", "port number"},
      {kSerial, "port=32768", "port number"},
      {kSerial, "port=/dev/ttyS0", "--port 3=DEVICE"},
      {kSerial, "baud=34800", "38400"},
      {kSerial, "baud=", "110, 300"},
      {kSerial, "parity=x", "n, e, o, s, m"},
      {kSerial, "parity=evenly", "none, even"},
      {kSerial, "databits=9", "8, 7, 6, 5, 4"},
      {kSerial, "stopbits=3", "1, 1.5, 2"},
      {kSerial, "type=GSE550", "standard-count"},
      {kSerial, "type=29", "standard-count"},
  };
  for (const Case& c : cases) {
    Apply({"connection=none", "protocol=none"});
    Apply(c.before);
    const auto values = Values();
    EXPECT_THAT(ErrorText<UsageError>([&] { Apply({c.pair}); }), HasSubstr(c.complaint)) << c.pair;
    EXPECT_EQ(Values(), values) << c.pair;
  }
}

TEST_F(ScaleKeysTest, WhatIsShownCanBeSetAgain) {
  Apply(kSerial);
  Apply({"alias=Line 1", "port=7", "baud=110", "parity=space", "databits=4", "stopbits=1.5",
         "bidirectional=yes", "type=short", "rate=0.25", "timeout=700", "enabled=yes"});
  const auto values = Values();
  Apply({"connection=none", "protocol=none", "alias=", "enabled=no", "rate=1", "timeout=0"});
  Apply(kSerial);
  for (const auto& [key, value] : values) Apply({key + "=" + value});
  EXPECT_EQ(Values(), values);
}

TEST_F(ScaleKeysTest, ChoosingTheSameConnectionAgainKeepsItsSettings) {
  Apply(kSerial);
  Apply({"port=9", "type=short", "connection=serial", "protocol=continuous"});
  EXPECT_EQ(Values()["port"], "9");
  EXPECT_EQ(Values()["type"], "TarnContinuousShort");
}

TEST_F(ScaleKeysTest, AnIndexThatIsNoneIsShownAsSuch) {
  Apply(kSerial);
  std::dynamic_pointer_cast<SerialConnection>(Scale().Connection())->BaudRate(CommBaudRate{13});
  EXPECT_EQ(Values()["baud"], "index 13, which is none");
}

TEST(ProtocolTypeNames, EveryDialectIsFoundByItsNameWordAndNumber) {
  for (std::int32_t i = 0; i <= 28; ++i) {
    const ProtocolType type{i};
    EXPECT_EQ(ParseProtocolType(ProtocolTypeName(type)), type);
    EXPECT_EQ(ParseProtocolType(ProtocolTypeWord(type)), type);
    EXPECT_EQ(ParseProtocolType(std::to_string(i)), type);
  }
  EXPECT_EQ(ProtocolTypeName(ProtocolType{24}), "CardinalScbdContinuous");
  EXPECT_EQ(ProtocolTypeName(ProtocolType{-1}), "-1");
  for (const char* none : {"29", "-1", "", "01"}) EXPECT_FALSE(ParseProtocolType(none)) << none;
}

}  // namespace
}  // namespace tarn::tool
