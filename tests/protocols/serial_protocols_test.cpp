// What holds for every protocol on a serial line.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/protocol_fixture.hpp"

namespace tarn {
namespace {

struct Dialect {
  const char* protocol;
  int type;
  std::string message;  ///< one reading
};
const std::vector<Dialect> kDialects = {
    {"TarnContinuousProtocol", 1,
     "\x02\x2B\x30\x20"
     "001234000000\r"},
    {"TarnContinuousProtocol", 4,
     "\x02\x2B\x30\x20"
     "001234\r"},
    {"MiraProtocol", 6, "S D     123.4 kg\r\n"},
    {"MiraProtocol", 7, "S D     123.4 kg\r\n"},
    {"GenericProtocol", 24, "\r 123.4  mkg     \x03"},
    {"GenericProtocol", 25, "   123.4 kg  g\r\n"},
    {"GenericProtocol", 26, "\x02M    123.4 kg        \r\n"},
    {"GenericProtocol", 28, "   123.4 kg    \r\n"},
};

class SerialProtocols : public ProtocolFixture {
 protected:
  void Start(const Dialect& dialect) {
    ProtocolFixture::Start(dialect.protocol, ProtocolType{dialect.type});
  }
};

TEST_F(SerialProtocols, CutAnywhereAMessageIsReadOnce) {
  for (const Dialect& dialect : kDialects) {
    Start(dialect);
    Deliver(dialect.message);
    Deliver(dialect.message);  // the second reading, as the others will be
    std::string golden = Trace();
    Deliver(dialect.message);
    golden = Trace();
    EXPECT_NE(golden.find("123.4"), std::string::npos) << dialect.type;
    for (std::size_t cut = 1; cut < dialect.message.size(); ++cut) {
      Deliver(dialect.message.substr(0, cut));
      host.loop.Advance(15);
      Deliver(dialect.message.substr(cut));
      host.loop.Advance(15);
      ASSERT_EQ(Trace(), golden) << dialect.type << " cut at " << cut;
      scale->ActivityTimer()->TimeoutTime(2000);  // its time-outs tell the reading once more
    }
    for (const char byte : dialect.message) Deliver(std::string(1, byte));
    EXPECT_EQ(Trace(), golden) << dialect.type;
  }
}

TEST_F(SerialProtocols, OneThatWasReplacedLeavesTheLineToItsSuccessor) {
  for (const Dialect& dialect : kDialects) {
    Start(dialect);
    const auto former = scale->Protocol();
    scale->Protocol(NewObject<_Protocol>(*site, dialect.protocol));
    scale->Protocol()->pType(ProtocolType{dialect.type});
    scale->RunScale();
    const auto& record = *scale->WeightData();
    std::string weight;
    const auto seen =
        scale->WeightData()->NewWeight.Subscribe([&] { weight += record.NetWeight(); });
    former->WeightData(nullptr);
    Deliver(dialect.message);
    EXPECT_NE(weight.find("123.4"), std::string::npos) << dialect.type;
    EXPECT_EQ(former->Connection(), nullptr);
  }
}

TEST_F(SerialProtocols, OnlyASerialConnectionIsTaken) {
  for (const Dialect& dialect : kDialects) {
    Start(dialect);
    const auto protocol = scale->Protocol();
    protocol->Connection(NewObject<_Connection>(*site, "NoConnection"));
    EXPECT_EQ(protocol->Connection(), serial);  // ignored
    Deliver(dialect.message);
    EXPECT_GT(newWeights, 0) << dialect.type;
    protocol->Connection(nullptr);
    EXPECT_EQ(protocol->Connection(), nullptr);
    newWeights = 0;
    Deliver(dialect.message);
    EXPECT_EQ(newWeights, 0) << dialect.type;
    EXPECT_EQ(ErrorOf([&] { protocol->Connect(); }), 91);
    // What sends nothing needs no line.
    const bool sends = dialect.type != 7 && dialect.type < 24;
    EXPECT_EQ(ErrorOf([&] { protocol->Z(); }), sends ? 91 : 0) << dialect.type;
  }
}

/// A client may do anything in a handler in the middle of a message.
TEST_F(SerialProtocols, SurviveWhatAHandlerDoesInTheMiddleOfAMessage) {
  const std::vector<std::function<void()>> deeds = {
      [&] { scale->StopScale(); },
      [&] { scale->Protocol(NewObject<_Protocol>(*site, "NoProtocol")); },
      [&] { scale->Connection(NewObject<_Connection>(*site, "NoConnection")); },
      [&] { scale.reset(); },
      [&] {
        scale->Protocol()->pType(
            ProtocolType{scale->Protocol()->pType() < ProtocolType{5} ? 4 : 26});
      },
      [&] { scale->Protocol()->WeightData(nullptr); },
      [&] { Deliver("\r\n\x03"); },
      [&] { host.loop.RunUntil([] { return false; }, 1000); },
  };
  for (const Dialect& dialect : kDialects) {
    for (std::size_t i = 0; i < deeds.size(); ++i) {
      for (const bool inStatus : {true, false}) {
        Start(dialect);
        const auto record = scale->WeightData();
        serial.reset();
        auto& event = inStatus ? record->StatusChange : record->NewWeight;
        bool done = false;
        const auto subscription = event.Subscribe([&] {
          if (!std::exchange(done, true)) deeds[i]();
        });
        host.loop.Post([&] { Deliver(dialect.message + dialect.message + dialect.message); });
        host.loop.Advance(100);
        EXPECT_TRUE(done) << dialect.type << " " << i;
      }
    }
  }
  // Without a record there is nowhere to file the second message; nothing else is a fault.
  for (const std::string& trace : host.traces) {
    EXPECT_EQ(trace, "error 91: The protocol has no weight record");
  }
}

TEST_F(SerialProtocols, AHandlerThatFailsEndsTheMessageWithNoData) {
  for (const Dialect& dialect : kDialects) {
    for (const bool inStatus : {true, false}) {
      Start(dialect);
      auto& event = inStatus ? scale->WeightData()->StatusChange : scale->WeightData()->NewWeight;
      bool failed = false;
      const auto subscription = event.Subscribe([&] {
        if (!std::exchange(failed, true)) throw std::runtime_error("the handler failed");
      });
      Deliver(dialect.message);
      EXPECT_TRUE(scale->WeightData()->NoDataError()) << dialect.type;
      EXPECT_FALSE(scale->watchdog());
      Trace();
      Deliver(dialect.message);
      EXPECT_NE(Trace().find("123.4"), std::string::npos) << dialect.type;
    }
  }
}

TEST_F(SerialProtocols, TypesPersistAndTheDefaultIsNotWritten) {
  const struct {
    const char* protocol;
    int standard;
  } cases[] = {{"TarnContinuousProtocol", 1}, {"MiraProtocol", 6}, {"GenericProtocol", 0}};
  for (const auto& c : cases) {
    for (const int type : {c.standard, 4, 7, 28, 99}) {
      const auto protocol = NewObject<_Protocol>(*site, c.protocol);
      EXPECT_EQ(protocol->pType(), ProtocolType{c.standard});
      std::string changed;
      const auto watch =
          protocol->PropertyChanged.Subscribe([&](std::string_view name) { changed = name; });
      protocol->pType(ProtocolType{type});
      EXPECT_EQ(changed, "Ptype");
      PropertyBag bag;
      bag.WriteObject("Protocol", *protocol);
      EXPECT_EQ(bag.FindObject("Protocol")->bag.IsEmpty(), type == c.standard);
      const auto read = ReadObject<_Protocol>(bag, "Protocol", *site, "NoProtocol");
      EXPECT_EQ(read->ClassName(), c.protocol);
      EXPECT_EQ(read->pType(), ProtocolType{type});
    }
  }
}

}  // namespace
}  // namespace tarn
