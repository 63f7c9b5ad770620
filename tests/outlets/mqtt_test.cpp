// What is published at a broker, and when: with a broker and scales that the test plays.
#include "outlets/mqtt/mqtt_outlet.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "outlets/mqtt/mqtt_command.hpp"
#include "tests/fakes/fake_host.hpp"

namespace tarn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// The broker's end of one connection.
struct FakeBroker {
  struct Connection final : MqttConnection {
    explicit Connection(FakeBroker& b) : broker(b) {}
    ~Connection() override { broker.listener = nullptr; }
    bool TakesMore() const override { return broker.room > 0; }
    int Publish(const MqttMessage& message) override {
      --broker.room;
      broker.messages.push_back(message);
      if (message.certain) broker.unanswered.push_back(++broker.lastId);
      return broker.lastId;
    }
    void Subscribe(const std::string& topics) override { broker.subscribed = topics; }
    void Tick() override {}
    void Close() override { broker.closed = true; }
    FakeBroker& broker;
  };

  void Accept(int space = 1000) {
    room = space;
    listener->Connected();
  }
  void Drain(int space = 1000) {
    room = space;
    listener->Drained();
  }
  void Acknowledge(std::size_t count) {
    for (; count > 0; --count) {
      listener->Acknowledged(unanswered.front());
      unanswered.erase(unanswered.begin());
    }
  }
  /// The payloads that went to a topic since the last call, other messages are left out.
  std::vector<std::string> Take(std::string_view end) {
    std::vector<std::string> payloads;
    for (const MqttMessage& message : std::exchange(messages, {})) {
      if (message.topic.ends_with(end)) payloads.push_back(message.payload);
    }
    return payloads;
  }

  MqttListener* listener = nullptr;
  int attempts = 0;
  int room = 0;
  int lastId = 0;
  bool closed = false;
  std::string subscribed;
  std::vector<MqttMessage> messages;
  std::vector<int> unanswered;
};

struct FakeScales final : ScaleSource {
  std::vector<int> Scales() const override { return {1, 2}; }
  std::optional<ScaleState> State(int scale) const override {
    ScaleState state;
    state.scale = scale;
    state.alias = "Line";
    state.reading = reading;
    return state;
  }
  void Give(int scale, const ScaleCommand& command, double tare, const OnDone& done) override {
    given.push_back(std::to_string(scale) + std::string(command.name) + std::to_string(tare));
    done({scale == 1 ? CommandResult::Status::Given : CommandResult::Status::Refused, "no line"});
  }
  void Weigh(const std::string& net, bool motion, Quality quality = Quality::Good) {
    reading.net = net;
    reading.motion = motion;
    const bool isNews = reading.quality != quality;
    reading.quality = quality;
    ScaleEvent event;
    event.kind = isNews ? ScaleEvent::Kind::Condition : ScaleEvent::Kind::NewWeight;
    event.scale = 1;
    event.reading = reading;
    Happened.Raise(event);
  }
  Reading reading;
  std::vector<std::string> given;
};

/// Answers at once, or when the test says so.
struct FakeBook final : WeighingBook {
  void Enter(const ScaleEvent& /*event*/) override {
    Weighing weighing;
    weighing.number = ++latest;
    weighing.scale = 1;
    Entered.Raise(weighing);
  }
  std::uint64_t Latest() const override { return latest; }
  void Fetch(std::uint64_t after, std::size_t most, OnFetched fetched) const override {
    std::vector<Weighing> found;
    for (std::uint64_t n = std::max(after, gone) + 1; n <= latest && found.size() < most; ++n) {
      found.emplace_back().number = n;
      found.back().scale = 1;
    }
    if (late)
      answers.emplace_back([found, fetched] { fetched(found); });
    else
      fetched(found);
  }
  void Acknowledge(std::string_view /*receiver*/, std::uint64_t n) override { acknowledged = n; }
  std::uint64_t Acknowledged(std::string_view /*receiver*/) const override { return acknowledged; }
  void Make(int count) {
    for (int i = 0; i < count; ++i) Enter({});
  }
  std::uint64_t latest = 0;
  std::uint64_t gone = 0;  ///< the first ones that are kept no more
  std::uint64_t acknowledged = 0;
  bool late = false;
  mutable std::vector<std::function<void()>> answers;
};

