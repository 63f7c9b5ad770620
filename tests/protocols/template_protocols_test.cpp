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
  const auto kes = NewObject<_Protocol>(*site, "KesDemandTemplateProtocol");
  scale->Protocol(kes);  // over the serial line
  scale->RunScale();
  kes->P();
  EXPECT_EQ(Do("1,2,3,"), "Config Lamps() ");
  ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
  ethernet->IPAddress("");
  scale->Connection(ethernet);
  scale->RunScale();
  kes->P();
  EXPECT_EQ(ethernet->RemotePort(), 1749);
  EXPECT_TRUE(host.sockets[0]->calls.empty());

  Start(true);
  Do("1,2");
  scale->Connection(NewObject<_Connection>(*site, "NoConnection"));
  EXPECT_EQ(Socket().State(), SocketState::Closed);
  scale->RunScale();
  EXPECT_EQ(DoAll({"3,\r\n1,2,3,\r\n", "+20000"}), "Config Lamps() ");
}

TEST_F(TemplateLines, ChangesOfTheTemplateReachTheRecord) {
  Start(false);
  const auto data = scale->TarnRecordTemplateData();
  std::string properties;
  const auto watch = scale->PropertyChanged.Subscribe(
      [&](std::string_view name) { properties += std::string(name) + " "; });
  const auto onChange = config->ConfigChanged.Subscribe([&] { log += "Client "; });
  config->FieldName(2, "Weight");
  EXPECT_EQ(std::exchange(log, {}), "Config Client ");
  const auto other = NewObject<TarnRecordTemplateConfig>(*site, "TarnRecordTemplateConfig");
  protocol->TemplateConfig(other);
  EXPECT_EQ(properties, "FieldName Template ");
  EXPECT_EQ(log + data->FieldName(2), "Weight");  // not by itself
  config->FieldName(2, "No more");
  other->NumFields(20);
  EXPECT_EQ(log, "Client Config ");
  EXPECT_EQ(data->FieldName(2) + std::to_string(data->NumFields()), "Field220");

  data->SetFieldData(2, "2");
  log.clear();
  data->ClearRecord();
  EXPECT_EQ(log, "New(||) ");
  // A protocol that was replaced writes no more into the scale's record.
  scale->Protocol(NewObject<_Protocol>(*site, "DemandTemplateProtocol"));
  log.clear();
  other->NumFields(5);
  EXPECT_EQ(log + std::to_string(data->NumFields()), "20");

  protocol->TemplateConfig(nullptr);
  EXPECT_EQ(ErrorOf([&] { protocol->P(); }), 91);
  PropertyBag bag;
  bag.WriteObject("Protocol", *protocol);
  const auto restored = ReadObject<TemplateProtocol>(bag, "Protocol", *site, "Protocol");
  EXPECT_EQ(restored->TemplateConfig()->DemandOutput(), "P");
}

TEST_F(TemplateLines, AScaleWithoutWeightsSaysSo) {
  for (const bool overNetwork : {false, true}) {
    Start(overNetwork);
    const auto record = scale->WeightData();
    record->NoDataError(true);
    EXPECT_EQ(record->NetWeight(), "N/A");
    std::string seen;
    const auto watch = record->NewWeight.Subscribe([&] { seen += record->GrossWeight() + " "; });
    scale->printRequest();
    scale->Protocol(protocol);
    EXPECT_EQ(seen, "N/A N/A ") << "it stops, and gets the record";
    EXPECT_EQ(scale->PrintData()->NetWeight(), "N/A");
    scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
    record->NoDataError(true);
    EXPECT_EQ(seen, "N/A N/A N/A Error ") << "what is not blanked anew stays";
  }
}

TEST_F(TemplateLines, SettingsPersist) {
  for (const bool overNetwork : {false, true}) {
    Start(overNetwork);
    EXPECT_EQ(static_cast<int>(protocol->pType()), overNetwork ? 19 : 18);
    protocol->pType(ProtocolType{5});
    config->FieldName(1, "Id");
    const auto kes = std::dynamic_pointer_cast<KesDemandTemplateProtocol>(protocol);
    if (kes) {
      EXPECT_EQ(kes->scaleNum() + config->DemandOutput(), "A\b");
      kes->scaleNum("B");
    }
    PropertyBag bag;
    bag.WriteObject("Protocol", *protocol);
    const std::string keys = bag.FindObject("Protocol")->bag.Contents();
    EXPECT_LT(keys.find("Ptype"), keys.find("TemplateConfig"));
    EXPECT_LT(keys.find("TemplateConfig"), kes ? keys.find("ScaleNum") : keys.size());
    const auto restored = ReadObject<TemplateProtocol>(bag, "Protocol", *site, "Protocol");
    EXPECT_EQ(restored->pType(), ProtocolType{5});
    EXPECT_EQ(restored->TemplateConfig()->FieldName(1), "Id");
    EXPECT_EQ(restored->TemplateConfig()->DemandOutput(), overNetwork ? "\b" : "P");
    if (kes) {
      EXPECT_EQ(std::dynamic_pointer_cast<KesDemandTemplateProtocol>(restored)->scaleNum(), "B");
    }
    // A new one demands with a BS over the network, one that was saved without a template with "P".
    protocol->ReadProperties(PropertyBag());
    EXPECT_EQ(protocol->TemplateConfig()->DemandOutput(), "P");
  }
}

/// A client may do anything in a handler, also with the handlers' owner.
TEST_F(TemplateLines, SurvivesWhatAHandlerDoesInTheMiddleOfARecord) {
  const std::vector<std::function<void()>> deeds = {
      [&] { scale->StopScale(); },
      [&] { scale->Protocol(NewObject<_Protocol>(*site, "NoProtocol")); },
      [&] { scale->Connection(NewObject<_Connection>(*site, "NoConnection")); },
      [&] { scale.reset(); },
      [&] {
        std::dynamic_pointer_cast<TemplateProtocol>(scale->Protocol())
            ->TemplateConfig(
                NewObject<TarnRecordTemplateConfig>(*site, "TarnRecordTemplateConfig"));
      },
      [&] { host.loop.RunUntil([] { return false; }, 1000); },
  };
  for (std::size_t i = 0; i < deeds.size() * 6; ++i) {
    Start(i % 2 == 1);
    subscriptions.clear();
    const auto data = scale->TarnRecordTemplateData();
    protocol.reset();
    serial.reset();
    ethernet.reset();
    bool done = false;
    const auto deed = [&] {
      if (!std::exchange(done, true)) deeds[i / 6]();
    };
    const auto onStatus = i % 6 < 2   ? scale->NewStatus.Subscribe(deed)
                          : i % 6 < 4 ? data->NewDataReady.Subscribe(deed)
                                      : data->ConfigChanged.Subscribe(deed);
    if (i % 6 >= 4) config->Timeout(300);
    Do("1,2,3,4,5");
    Do("6,");
    Do("+1000");
    EXPECT_TRUE(done) << i;
    if (scale) scale->StopScale();
  }
  EXPECT_TRUE(host.traces.empty());
}

}  // namespace
}  // namespace tarn
