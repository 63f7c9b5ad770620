#include "tools/tarnscale/scale_keys.hpp"

#include <map>
#include <vector>

#include "connections/serial_connection.hpp"
#include "protocols/template_protocol.hpp"
#include "tests/tools/scale_tool_fixture.hpp"
#include "tools/tarnscale/class_names.hpp"

namespace tarn::tool {
namespace {

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
  const struct {
    std::string pair;
    std::string key;
    std::string shown;
  } cases[] = {
      {"alias=Line = 1", "alias", "Line = 1"},
      {"disabled=1", "enabled", "no"},
      {"port=com12", "port", "12"},
      {"parity=M", "parity", "mark"},
      {"PROTOCOL=Continuous", "protocol", "continuous"},
      {"connection=SerialConnection", "connection", "serial"},
      {"type=short-setpoint", "type", "short-setpoint"},
      {"type=4", "type", "short"},
      {"protocol=mira", "type", "sir"},
      {"protocol=generic", "type", "none"},
      {"protocol=shared-data", "letter", "a"},
      {"letter=B", "letter", "b"},
      {"protocol=variables", "type", "none"},
      {"type=cells", "countstype", "longarray"},
      {"counts=abc12", "counts", "abc12"},
      {"countstype=LongCharArray", "countstype", "longchararray"},
      {"type=basic", "variables", ""},
      {"variables=A:a1:float:4:poll,B:b2:string:20:write", "variables",
       "A:a1:float:4:poll,B:b2:string:20:write"},
      {"connection=arcnet", "connection", "arcnet"},
      {"node=12", "node", "12"},
      {"cluster=A", "cluster", "a"},
      {"connection=ethernet", "checksender", "yes"},
      {"reconnect=on", "reconnect", "yes"},
      {"detect-minimum=0.25", "detect-minimum", "0.25"},
      {"detect-digits=5", "detect-digits", "5"},
  };
  Apply(kSerial);
  for (const auto& c : cases) {
    Apply({c.pair});
    EXPECT_EQ(Values()[c.key], c.shown) << c.pair;
  }
}

TEST_F(ScaleKeysTest, WhatDoesNotFitIsRefusedAndChangesNothing) {
  const struct {
    std::vector<std::string> before;
    std::vector<std::string> pairs;
  } cases[] = {
      {{}, {"alias", "=x", "color=red", "baud=9600", "connection=pigeon", "protocol=morse"}},
      {{}, {"enabled=maybe", "rate=-1", "rate=1001", "rate=nan", "timeout=1.5"}},
      {{}, {"timeout=2147483648", "detect-minimum=-1", "detect-minimum=yes", "detect-rearm=nan"}},
      {{}, {"detect-stable=-1", "detect-stable=0.5", "detect-digits=1e10"}},
      {{"connection=serial"}, {"type=short"}},
      {kSerial, {"port=0", "port=32768", "port=/dev/ttyS0", "baud=34800", "baud="}},
      {kSerial, {"parity=x", "parity=evenly", "databits=9", "stopbits=3", "type=GSE550"}},
      {kSerial, {"type=99"}},
      {{"protocol=mira"}, {"type=none", "type=standard", "type=gse550"}},
      {{"protocol=generic", "type=gse550"}, {"type=none", "type=sir"}},
      {{"protocol=shared-data", "letter=c"}, {"letter=", "letter=f", "letter=ab", "type=short"}},
      {{"protocol=variables", "type=cells"}, {"counts=toolong", "countstype=bit", "variables="}},
      {{"protocol=variables", "type=basic"},
       {"variables=x", "variables=a:b:long:3", "variables=a:b:bit:1,a:c:bit:1", "counts=abc",
        "variables=a:b:bit:1:read", "variables=a:b:bit:99999"}},
  };
  for (const auto& c : cases) {
    Apply({"connection=none", "protocol=none"});
    Apply(c.before);
    const auto values = Values();
    for (const std::string& pair : c.pairs) EXPECT_THROW(Apply({pair}), UsageError) << pair;
    EXPECT_EQ(Values(), values);
  }
}

TEST_F(ScaleKeysTest, WhatIsShownCanBeSetAgain) {
  Apply(kSerial);
  Apply({"alias=Line 1", "port=7", "baud=110", "parity=space", "databits=4", "stopbits=1.5",
         "bidirectional=yes", "type=short", "rate=0.25", "timeout=700", "detect-minimum=2",
         "detect-stable=0", "detect-digits=0", "detect-rearm=1", "enabled=yes"});
  const auto values = Values();
  Apply(kSerial);
  EXPECT_EQ(Values(), values) << "the settings of what is there are kept";
  Apply({"connection=none", "protocol=none", "alias=", "enabled=no", "rate=1", "timeout=0"});
  Apply(kSerial);
  EXPECT_NE(Values(), values);
  for (const auto& [key, value] : values) Apply({key + "=" + value});
  EXPECT_EQ(Values(), values);
  std::dynamic_pointer_cast<SerialConnection>(Scale().Connection())->BaudRate(CommBaudRate{13});
  EXPECT_EQ(Values()["baud"], "index 13, which is none");
}

TEST_F(ScaleKeysTest, TemplatesAreSetAndShownWithTheirControlCharacters) {
  Apply({"connection=ethernet", "protocol=tcp-template", "fields=3", "start=\\x02",
         "delimiter=\xC2\xA7", "terminator=\\r\\n", "recordtime=0", "demand=\\\\", "field1=Id\\b",
         "field20=last"});
  const auto values = Values();
  EXPECT_EQ(values.at("start") + values.at("delimiter") + values.at("terminator") +
                values.at("demand") + values.at("field1"),
            "\\x02\xC2\xA7\\r\\n\\\\Id\\b");
  const auto protocol = std::dynamic_pointer_cast<TemplateProtocol>(Scale().Protocol());
  EXPECT_EQ(protocol->TemplateConfig()->Terminator(), "\r\n");
  EXPECT_EQ(protocol->TemplateConfig()->FieldName(20), "last");
  for (const char* wrong : {"fields=0", "fields=21", "start=\\", "start=\\x0", "start=\\q",
                            "recordtime=-1", "field0=x", "field21=x", "type=short"}) {
    EXPECT_THROW(Apply({wrong}), UsageError) << wrong;
  }
  Apply({"protocol=none", "protocol=tcp-template"});
  EXPECT_EQ(Values()["field20"], "Field20");
  for (const auto& [key, value] : values) Apply({key + "=" + value});
  EXPECT_EQ(Values(), values);
}

TEST(ProtocolTypeNames, EveryDialectIsFoundByItsNameWordAndNumber) {
  for (std::int32_t i = 0; i <= 28; ++i) {
    const ProtocolType type{i};
    for (const std::string& text :
         {ProtocolTypeName(type), ProtocolTypeWord(type), std::to_string(i)}) {
      EXPECT_EQ(ParseProtocolType(text), type) << text;
    }
  }
  EXPECT_EQ(ProtocolTypeName(ProtocolType{-1}), "-1");
  for (const char* none : {"99", "-1", "", "01"}) EXPECT_FALSE(ParseProtocolType(none)) << none;
}

}  // namespace
}  // namespace tarn::tool