class MqttTest : public testing::Test {
 protected:
  void Start(MqttPlan plan = {}) {
    plan.root = "r";
    outlet = std::make_unique<MqttOutlet>(
        host, scales, book, plan, "mqtt://b",
        [this](const MqttMessage& will, MqttListener& listener) {
          EXPECT_EQ(will.topic + will.payload, "r/stateoffline");
          ++broker.attempts;
          if (std::exchange(unreadable, false)) throw std::runtime_error("no certificate");
          broker.listener = &listener;
          return std::make_unique<FakeBroker::Connection>(broker);
        },
        audit);
    host.loop.Advance(1);
  }
  void Lose() {
    broker.listener->Lost("gone");
    broker.unanswered.clear();
    host.loop.RunPending();
  }
  void Reconnect() {
    host.loop.Advance(MqttOutlet::kLongestPause);
    broker.Accept();
  }
  /// The net weights, or the numbers, of what was published last.
  std::string Seen(std::string_view topic, const std::string& member) {
    std::string seen;
    for (const std::string& payload : broker.Take(topic)) {
      const auto at = payload.find(member) + member.size();
      seen += payload.substr(at, payload.find_first_of(",\"", at) - at) + " ";
    }
    return seen;
  }
  std::string Weights() { return Seen("r/1/weight", "\"netText\":\""); }
  std::string Records() { return Seen("r/1/record", "\"number\":"); }

  FakeHost host;
  FakeBroker broker;
  FakeScales scales;
  FakeBook book;
  AuditLog audit{host, [] { return WallTime(); }, ""};
  bool unreadable = false;
  std::unique_ptr<MqttOutlet> outlet;
};

TEST_F(MqttTest, WeightsArePacedButRestAndQualityShowAtOnce) {
  Start();
  scales.Weigh("1", true);
  broker.Accept();
  EXPECT_EQ(broker.messages.front().payload, "online");
  EXPECT_EQ(Weights(), "1 ");
  for (const char* net : {"2", "3", "4"}) scales.Weigh(net, true);
  EXPECT_EQ(Weights(), "");
  host.loop.Advance(200);
  EXPECT_EQ(Weights(), "4 ") << "the newest, when its time has come";
  scales.Weigh("5", true);
  scales.Weigh("6", false);
  scales.Weigh("6", false);
  EXPECT_EQ(Weights(), "6 ") << "the first one at rest";
  scales.Weigh("6", false, Quality::Stale);
  EXPECT_THAT(broker.Take("r/1/weight"), ElementsAre(HasSubstr(R"("quality":"stale")")));
  host.loop.Advance(10000);
  EXPECT_EQ(Weights(), "") << "nothing new, nothing waits";

  broker.room = 0;  // the broker is slow
  for (int i = 0; i < 100; ++i) {
    scales.Weigh(std::to_string(i), i % 2 == 0);
    host.loop.Advance(100);
  }
  EXPECT_THAT(broker.messages, IsEmpty());
  broker.Drain();
  EXPECT_EQ(Weights(), "99 ");
  outlet.reset();
  EXPECT_THAT(broker.Take("r/state"), ElementsAre("offline"));
  EXPECT_TRUE(broker.closed);
}

