// Each reading that the published rules falsify or withhold, by these rules and by the corrected
// ones.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "connections/arcnet_connection.hpp"
#include "protocols/template_protocol.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "shareddata/tag_messages.hpp"
#include "tests/support/scale_fixture.hpp"
#include "tests/support/shared_data.hpp"

namespace tarn {
namespace {

class CorrectedReadings : public ScaleFixture {
 protected:
  /// gross|tare|net units, then E for NoDataError.
  static std::string ReadingOf(const TarnScale& scale) {
    const auto& w = *scale.WeightData();
    return w.GrossWeight() + "|" + w.TareWeight() + "|" + w.NetWeight() + " " + w.Units() +
           (w.NoDataError() ? " E" : "");
  }
};

TEST_F(CorrectedReadings, OfSerialFrames) {
  const std::string error = "Error|Error|Error";
  const std::string net = "*******|*******|";
  const struct {
    int type;
    std::string frame;
    std::string published;
    std::string corrected;
  } cases[] = {
      // A negative gross, one of seven digits, and code 7's tare under weights of both signs.
      {1, "\x02+2 012345000000\r", "-123.5|0.0|-1234.5 kg", "-1234.5|0.0|-1234.5 kg"},
      {1, "\x02-0 999999999999\r", "199.998|999.999|999.999 kg", "1999.998|999.999|999.999 kg"},
      {2, "\x02/0 000500150000\r", "1.50500|0.50000|0.00500 kg", "1.50500|1.50000|0.00500 kg"},
      {3, "\x02/2 000050000100\r", "0.00050|-0.00100|-0.00050 kg", "0.00050|0.00100|-0.00050 kg"},
      {4, "\x02+2 012345\r", net + "-1234.5 kg", net + "-1234.5 kg"},
      // The frames that end in no data, the sign that is read twice, and the unit of one letter.
      {24, "\r-12.50  ckg    \x03", error + "  E", "*******||******* "},
      {24, "\r-12.50  nkg    \x03", error + " kg E", net + "-12.50 kg"},
      {24, "\r 12.50  nkg    \x03", error + " kg E", net + "12.50 kg"},
      {25, "   123.4 kg  g\r\n", error + " kg E", net + "123.4 kg"},
      {26, "\x02M    123.4 kg        \r\n", error + " kg E", net + "123.4 kg"},
      {27, "\x02- 12.50L  G\r\n", error + "  E", net + "-12.50 lb"},
      {27, "\x02  12.50k  G\r\n", error + "  E", net + "12.50 kg"},
      {28, "  -12.50 lb   \r\n", error + " lb E", net + "-12.50 lb"},
      {28, "\r\n", error + "  E", error + "  E"},
  };
  for (const auto& c : cases) {
    for (const bool correct : {false, true}) {
      const auto scale = NewSerialScale(c.type < 6 ? "TarnContinuousProtocol" : "GenericProtocol");
      scale->Protocol()->pType(ProtocolType{c.type});
      scale->CorrectReadings(correct);
      scale->UpdateRate(0);
      scale->RunScale();
      Port().Deliver(c.frame);
      EXPECT_EQ(ReadingOf(*scale), correct ? c.corrected : c.published) << c.type << c.frame;
      if (correct && c.corrected.starts_with(net)) {
        Port().Deliver(c.frame.substr(c.frame.size() - 1));  // a bad one, a sound one behind it
        Port().Deliver(c.frame);
        EXPECT_EQ(ReadingOf(*scale), c.corrected) << c.type << " after a bad frame";
      }
      scale->StopScale();
    }
  }
}

TEST_F(CorrectedReadings, OfRecords) {
  const struct {
    std::vector<std::string> pieces;
    std::string published;
    std::string corrected;
  } cases[] = {
      {{"1,2\r\n3,4,5\r\n"}, "1|2\r\n3|4; ", "1|2|; 3|4|5; "},
      {{"1,2,3\r\n4,5,6\r\n"}, "1|2|3\r\n4; ", "1|2|3; 4|5|6; "},
      {{"1,2,3,\r\n", "4,5,6,\r", "\n"}, "1|2|3; \r\n4|5|6; ||; ", "1|2|3; 4|5|6; "},
      {{"1,2,3,4,5,6,7"}, "1|2|3; ", "1|2|3; 4|5|6; "},
  };
  for (const auto& c : cases) {
    for (const bool correct : {false, true}) {
      const auto scale = NewSerialScale("DemandTemplateProtocol");
      scale->CorrectReadings(correct);
      const auto config =
          std::dynamic_pointer_cast<TemplateProtocol>(scale->Protocol())->TemplateConfig();
      config->NumFields(3);
      config->Terminator("\r\n");
      scale->RunScale();
      std::string records;
      const auto data = scale->TarnRecordTemplateData();
      const auto filed = data->NewDataReady.Subscribe([&] {
        records += data->FieldData(1) + "|" + data->FieldData(2) + "|" + data->FieldData(3) + "; ";
        data->ClearFields();
      });
      for (const std::string& piece : c.pieces) Port().Deliver(piece);
      EXPECT_EQ(records, correct ? c.corrected : c.published) << c.pieces[0];
      records.clear();
      host.loop.Advance(1000);  // what is left of a record is late, and nothing else is
      EXPECT_TRUE(!correct || records.empty() == c.pieces[0].ends_with('\n')) << c.pieces[0];
      scale->StopScale();
    }
  }
}

TEST_F(CorrectedReadings, OverTheTerminalNetwork) {
  host.terminalNetwork.variables = {{"/a12/_safl", "\x20\x02"},
                                    {"/a12/wt101", "12.5"},
                                    {"/a12/wt102", "10.0"},
                                    {"/a12/ws102", "2.5"},
                                    {"/a12/wt103", "kg"}};
  const auto registrations = [&] {
    std::string text;
    for (const auto& call : std::exchange(host.terminalNetwork.calls, {})) {
      if (call.starts_with("KesRegister") || call.starts_with("KesClose")) text += call[3];
    }
    return text;
  };
  const auto make = [this](std::int16_t number) {
    auto scale = NewScale(number);
    scale->CorrectReadings(true);
    const auto network = NewObject<ArcNetConnection>(*site, "ArcNetConnection");
    network->Cluster("A");
    network->KestrelNum("12");
    scale->Connection(network);
    const auto protocol = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
    protocol->scaleNum("A");
    scale->Protocol(protocol);
    scale->Disabled(false);
    return scale;
  };
  const auto first = make(1);
  const auto second = make(2);
  registrations();
  first->RunScale();
  second->RunScale();
  host.loop.Advance(100);
  EXPECT_EQ(ReadingOf(*second), "12.5|2.5|10.0 kg");
  first->RunScale();
  first->StopScale();
  first->StopScale();
  EXPECT_EQ(registrations(), "R") << "once each, however often it starts and stops";
  second->Connection(nullptr);
  EXPECT_EQ(registrations(), "C") << "one that is replaced counts no more";
  first->RunScale();
  first->CorrectReadings(false);
  EXPECT_EQ(registrations(), "RC");
}

TEST_F(CorrectedReadings, OfAnUnsignedLong) {
  const std::string high("\x01\0\0\x80", 4);
  KesMessage message(host.locale);
  message.LoadReply(Reply("/k1/abc", high), kMessageHeaderLength + 4);
  SDTagInfo tag;
  tag.TagType(SDTagType::SDULongType);
  tag.TagDataLen(4);
  ConvertReadData(tag, message, ReadingRules::Published);
  EXPECT_EQ(tag.TagData(), TagValue("\x01"));
  ConvertReadData(tag, message, ReadingRules::Corrected);
  EXPECT_EQ(tag.TagData(), TagValue(2147483649.0));

  const auto written = [&](TagValue value, ReadingRules rules) {
    message.InitWriteRequest("/w1/w0001", "/k1/abc", 3);
    PutTagValue(message, SDTagType::SDULongType, value, ".", rules);
    return message.GetRequestBytes().substr(kMessageHeaderLength, 4);
  };
  EXPECT_EQ(written(2147483649.0, ReadingRules::Published), "2147");
  EXPECT_EQ(written("2147483649", ReadingRules::Corrected), high);
  for (const double outside : {4294967296.0, -1.0}) {
    EXPECT_EQ(ErrorOf([&] { written(outside, ReadingRules::Corrected); }), 6);
  }
}

TEST_F(CorrectedReadings, SurviveALogThatCannotBeWritten) {
  site->Log().Open("full.log");
  host.files.failWrite.insert({"full.log", AutomationError(ErrorNumber::DiskFull, "full")});
  for (const bool correct : {false, true}) {
    site->Log().Enabled(true);
    const auto scale = NewSerialScale("TarnContinuousProtocol");
    scale->CorrectReadings(correct);
    scale->RunScale();
    const auto deliver = [&] { Port().Deliver("\x02+0(001234000100\r"); };
    EXPECT_EQ(ErrorOf(deliver), correct ? 0 : 61) << "with a print request of the terminal";
    EXPECT_EQ(scale->WeightData()->NoDataError(), !correct);
    EXPECT_EQ(scale->PRState(), !correct);
    EXPECT_EQ(scale->PrintData()->NetWeight(), correct ? "123.4" : "Error");
    EXPECT_EQ(ErrorOf([&] { scale->printRequest(true); }), 61) << "whose call prints hears of it";
    EXPECT_EQ(host.traces.size(), correct ? 1U : 0U);
    site->Log().Enabled(false);
  }
}

}  // namespace
}  // namespace tarn
