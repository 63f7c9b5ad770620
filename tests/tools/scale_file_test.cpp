// The settings file without a server, and how show prints it.
#include "tools/tarnscale/scale_file.hpp"

#include <nlohmann/json.hpp>

#include "tests/tools/scale_tool_fixture.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

using Json = nlohmann::json;
using testing::HasSubstr;
using testing::ThrowsMessage;

class ScaleFileTest : public ScaleToolFixture {
 protected:
  std::string Shown(bool all = false) {
    ScaleFile file(host, kFile);
    file.Load();
    return ShowText(file, all);
  }
  Json ShownJson(bool all = false) {
    ScaleFile file(host, kFile);
    file.Load();
    return Json::parse(ShowJson(file, all))["scales"];
  }
};

TEST_F(ScaleFileTest, AScaleIsConfiguredWhenAnySettingDiffersFromANewOne) {
  int number = 1;
  for (const char* setting : {"alias=Line 2", "enabled=yes", "rate=4", "timeout=700",
                              "connection=serial", "protocol=mira", "enabled=no"}) {
    Set(++number, {setting});
  }
  ScaleFile file(host, kFile);
  file.Load();
  EXPECT_EQ(file.Scale(2).AliasName(), "Line 2");
  EXPECT_EQ(file.Scale(32).AliasName(), "Scale32");
  for (int i = 1; i <= 32; ++i) EXPECT_EQ(IsConfigured(file.Scale(i), i), i >= 2 && i <= 7) << i;
  EXPECT_EQ(ShownJson().size(), 6U);
  EXPECT_EQ(ShownJson(true).size(), 32U);
  EXPECT_THAT(Shown(true), HasSubstr("Scale 32: not set up\n"));
}

TEST_F(ScaleFileTest, WhatCannotBeReadOrWrittenSaysSoAndIsNeverOverwritten) {
  host.files.contents[kFile] = "something else";
  EXPECT_THAT([&] { Set(1, {"alias=x"}); },
              ThrowsMessage<Failure>(HasSubstr("Not a settings file")));

  host.files.contents.clear();
  Set(5, {"protocol=mira"});
  std::string& content = host.files.contents[kFile];
  content.replace(content.find("MiraProtocol"), 4, "Xira");
  const std::string before = content;
  for (const int number : {1, 5}) {
    EXPECT_THAT([&] { Set(number, {"alias=x"}); },
                ThrowsMessage<Failure>(HasSubstr("'plant.scl' is damaged: entry of scale 5")));
  }
  EXPECT_EQ(host.files.contents[kFile], before);
  EXPECT_EQ(Shown(), "Scale 5: its entry in the settings file is damaged\n");
  EXPECT_TRUE(ShownJson()[0].contains("error"));

  host.files.contents.clear();
  host.files.failWrite.emplace(kFile, AutomationError(ErrorNumber::DiskFull, "The disk is full"));
  EXPECT_THAT([&] { Set(1, {"alias=x"}); },
              ThrowsMessage<Failure>(HasSubstr("file 'plant.scl': The disk is full")));
}

TEST_F(ScaleFileTest, ShowPrintsWhatSetTakes) {
  Set(1, {"enabled=no"});
  EXPECT_THAT(Shown(), HasSubstr("no scale of 'plant.scl' is set up"));
  Set(3, {"alias=Line \x1b[2J3", "connection=serial", "port=2", "baud=38400", "parity=odd",
          "stopbits=1.5", "rate=0.5", "protocol=continuous", "type=short"});
  EXPECT_EQ(Shown(),
            "Scale 3: COM2 38400,o,7,1.5, continuous short\n  alias=\"Line ?[2J3\"\n  enabled=no\n"
            "  timeout=0\n  corrected=no\n  connection=serial\n  port=2\n  baud=38400\n"
            "  parity=odd\n  databits=7\n  stopbits=1.5\n  bidirectional=no\n  reconnect=no\n"
            "  protocol=continuous\n  type=short\n");
  EXPECT_EQ(ShownJson()[0].dump(),
            R"({"alias":"Line \u001b[2J3","connection":{"baud":38400,"bidirectional":false,)"
            R"("class":"SerialConnection","databits":7,"device":"","parity":"odd","port":2,)"
            R"("reconnect":false,"stopbits":1.5},"corrected":false,"detect-digits":1,)"
            R"("detect-minimum":0,"detect-rearm":0,"detect-stable":1000,"enabled":false,)"
            R"("protocol":{"class":"TarnContinuousProtocol","type":"short"},"rate":0.5,)"
            R"("scale":3,"timeout":0})");
}

}  // namespace
}  // namespace tarn::tool
