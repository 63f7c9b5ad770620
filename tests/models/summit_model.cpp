// The rounds of terminal variables, step by step, beside the engine.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/models/message_model.hpp"
#include "tests/models/models.hpp"
#include "tests/support/client_summit.hpp"
#include "tests/support/summit_fixture.hpp"

namespace tarn {
namespace {

struct TimerModel {
  int ticks = 0;
  void Write(int milliseconds) {
    ticks = milliseconds == 0 ? 0 : static_cast<int>(std::nearbyint(milliseconds / 200.0 + 1));
  }
  /// True when it runs out with this tick.
  bool Tick() {
    if (ticks <= 0) return false;
    return --ticks < 1;
  }
};

struct TagModel {
  std::string name;
  int type = 0, length = 0;
  bool triggered = false;
};

class EngineModel {
 public:
  std::vector<TagModel> tags;
  std::vector<std::string> resets, triggers;
  int updateInterval = 100, activityTimeoutTime = 0;
  bool triggersComplete = false, open = false;
  bool activityLed = false, errorLed = false, watchdog = false;
  std::string log, sent;

  void Connect() {
    watchdogTimer.Write(0);
    pace.Write(10);
    index = 0;
    waiting.reset();
    resetsDue = true;
    open = true;
  }
  void ConfigurationChanged() {
    if (index > 0) EndRound();
    log += "Config ";
  }
  void Tick() {
    if (watchdogTimer.Tick()) {
      EndRound();
      CommLossError(true);
      ErrorLed(true);
    }
    if (pace.Tick()) PaceTimedOut();
  }
  void Arrive(std::string left) {
    reported = false;
    filed.clear();
    while (open && !left.empty()) {
      const int sequence = left.size() > 26 ? left[26] : 0;
      if (sequence == 1) {
        const int length = Load(polling, left);
        if (index >= 1 && length >= 1) PollingReply();
      } else if (sequence == 2) {
        Load(single, left);
      } else {
        if (sequence != 3) Report();
        Load(write, left);
      }
      const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(left[at]); };
      const std::size_t whole = left.size() < 29 ? left.size() : 29U + byte(27) + 256U * byte(28);
      left.erase(0, whole);
    }
  }

