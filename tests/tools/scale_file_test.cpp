// The settings file without a server, and how show prints it.
#include "tools/tarnscale/scale_file.hpp"

#include <nlohmann/json.hpp>

#include "base/persistable.hpp"
#include "server/settings_file.hpp"
#include "tests/tools/scale_tool_fixture.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

using Json = nlohmann::json;
using testing::HasSubstr;

/// An object of a class that this version does not have.
class Stranger final : public Persistable {
 public:
  std::string_view ClassName() const override { return "StrangeScale"; }
};

class ScaleFileTest : public ScaleToolFixture {
 protected:
  /// A file whose scale 5 cannot be restored.
  void WriteStrangeFile() {
    PropertyBag bag;
    bag.WriteObject("Scale5", Stranger());
    WriteSettingsFile(host.files, kFile, bag);
  }
  std::string Shown(bool all = false) {
    ScaleFile file(host, kFile);
    file.Load();
    return ShowText(file, all);
  }
  Json ShownJson(bool all = false) {
    ScaleFile file(host, kFile);
    file.Load();
    return Json::parse(ShowJson(file, all));
  }
};

TEST_F(ScaleFileTest, ANewFileHoldsAllScalesWithTheirNames) {
  Set(2, {"alias=Line 2", "rate=4"});
  ScaleFile file(host, kFile);
  file.Load();
  EXPECT_EQ(file.Scale(1).AliasName(), "Scale1");
  EXPECT_EQ(file.Scale(2).AliasName(), "Line 2");
  EXPECT_EQ(file.Scale(2).UpdateRate(), 4);
  EXPECT_EQ(file.Scale(32).AliasName(), "Scale32");
  EXPECT_FALSE(IsConfigured(file.Scale(1), 1));
  EXPECT_TRUE(IsConfigured(file.Scale(2), 2));
}

TEST_F(ScaleFileTest, AMissingFileSaysHowToMakeOne) {
  ScaleFile file(host, "my plant.scl");
  EXPECT_THAT(ErrorText<Failure>([&] { file.Load(); }),
              HasSubstr("no settings file 'my plant.scl': create one with: "
                        "tarnscale set \"my plant.scl\" 1 alias="));
  EXPECT_TRUE(host.files.contents.empty());
}

TEST_F(ScaleFileTest, AFileThatIsNoneIsNeverTakenForANewOne) {
  host.files.contents[kFile] = "something else";
  ScaleFile file(host, kFile);
  EXPECT_THAT(ErrorText<Failure>([&] { file.LoadOrNew(); }), HasSubstr("Not a settings file"));
}

TEST_F(ScaleFileTest, AnEntryThatCannotBeRestoredIsNeverOverwritten) {
  WriteStrangeFile();
  const std::string before = host.files.contents[kFile];
  EXPECT_THAT(ErrorText<Failure>([&] { Set(1, {"alias=x"}); }),
              HasSubstr("scale 5 of 'plant.scl' cannot be restored"));
  EXPECT_THAT(ErrorText<Failure>([&] { Set(5, {"alias=x"}); }), HasSubstr("scale 5"));
  EXPECT_EQ(host.files.contents[kFile], before);
}

TEST_F(ScaleFileTest, AFailureToWriteIsToldWithTheName) {
  host.files.failWrite.emplace(kFile, AutomationError(ErrorNumber::DiskFull, "The disk is full"));
  EXPECT_EQ(ErrorText<Failure>([&] { Set(1, {"alias=x"}); }),
            "cannot write the settings file 'plant.scl': The disk is full");
}

TEST_F(ScaleFileTest, ShowPrintsWhatSetTakes) {
  Set(3, {"alias=Line \x1b[2J3", "connection=serial", "port=2", "bidirectional=yes",
          "protocol=continuous", "type=short", "enabled=yes"});
  EXPECT_EQ(Shown(),
            "scale 3: COM2 9600,e,7,2, continuous short\n"
            "  alias=\"Line ?[2J3\"\n"
            "  enabled=yes\n"
            "  rate=10\n"
            "  timeout=0\n"
            "  connection=serial\n"
            "  port=2\n"
            "  baud=9600\n"
            "  parity=even\n"
            "  databits=7\n"
            "  stopbits=2\n"
            "  bidirectional=yes\n"
            "  reconnect=no\n"
            "  protocol=continuous\n"
            "  type=TarnContinuousShort\n");
}

TEST_F(ScaleFileTest, ShowJsonNestsConnectionAndProtocol) {
  Set(3, {"connection=serial", "stopbits=1.5", "protocol=continuous", "rate=0.5"});
  const Json expected = Json::parse(R"({"file": "plant.scl", "scales": [{
      "scale": 3, "alias": "Scale3", "enabled": false, "rate": 0.5, "timeout": 0,
      "connection": {"class": "SerialConnection", "port": 1, "baud": 9600, "parity": "even",
                     "databits": 7, "stopbits": 1.5, "bidirectional": false,
                     "reconnect": false},
      "protocol": {"class": "TarnContinuousProtocol", "type": "TarnContinuousStandard"}}]})");
  EXPECT_EQ(ShownJson(), expected);
  EXPECT_TRUE(ShownJson()["scales"][0]["connection"]["baud"].is_number_integer());
}

TEST_F(ScaleFileTest, ShowLeavesOutWhatIsNotConfiguredUnlessAskedForAll) {
  Set(1, {"enabled=no"});
  EXPECT_THAT(Shown(), HasSubstr("no scale of 'plant.scl' is configured"));
  EXPECT_TRUE(ShownJson()["scales"].empty());
  EXPECT_EQ(ShownJson(true)["scales"].size(), 32U);
  EXPECT_THAT(Shown(true), HasSubstr("scale 32: none, none\n  alias=Scale32\n"));
}

TEST_F(ScaleFileTest, ShowNamesAScaleThatCannotBeRestored) {
  WriteStrangeFile();
  EXPECT_EQ(Shown(), "scale 5: cannot be restored from the file\n");
  EXPECT_TRUE(ShownJson()["scales"][0].contains("error"));
}

}  // namespace
}  // namespace tarn::tool