TEST_F(MqttTest, WeighingsComeInOrderUntilTheBrokerIsSureToHaveThem) {
  book.Make(3);
  Start({.settle = 5000});
  broker.Accept();
  EXPECT_EQ(Records(), "1 2 3 ");
  broker.Acknowledge(2);
  host.loop.Advance(4000);
  EXPECT_EQ(book.acknowledged, 0U) << "the broker may still lose them";
  host.loop.Advance(3000);
  EXPECT_EQ(book.acknowledged, 2U);
  broker.Acknowledge(1);
  book.Make(30);
  EXPECT_EQ(broker.unanswered.size(), RecordFeed::kInFlight);
  Lose();
  EXPECT_EQ(book.acknowledged, 2U);
  broker.messages.clear();
  Reconnect();
  EXPECT_THAT(Records(), testing::StartsWith("3 4 5 "));
  // Acknowledged out of order, they count in order.
  broker.listener->Acknowledged(broker.unanswered[1]);
  host.loop.Advance(7000);
  EXPECT_EQ(book.acknowledged, 2U);
  while (!broker.unanswered.empty()) broker.Acknowledge(1);
  host.loop.Advance(7000);
  EXPECT_EQ(book.acknowledged, 33U);

  book.late = true;
  book.Make(2);
  Lose();
  Reconnect();
  ASSERT_EQ(book.answers.size(), 2U) << "one of the connection that broke";
  broker.messages.clear();
  for (const auto& answer : book.answers) answer();
  EXPECT_EQ(Records(), "34 35 ");
  book.late = false;
  book.gone = book.latest += 4;
  book.Make(1);
  EXPECT_EQ(Records(), "40 ");
  EXPECT_THAT(host.traces.back(), HasSubstr("4 weighings are kept no more"));
  book.late = true;
  book.Make(1);
  book.answers.erase(book.answers.begin(), book.answers.end() - 1);
  outlet.reset();
  book.answers.back()();  // nobody waits for it any more
}

TEST_F(MqttTest, AnOutageIsReportedOnceAndRetriedWithGrowingPauses) {
  Start();
  const std::size_t before = host.traces.size();
  int former = 0;
  for (const int attempts : {7, 61, 62}) {
    // After 1, 2, 4 ... s at most, and not much less.
    for (int second = 0; second < (former == 0 ? 60 : 3600); ++second) {
      if (broker.listener != nullptr) Lose();
      host.loop.Advance(1000);
    }
    EXPECT_GE(broker.attempts - former, attempts - 2) << former;
    EXPECT_LE(broker.attempts - former, attempts * 4 / 3 + 1) << former;
    former = broker.attempts;
  }
  EXPECT_EQ(host.traces.size(), before + 1);
  host.loop.Advance(60000);
  broker.Accept();
  EXPECT_THAT(host.traces.back(), HasSubstr("is connected"));
  // A broker that throws the client out at once gives no reason to hurry.
  Lose();
  former = broker.attempts;
  host.loop.Advance(30000);
  EXPECT_EQ(broker.attempts, former);
  Reconnect();
  host.loop.Advance(10000);
  Lose();
  unreadable = true;
  host.loop.Advance(1000);
  EXPECT_EQ(broker.attempts, former + 2);
  EXPECT_THAT(host.traces.back(), HasSubstr("no certificate"));
  Reconnect();
  EXPECT_EQ(broker.attempts, former + 3) << "it is tried again";
}