 private:
  void PaceTimedOut() {
    reported = false;
    filed.clear();
    if (!open) return EndRound();
    if (index == 0) {
      index = 1;
      triggerReads = 0;
      errorInRound = false;
      if (resetsDue) WriteAll(resets);
      resetsDue = false;
      if (!Used(triggers).empty()) log += "Reset ";
      WriteAll(triggers);
    }
    ++triggerReads;
    for (const std::string& name : Used(triggers)) Request(0x20, name);
    PollNextTag();
  }
  void PollNextTag() {
    if (index > static_cast<int>(tags.size())) return tags.empty() ? EndRound() : Complete();
    const TagModel& tag = tags[static_cast<std::size_t>(index - 1)];
    if (tag.triggered && !triggersComplete && triggerReads <= 2) return pace.Write(10);
    waiting = tag;
    watchdogTimer.Write(activityTimeoutTime);
    pace.Write(activityTimeoutTime > 0 ? 0 : 1000);
    Request(0x20, tag.name);
  }
  void PollingReply() {
    if (!waiting || !polling.ReplySource().ends_with("/" + waiting->name)) return;
    if (!filed.insert(waiting->name).second) return;
    const TagModel tag = *waiting;
    waiting.reset();
    reported = false;
    MessageModel reply = polling;  // what does not decode has been loaded all the same
    Deliver(reply, tag);
    if (reply.errorFlag) {
      EndRound();
      Report();
      return;
    }
    ++index;
    PollNextTag();
  }
  void Deliver(MessageModel& reply, const TagModel& tag) {
    const int n = tag.length;
    const auto set = [&](const std::string& what, const std::string& value) {
      if (!reply.errorFlag) log += what + "(" + value + ") ";
    };
    const auto number = [](const std::string& bytes) {
      std::uint32_t value = 0;
      for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value * 256 + static_cast<unsigned char>(bytes[i]);
      }
      return value;
    };
    const auto all = [](const std::string& bytes) {
      std::string text;
      for (const char c : bytes) text += std::to_string(static_cast<unsigned char>(c)) + ".";
      return text;
    };
    const std::string length = std::to_string(n) + ":";
    switch (tag.type) {
      case 1:
        return set("bit", reply.Element(0, 1, n) == "\x01" ? "1" : "0");
      case 2:
      case 3:
        return set("byte", std::to_string(number(reply.Element(0, 1, n))));
      case 4:
        return set("int", "0:" + std::to_string(
                                     static_cast<std::int16_t>(number(reply.Element(0, 2, n)))));
      case 5:
        return set("long", "0:" + std::to_string(
                                      static_cast<std::int32_t>(number(reply.Element(0, 4, n)))));
      case 9:
        return set("text", "0:" + reply.Bytes(n, n, true, false));
      case 10:
        return set("bytes", length + all(reply.Bytes(n, n, true, true)));
      case 11:
        return set("bytes", length + all(reply.Bytes(n, n, false, true)));
      case 12:
      case 13:
        for (int i = 0; i < n / (tag.type == 12 ? 4 : 13) && !reply.errorFlag; ++i) {
          const int value = tag.type == 12
                                ? static_cast<std::int32_t>(number(reply.Element(i, 4, n)))
                                : reply.LongText(i, n);
          set("long", std::to_string(i) + ":" + std::to_string(value));
        }
        return;
      default:
        return;
    }
  }
  void Complete() {
    watchdogTimer.Write(0);
    activityLed = true;
    ErrorLed(false);
    watchdog = false;
    if (!errorInRound && lost) CommLossError(false);
    if (!errorInRound && noData) NoDataError(false);
    log += "Updated ";
    EndRound();
  }
  void EndRound() {
    index = 0;
    waiting.reset();
    watchdogTimer.Write(0);
    pace.Write(updateInterval > 0 ? updateInterval : 1000);
  }
  int Load(MessageModel& message, const std::string& bytes) {
    const int length = message.LoadReply(bytes, static_cast<int>(bytes.size()));
    if (message.errorFlag) Report();
    return length;
  }
  /// Once until a value comes between.
  void Report() {
    errorInRound = true;
    if (!reported) NoDataError(true);
    reported = true;
  }
  void CommLossError(bool value) {
    lost = value;
    log += value ? "Lost " : "Found ";
  }
  void NoDataError(bool value) {
    noData = value;
    log += value ? "NoData " : "Data ";
  }
  void ErrorLed(bool on) {
    errorLed = on;
    log += std::string("Lamps(") + (activityLed ? "A" : "") + (on ? "E" : "") + ") ";
  }
  static std::vector<std::string> Used(const std::vector<std::string>& names) {
    std::vector<std::string> used;
    for (std::size_t i = 0; i < names.size() && names[i].size() == 5; ++i) used.push_back(names[i]);
    return used;
  }
  void WriteAll(const std::vector<std::string>& names) {
    for (const std::string& name : Used(names)) Request(0x10, name);
  }
  /// Each request is built afresh.
  void Request(int command, const std::string& name) {
    polling = MessageModel();
    polling.Init(command, "/w1/w0001", "/k1/" + name, 1);
    if (command == 0x10) polling.Put("\x01");
    sent += polling.request;
  }

  MessageModel polling, single, write;
  TimerModel watchdogTimer, pace;
  std::optional<TagModel> waiting;
  std::set<std::string> filed;
  int index = 0, triggerReads = 0;
  bool resetsDue = false, errorInRound = false, reported = false, lost = false, noData = false;
};

class EngineStory : public SummitFixture {
 public:
  EngineStory(Random& chance) : random(chance) {
    Make(ProtocolType::NoProtType);
    subscriptions.clear();
    onStatus = scale->NewStatus.Subscribe([this] {
      data->told += std::string("Lamps(") + (scale->ActivityLED() ? "A" : "") +
                    (scale->ErrorLED() ? "E" : "") + ") ";
    });
    static const double kRates[] = {10, 2, 1, 0};
    scale->UpdateRate(random.OneOf(kRates));
    scale->ActivityTimeoutTime(random.Chance(50) ? 700 : 0);
    Declare();
    engine->Configuration(config);
    scale->SummitData(data);
    Run();
  }
  void TestBody() override {}

