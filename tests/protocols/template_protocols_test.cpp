#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "connections/ethernet_connection.hpp"
#include "protocols/keep_alive.hpp"
#include "protocols/kes_demand_template_protocol.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

const std::string kAlive(kKeepAliveText);

/// Both protocols over their own kind of line, with a template of three fields that end with CR LF.
class TemplateLines : public ScaleFixture {
 protected:
  void Start(bool overNetwork) {
    network = overNetwork;
    protocol.reset();
    scale.reset();
    Socket().calls.clear();
    if (network) {
      scale = NewScale();
      ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
      ethernet->IPAddress("127.0.0.2");
      scale->Connection(ethernet);
      scale->Protocol(NewObject<_Protocol>(*site, "KesDemandTemplateProtocol"));
      scale->Disabled(false);
    } else {
      scale = NewSerialScale("DemandTemplateProtocol");
    }
    protocol = std::dynamic_pointer_cast<TemplateProtocol>(scale->Protocol());
    config = protocol->TemplateConfig();
    config->NumFields(3);
    config->Terminator("\r\n");
    scale->RunScale();
    if (network) Socket().Accept();
    const auto data = scale->TarnRecordTemplateData();
    subscriptions.clear();
    subscriptions.push_back(scale->NewStatus.Subscribe([this] {
      log += std::string("Lamps(") + (scale->ActivityLED() ? "A" : "") +
             (scale->ErrorLED() ? "E" : "") + ") ";
    }));
    subscriptions.push_back(data->NewDataReady.Subscribe([this, d = data.get()] {
      log += "New(" + d->FieldData(1) + "|" + d->FieldData(2) + "|" + d->FieldData(3) + ") ";
    }));
    subscriptions.push_back(data->TimeoutError.Subscribe([this] { log += "Timeout "; }));
    subscriptions.push_back(data->ConfigChanged.Subscribe([this] { log += "Config "; }));
    log.clear();
  }
  FakeSocket& Socket() { return *std::dynamic_pointer_cast<FakeSocket>(site->Winsock(1)); }
  /// Bytes, or "+" and milliseconds; gives what was raised.
  std::string Do(const std::string& input) {
    if (input.starts_with('+'))
      host.loop.Advance(std::stod(input));
    else if (network)
      Socket().Deliver(input);
    else
      Port().Deliver(input);
    host.loop.RunPending();
    return std::exchange(log, {});
  }
  std::string DoAll(std::initializer_list<std::string> inputs) {
    std::string events;
    for (const std::string& input : inputs) events += Do(input);
    return events;
  }

  bool network = false;
  std::shared_ptr<TarnScale> scale;
  std::shared_ptr<EthernetConnection> ethernet;
  std::shared_ptr<TemplateProtocol> protocol;
  std::shared_ptr<TarnRecordTemplateConfig> config;
  std::string log;
  std::vector<Subscription> subscriptions;
};

const std::string kFiled = "Lamps(A) ";
const std::string kLost = "Lamps(E) New(Error|Error|Error) Timeout ";

TEST_F(TemplateLines, ARecordWithoutEndIsLostWhenTheBufferIsFull) {
  for (const bool overNetwork : {false, true}) {
    for (const std::size_t inOnePiece : {0U, 1U}) {
      Start(overNetwork);
      config->Timeout(0);
      log.clear();
      const std::string flood(TemplateProtocol::kMostBuffered + inOnePiece, 'x');
      EXPECT_EQ(Do(flood), inOnePiece == 1 ? kLost : "");
      EXPECT_EQ(inOnePiece == 1 ? kLost : Do("y"), kLost);
      EXPECT_EQ(DoAll({"1,2,3\r\n", "+900"}), kFiled + "New(1|2|3) ");
    }
  }
}

TEST_F(TemplateLines, KeepAliveTextsVanishWhereverTheyAreCut) {
  const struct {
    const char* delimiter;
    std::string bytes;
    std::string events;
  } cases[] = {
      {",", kAlive, ""},
      {",", kAlive + kAlive, ""},
      {",", kAlive.substr(0, 9) + kAlive + kAlive.substr(9), ""},
      {",", kAlive + "1," + kAlive + "2\r" + kAlive + "\n" + kAlive, kFiled + "New(1|2|) "},
      {" ", kAlive + "1 " + kAlive + "2 3 " + kAlive, kFiled + "New(1|2|3) "},
      {" ", "1 2 " + kAlive + "3 ", kFiled + "New(1|2|3) "},
      {",", "!!,!!I'm!\r\n", kFiled + "New(!!|!!I'm!|) "},
  };
  for (const auto& c : cases) {
    for (std::size_t i = 1; i < c.bytes.size(); ++i) {
      for (std::size_t j = i; j < c.bytes.size(); ++j) {
        Start(true);
        config->Delimiter(c.delimiter);
        log.clear();
        const std::string events = DoAll(
            {c.bytes.substr(0, i), "+100", c.bytes.substr(i, j - i), "+100", c.bytes.substr(j)});
        EXPECT_EQ(events, c.events) << c.bytes << " " << i << " " << j;
        EXPECT_EQ(Do("+5000"), "") << c.bytes << " " << i << " " << j;
      }
    }
  }
}

