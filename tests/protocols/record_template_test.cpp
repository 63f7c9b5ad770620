#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocols/tarn_record_template_config.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

std::string Joined(const std::vector<std::string>& fields) {
  std::string text;
  for (const std::string& field : fields) text += field + "|";
  return text;
}

class RecordTemplate : public ScaleFixture {
 protected:
  std::shared_ptr<TarnRecordTemplateConfig> config =
      NewObject<TarnRecordTemplateConfig>(*site, "TarnRecordTemplateConfig");
};

TEST_F(RecordTemplate, LooksForTheBytesOfItsTexts) {
  std::vector<std::string> fields;
  std::string buffer = "1\xA7\xFC\xA7?;";
  config->NumFields(2);
  config->Terminator(";");
  config->Delimiter("\xC2\xA7");
  EXPECT_EQ(config->ParseRecord(buffer, fields), 2);
  EXPECT_EQ(Joined(fields) + buffer, "1|\xFC|?;");
  config->Delimiter("\xE2\x82\xBF");  // what the code page lacks is no question mark
  EXPECT_EQ(config->ParseRecord(buffer, fields), 1);
}

TEST_F(RecordTemplate, EverySetterMarksAndTells) {
  std::string told;
  const auto onProperty = config->PropertyChanged.Subscribe(
      [&](std::string_view name) { told += std::string(name) + " "; });
  const auto onChange = config->ConfigChanged.Subscribe([&, c = config.get()] {
    told += "Changed:" + std::to_string(c->NumFields()) + c->Delimiter() + c->StartString() +
            c->Terminator() + std::to_string(c->Timeout()) + c->DemandOutput() + c->FieldName(20) +
            " ";
  });
  for (const auto& [written, kept] : {std::pair{0, 1}, {25, 20}, {-32768, 1}, {7, 7}, {7, 7}}) {
    config->NumFields(static_cast<std::int16_t>(written));
    EXPECT_EQ(config->NumFields(), kept);
    const std::string stored = std::to_string(kept);
    EXPECT_EQ(std::exchange(told, {}), "NumFields Changed:" + stored + ",500PField20 ");
  }
  config->Delimiter("d");
  config->StartString("s");
  config->Terminator("t");
  config->Timeout(-5);
  config->DemandOutput("?");
  EXPECT_EQ(std::exchange(told, {}),
            "Delimiter Changed:7d500PField20 StartString Changed:7ds500PField20 "
            "Terminator Changed:7dst500PField20 Timeout Changed:7dst-5PField20 "
            "DemandOutput Changed:7dst-5?Field20 ");
  config->FieldName(20, "longer than eight");
  EXPECT_EQ(std::exchange(told, {}), "FieldName Changed:7dst-5?longer than eight ");
  for (const std::int16_t index : std::initializer_list<std::int16_t>{0, 21, -1}) {
    EXPECT_EQ(ErrorOf([&] { config->FieldName(index, "x"); }), 9);
    EXPECT_EQ(ErrorOf([&] { (void)config->FieldName(index); }), 9);
  }
  EXPECT_EQ(told, "");
  EXPECT_EQ(config->MaxNumFields() + config->MaxFieldNameLen(), 28);
  // A handler may let go of the template.
  const auto release = config->PropertyChanged.Subscribe([&](std::string_view) { config.reset(); });
  config->Timeout(1);
  EXPECT_EQ(told, "Timeout Changed:7dst1?longer than eight ");
}

TEST_F(RecordTemplate, SettingsSurviveInTheirOrder) {
  PropertyBag defaults;
  config->WriteProperties(defaults);
  EXPECT_TRUE(defaults.IsEmpty());
  EXPECT_EQ(config->FieldName(7) + config->DemandOutput() + std::to_string(config->Timeout()),
            "Field7P500");
  config->NumFields(3);
  config->Delimiter("\xC2\xA7");
  config->StartString("\x02");
  config->Terminator("\r\n");
  config->Timeout(0);
  config->DemandOutput("");
  config->FieldName(1, "Id");
  config->FieldName(20, "");
  PropertyBag bag;
  config->WriteProperties(bag);
  const std::string contents = bag.Contents();
  std::size_t last = 0;
  for (const char* key : {"NumFields", "Delimiter", "StartString", "Terminator", "Timeout",
                          "DemandOutput", "FieldName1", "FieldName20"}) {
    EXPECT_GT(contents.find(key), last) << key;
    last = contents.find(key);
  }
  const auto restored =
      std::dynamic_pointer_cast<TarnRecordTemplateConfig>(site->Create("TarnRecordTemplateConfig"));
  restored->ReadProperties(bag);
  EXPECT_EQ(restored->FieldNameArray(), config->FieldNameArray());
  PropertyBag again;
  restored->WriteProperties(again);
  EXPECT_EQ(again.Contents(), contents);
  std::string buffer =
      "\x02"
      "a\xA7"
      "b\r\n";
  std::vector<std::string> fields;
  EXPECT_EQ(restored->ParseRecord(buffer, fields), 2);
  PropertyBag wild;
  wild.WriteInteger("NumFields", 99, 0);
  std::string told;
  const auto onChange = restored->ConfigChanged.Subscribe([&] { told += "Changed "; });
  restored->ReadProperties(wild);
  EXPECT_EQ(told, "Changed ");
  EXPECT_EQ(restored->NumFields(), 20);
}

}  // namespace
}  // namespace tarn