  void Step() {
    const int deed = random.Below(100);
    if (deed < 35) {
      Advance();
    } else if (deed < 90) {
      const std::string datagram = Datagram();
      Socket().Deliver(datagram);
      model.Arrive(datagram);
    } else if (deed < 93) {
      data->complete = model.triggersComplete = random.Chance(50);
    } else if (deed < 95) {
      scale->StopScale();
      model.open = false;
    } else if (deed < 97) {
      scale->Connection()->Connect();
      model.open = true;
    } else if (deed < 98) {
      config->PropertyChanged.Raise("tags");
      model.ConfigurationChanged();
    } else if (deed < 99) {
      scale->watchdog(true);
      model.watchdog = true;
    } else {
      Run();
    }
  }
  void ExpectTheSame() {
    std::string sent;
    for (const std::string& request : std::exchange(Socket().sent, {})) {
      asked = Request(request).name;
      sent += request;
    }
    EXPECT_EQ(sent, std::exchange(model.sent, {}));
    EXPECT_EQ(host.locale.ToBytes(std::exchange(data->told, {})), std::exchange(model.log, {}));
    EXPECT_EQ(scale->ActivityLED(), model.activityLed);
    EXPECT_EQ(scale->ErrorLED(), model.errorLed);
    EXPECT_EQ(scale->watchdog(), model.watchdog);
  }

 private:
  void Declare() {
    static const char* const kNames[] = {"aa", "bbbbb", "ccccc", "s_205", "pcl06", "aa"};
    static const int kLengths[] = {0, 1, 2, 4, 8, 13, 26, 27, 1400, -3};
    for (int tags = random.Below(6); tags > 0; --tags) {
      const TagModel tag{random.OneOf(kNames), random.Below(15), random.OneOf(kLengths),
                         random.Chance(20)};
      // A float's text is not the engine's.
      if (tag.type == 7 || tag.type == 8) continue;
      model.tags.push_back(tag);
      config->tags.push_back(ClientConfig::Tag(tag.name.c_str(), SDTagType{tag.type},
                                               static_cast<std::int16_t>(tag.length)));
      config->tags.back()->TriggerRequired(tag.triggered);
    }
    for (int names = random.Below(4); names > 0; --names) {
      config->resets.push_back(random.Text("r_0", 1) + "t_69");
      config->triggers.push_back(random.Text("u_0", 1) + "t_01");
    }
    model.resets = config->resets;
    model.triggers = config->triggers;
  }
  void Run() {
    scale->RunScale();
    scale->ActivityTimer()->TimeoutTime(0);
    model.updateInterval = scale->UpdateInterval();
    model.activityTimeoutTime = scale->ActivityTimeoutTime();
    model.Connect();
  }
  void Advance() {
    for (int ticks = random.Below(9); ticks > 0; --ticks) {
      host.loop.Advance(200);
      model.Tick();
    }
  }
  /// Mostly what was asked for last, or what may be asked for next.
  std::string Datagram() {
    std::string datagram;
    for (int replies = 1 + random.Below(random.Chance(20) ? 6 : 1); replies > 0; --replies) {
      std::string name = asked;
      if (random.Chance(replies > 1 ? 60 : 15) && !model.tags.empty()) {
        name = random.OneOf(model.tags).name;
      }
      const int length = random.Chance(70) ? 27 : random.Below(random.Chance(5) ? 1500 : 30);
      std::string bytes(static_cast<std::size_t>(length), '0');
      const bool text = random.Chance(50);
      for (char& c : bytes) c = text ? random.OneOf(std::string("0123 ")) : random.Byte();
      if (random.Chance(30) && !bytes.empty()) bytes[0] = 1;
      const int sequence = random.Chance(90) ? 1 : random.Below(256);
      datagram += ReplyOf(name, static_cast<std::uint8_t>(sequence), bytes);
    }
    if (random.Chance(5)) {
      datagram.resize(static_cast<std::size_t>(random.Below(static_cast<int>(datagram.size()))));
    }
    return datagram;
  }

  Random& random;
  EngineModel model;
  std::shared_ptr<ClientConfig> config = std::make_shared<ClientConfig>();
  std::shared_ptr<ClientData> data = std::make_shared<ClientData>();
  std::string asked;
  Subscription onStatus;
};

}  // namespace

void PlaySummit(Random& random) {
  EngineStory story(random);
  for (int steps = 5 + random.Below(60); steps > 0 && !testing::Test::HasFailure(); --steps) {
    story.Step();
    story.ExpectTheSame();
  }
}

}  // namespace tarn