TEST_F(TemplateLines, WhatOnlyLooksLikeAKeepAliveIsText) {
  Start(true);
  EXPECT_EQ(DoAll({"!!I'm Alive!", "+700"}), "");
  EXPECT_EQ(Do("+200"), kLost);
  EXPECT_EQ(DoAll({"!", "+900"}), kLost);  // its rest came too late
  // The time of a record that really began behind a keep-alive counts from there.
  EXPECT_EQ(DoAll({"!!I'm", "+600", " Alive!!1", "+600", "\r\n"}), kFiled + "New(1|Error|Error) ");
  config->Delimiter("!");
  config->Terminator("");
  EXPECT_EQ(Do("1!2!3!"), "Config Config " + kFiled + "New(1|2|3) ");
}

TEST_F(TemplateLines, WithoutATemplateNothingIsGathered) {
  for (const bool overNetwork : {false, true}) {
    for (const char* begun : {"", "0,"}) {
      Start(overNetwork);
      Do(begun);
      protocol->TemplateConfig(nullptr);
      EXPECT_EQ(ErrorOf([&] { Do("1,"); }), 91);
      protocol->TemplateConfig(config);
      EXPECT_EQ(Do("2,3\r\n"), kFiled + "New(2|3|) ");
    }
  }
}

TEST_F(TemplateLines, ALineOfAnotherKindReceivesNothing) {
  Start(false);
  scale->Protocol(NewObject<_Protocol>(*site, "KesDemandTemplateProtocol"));
  scale->RunScale();
  EXPECT_EQ(Do("1,2,3,"), "Config Lamps() ");
  ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
  ethernet->IPAddress("");
  scale->Connection(ethernet);
  scale->RunScale();
  scale->Protocol()->P();
  EXPECT_TRUE(Socket().calls.empty()) << "without an address";

  Start(true);
  Do("1,2");
  scale->Connection(NewObject<_Connection>(*site, "NoConnection"));
  scale->RunScale();
  EXPECT_EQ(DoAll({"3,\r\n1,2,3,\r\n", "+20000"}), "Config Lamps() ");
}

TEST_F(TemplateLines, AReplacedTemplateOrProtocolWritesTheRecordNoMore) {
  Start(false);
  const auto data = scale->TarnRecordTemplateData();
  const auto onChange = config->ConfigChanged.Subscribe([&] { log += "Client "; });
  config->FieldName(2, "Weight");
  const auto other = NewObject<TarnRecordTemplateConfig>(*site, "TarnRecordTemplateConfig");
  protocol->TemplateConfig(other);
  config->FieldName(2, "No more");
  EXPECT_EQ(log + data->FieldName(2), "Config Client Client Weight");  // not by itself
  scale->Protocol(NewObject<_Protocol>(*site, "DemandTemplateProtocol"));
  log.clear();
  other->NumFields(5);
  EXPECT_EQ(log + std::to_string(data->NumFields()), "20");

  protocol->TemplateConfig(nullptr);
  EXPECT_EQ(ErrorOf([&] { protocol->P(); }), 91);
  PropertyBag bag;
  WriteObject(bag, "Protocol", *protocol);
  const auto restored = ReadObject<TemplateProtocol>(bag, "Protocol", *site, "Protocol");
  EXPECT_EQ(restored->TemplateConfig()->DemandOutput(), "P");
}

TEST_F(TemplateLines, AScaleWithoutWeightsSaysSo) {
  Start(false);
  std::string seen;
  const auto record = scale->WeightData();
  const auto watch = record->NewWeight.Subscribe([&] { seen += record->GrossWeight() + " "; });
  record->NoDataError(true);
  scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
  record->NoDataError(true);
  EXPECT_EQ(seen, "N/A N/A Error ") << "what is not blanked anew stays";
}

TEST_F(TemplateLines, ATextThatTheCodePageLacksIsNoQuestionMark) {
  Start(false);
  config->Delimiter("\xE2\x82\xBF");
  EXPECT_EQ(Do("1?2\r\n"), "Config " + kFiled + "New(1?2||) ");
}

TEST_F(TemplateLines, EverySettingOfATemplateMarksAndThenNotifies) {
  config = NewObject<TarnRecordTemplateConfig>(*site, "TarnRecordTemplateConfig");
  const auto onProperty = config->PropertyChanged.Subscribe(
      [&](std::string_view name) { log += std::string(name) + ":"; });
  const auto onChange = config->ConfigChanged.Subscribe([&, c = config.get()] {
    log += std::to_string(c->NumFields()) + c->Delimiter() + c->StartString() + c->Terminator() +
           std::to_string(c->Timeout()) + c->DemandOutput() + c->FieldName(20) + " ";
  });
  for (const int count : {25, -32768, 7, 7}) config->NumFields(static_cast<std::int16_t>(count));
  config->Delimiter("d");
  config->StartString("s");
  config->Terminator("t");
  config->Timeout(-5);
  config->DemandOutput("?");
  config->FieldName(20, "longer than eight");
  EXPECT_EQ(ErrorOf([&] { config->FieldName(0, "x"); }), 9);
  EXPECT_EQ(ErrorOf([&] { (void)config->FieldName(21); }), 9);
  // A handler may let go of the template.
  const auto release = config->PropertyChanged.Subscribe([&](std::string_view) { config.reset(); });
  config->Timeout(1);
  EXPECT_EQ(log,
            "NumFields:20,500PField20 NumFields:1,500PField20 NumFields:7,500PField20 "
            "NumFields:7,500PField20 Delimiter:7d500PField20 StartString:7ds500PField20 "
            "Terminator:7dst500PField20 Timeout:7dst-5PField20 DemandOutput:7dst-5?Field20 "
            "FieldName:7dst-5?longer than eight Timeout:7dst1?longer than eight ");
}

}  // namespace
}  // namespace tarn
