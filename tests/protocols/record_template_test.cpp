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

TEST_F(RecordTemplate, CutsTheFirstCompleteRecord) {
  const std::string nineteen = "1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,";
  const std::string all = "1|2|3|4|5|6|7|8|9|10|11|12|13|14|15|16|17|18|19|20|";
  const struct {
    const char* name;
    std::int16_t numFields;
    const char *start, *delimiter, *terminator;
    std::string buffer;
    int count;  ///< 0: the buffer stays as it is
    std::string fields, rest;
  } cases[] = {
      {"the defaults want all fields", 20, "", ",", "", nineteen, 0, "", nineteen},
      {"and the last delimiter", 20, "", ",", "", nineteen + "20,x", 20, all, "x"},
      {"start string and terminator", 3, "#", ",", "\r\n", "xx#1,2,3\r\n", 3, "1|2|3|", ""},
      {"fewer fields", 3, "#", ",", "\r\n", "#1,2\r\n", 2, "1|2|", ""},
      {"a terminator alone is one field", 3, "", ",", "\r\n", "\r\n", 1, "|", ""},
      {"no start string", 3, "#", ",", "\r\n", "1,2,3\r\n", 0, "", "1,2,3\r\n"},
      {"the first start string counts", 2, "#", ",", ";", "#1#2,3;", 2, "1#2|3|", ""},
      {"half a terminator", 3, "", ",", "\r\n", "1,2,3\r", 0, "", "1,2,3\r"},
      {"no field more than wanted", 2, "", ",", ";", "1,2,3;", 2, "1|2|", "3;"},
      {"the terminator behind a delimiter stays", 2, "", ",", ";", "1,2,;", 2, "1|2|", ";"},
      {"and begins the next record", 2, "", ",", "\r\n", "\r\n3,4,", 2, "\r\n3|4|", ""},
      {"two short records join at the seam", 3, "", ",", ";", "1,2;3,4;", 3, "1|2;3|4|", ""},
      {"empty fields", 3, "", ",", ";", ",,;", 3, "|||", ""},
      {"long separators", 2, "<<", "::", ">>", "<<a:b::c>d>><<", 2, "a:b|c>d|", "<<"},
      {"overlapping separators", 2, "", "aa", "", "1aaa2aaa", 2, "1|a2|", "a"},
      {"case counts", 2, "", "X", "", "1x2X3X", 2, "1x2|3|", ""},
      {"an empty delimiter consumes nothing", 2, "#", "", "", "-#1", 2, "||", "1"},
      {"nor is it found in nothing", 2, "#", "", ";", "#", 0, "", "#"},
      {"zero bytes are text", 2, "", ",", ";", std::string("a\0b,\0;", 6), 2,
       std::string("a\0b|\0|", 6), ""},
      {"bytes of the code page", 2, "", "\xC2\xA7", "", "1\xA7\xFC\xA7", 2, "1|\xFC|", ""},
      {"what the code page lacks is no question mark", 2, "", "\xE2\x82\xBF", ";", "1?2?3;", 1,
       "1?2?3|", ""},
  };
  for (const auto& c : cases) {
    config->NumFields(c.numFields);
    config->StartString(c.start);
    config->Delimiter(c.delimiter);
    config->Terminator(c.terminator);
    std::string buffer = c.buffer;
    std::vector<std::string> fields;
    EXPECT_EQ(config->ParseRecord(buffer, fields), c.count) << c.name;
    EXPECT_EQ(buffer, c.rest) << c.name;
    EXPECT_EQ(Joined(fields), c.fields) << c.name;
  }
}

TEST_F(RecordTemplate, EverySetterMarksAndTells) {
  std::string told;
  const auto onProperty = config->PropertyChanged.Subscribe(
      [&](std::string_view name) { told += std::string(name) + " "; });
  const auto onChange = config->ConfigChanged.Subscribe([&] { told += "Changed "; });
  for (const auto& [written, kept] : {std::pair{0, 1}, {25, 20}, {-32768, 1}, {7, 7}, {7, 7}}) {
    config->NumFields(static_cast<std::int16_t>(written));
    EXPECT_EQ(config->NumFields(), kept);
    EXPECT_EQ(std::exchange(told, {}), "NumFields Changed ");
  }
  config->Delimiter(",");
  config->StartString("s");
  config->Terminator("t");
  config->Timeout(-5);
  config->DemandOutput("?");
  EXPECT_EQ(std::exchange(told, {}),
            "Delimiter Changed StartString Changed Terminator Changed Timeout Changed "
            "DemandOutput Changed ");
  config->FieldName(20, "longer than eight");
  EXPECT_EQ(config->FieldNameArray()[19], "longer than eight");
  EXPECT_EQ(std::exchange(told, {}), "FieldName Changed ");
  for (const std::int16_t index : std::initializer_list<std::int16_t>{0, 21, -1}) {
    EXPECT_EQ(ErrorOf([&] { config->FieldName(index, "x"); }), 9);
    EXPECT_EQ(ErrorOf([&] { (void)config->FieldName(index); }), 9);
  }
  EXPECT_EQ(told, "");
  EXPECT_EQ(config->MaxNumFields() + config->MaxFieldNameLen(), 28);
  // A handler may let go of the template.
  const auto release = config->PropertyChanged.Subscribe([&](std::string_view) { config.reset(); });
  config->Timeout(1);
  EXPECT_EQ(told, "Timeout Changed ");
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
  restored->ReadProperties(wild);
  EXPECT_EQ(restored->NumFields(), 20);
}

}  // namespace
}  // namespace tarn