TEST_F(MqttTest, CommandsAreAnsweredByTheirRights) {
  Start({.commands = {1, 2}});
  broker.Accept();
  EXPECT_EQ(broker.subscribed, "r/+/cmd");
  struct Row {
    const char* topic;
    std::string payload;
    const char* answer;
  };
  const Row rows[] = {
      {"r/1/cmd", R"({"command":"zero","id":"a"})",
       R"("id":"a","command":"zero","result":"given")"},
      {"r/1/cmd", R"({"command":"preset-tare","tare":12.5,"id":7})", R"("id":"7")"},
      {"r/1/cmd", R"({"command":"preset-tare","tare":"x"})", R"("result":"invalid")"},
      {"r/2/cmd", R"({"command":"print"})", R"("result":"refused","error":"no line")"},
      {"r/3/cmd", R"({"command":"zero"})",
       R"("scale":3,"id":"","command":"zero","result":"not-all)"},
      {"r/1/cmd", R"({"command":"Z"})", R"("result":"invalid")"},
      {"r/1/cmd", "[1", R"("result":"invalid")"},
      {"r/1/cmd", R"({"id":")" + std::string(65, 'x') + "\"}", R"("result":"invalid")"},
      {"r/1/cmd", std::string(2000, ' '), R"("error":"the message is too long")"},
  };
  for (const Row& row : rows) {
    broker.messages.clear();
    const std::size_t given = scales.given.size();
    broker.listener->Arrived({.topic = row.topic, .payload = row.payload});
    EXPECT_EQ(scales.given.size(), given) << "a command may serve the loop, and the caller may go";
    host.loop.RunPending();
    EXPECT_THAT(broker.Take("/ack"), ElementsAre(HasSubstr(row.answer))) << row.payload;
  }
  EXPECT_THAT(scales.given, ElementsAre("1Z0.000000", "1SetTare12.500000", "2P0.000000"));
  EXPECT_EQ(std::ranges::count_if(
                host.traces, [](const std::string& line) { return line.starts_with("audit: "); }),
            std::ssize(rows));
  broker.listener->Arrived(
      {.topic = "r/1/cmd", .payload = R"({"command":"zero"})", .retained = true});
  EXPECT_EQ(scales.given.size(), 3U) << "nobody knows how old it is";
  for (const char* topic : {"r/01/cmd", "r/0/cmd", "r/33/cmd", "r//cmd", "r/cmd", "q/1/cmd"}) {
    EXPECT_EQ(CommandedScale("r", topic), std::nullopt) << topic;
  }
}

TEST_F(MqttTest, HomeAssistantLearnsTheUnitWithTheFirstReading) {
  Start({.homeAssistant = true});
  broker.Accept();
  const auto last = [this] { return broker.Take("/r_1/weight/config").back(); };
  EXPECT_THAT(last(), testing::Not(HasSubstr("device_class")));
  scales.reading.units = "kg";
  scales.Weigh("1", false);
  EXPECT_THAT(last(), HasSubstr(R"("unit_of_measurement":"kg","device_class":"weight")"));
  scales.Weigh("2", false);
  host.loop.Advance(1000);
  EXPECT_THAT(broker.Take("config"), IsEmpty());
}

TEST(MqttSettings, AreUnderstoodOrRefusedWithWords) {
  const auto of = [](MqttOptions options) {
    const MqttBroker broker = MqttSettingsOf(options, "hall 1.plant").broker;
    return broker.Name() + " " + broker.user;
  };
  EXPECT_EQ(of({.url = "mqtt://b"}), "mqtt://b:1883 ");
  EXPECT_EQ(of({.url = "mqtts://me@[::1]:7/", .user = ""}), "mqtts://[::1]:7 me");
  const MqttSettings settings = MqttSettingsOf({.url = "mqtt://b", .commands = "3,1"}, "hall 1.x");
  EXPECT_EQ(settings.plan.root, "scales/hall-1");
  EXPECT_THAT(settings.plan.commands, ElementsAre(1, 3));
  const MqttOptions wrong[] = {{.url = "b"},
                               {.url = "mqtt://"},
                               {.url = "mqtt://b:0"},
                               {.url = "mqtt://b:1x"},
                               {.url = "mqtt://me:secret@b"},
                               {.url = "mqtt://b", .root = "a/#"},
                               {.url = "mqtt://b", .root = "a\xFF"},
                               {.url = "mqtt://b", .passwordFile = "/nowhere"},
                               {.url = "mqtt://b", .ca = "file"},
                               {.url = "mqtts://b", .certificate = "file"},
                               {.url = "mqtt://b", .commands = "0"},
                               {.url = "mqtt://b", .commands = "1,"}};
  for (const MqttOptions& options : wrong) {
    EXPECT_THROW(of(options), std::invalid_argument) << options.url << options.commands;
  }
}

}  // namespace
}  // namespace tarn
