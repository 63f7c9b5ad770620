// The rounds of terminal variables, step by step, beside the engine.
#include "shareddata/summit_protocol.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>

#include "tests/models/message_model.hpp"
#include "tests/models/models.hpp"
#include "tests/models/scale_story.hpp"
#include "tests/support/client_summit.hpp"
#include "tests/support/fake_terminal.hpp"

namespace tarn {
namespace {

using Tag = std::shared_ptr<SDTagInfo>;
using TriggerNames = std::vector<std::string>;

class EngineModel : public ModelProtocol {
 public:
  explicit EngineModel(ScaleSide& itsSide) : ModelProtocol(itsSide, 0) {
    onSilence_ = silence.TimedOutEvent.Subscribe([this] { Silent(); });
    onPace_ = pace.TimedOutEvent.Subscribe([this] { PaceTimedOut(); });
    onArrival_ = side.Socket().DataArrival.Subscribe(
        [this](std::int32_t) { Arrive(side.Socket().GetData()); });
  }

  void Configuration(std::shared_ptr<ClientConfig> newConfig) {
    config = std::move(newConfig);
    onChange_ = config->PropertyChanged.Subscribe([this](std::string_view) {
      if (index > 0) EndRound();
      Data().ConfigurationChanged();
    });
  }
  using ModelProtocol::WeightData;
  void WeightData(std::shared_ptr<tarn::WeightData> record) override {
    record->WeightAvailable(false);
    record->ClearWeight();
  }
  void Connect() override {
    const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(side.scale->Connection());
    ethernet->TakeSocket(1, *side.site);
    ethernet->SocketProtocol(1);
    ethernet->LocalPort(1701);
    ethernet->RemotePort(1701);
    silence.TimeoutTime(0);
    pace.TimeoutTime(10);
    index = 0;
    waiting.reset();
    readTriggers.clear();
    resetsDue = true;
  }

 private:
  _SummitData& Data() { return *side.scale->SummitData(); }
  bool IsOpen() { return side.Socket().State() == SocketState::Open; }

  void Silent() {
    EndRound();
    Data().CommLossError(true);
    side.scale->ErrorLED(true);
  }
  void Arrive(std::string left) {
    reported = false;
    filed.clear();
    while (IsOpen() && !left.empty()) {
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
  void PaceTimedOut() {
    reported = false;
    filed.clear();
    if (!IsOpen()) return EndRound();
    if (index == 0) {
      index = 1;
      triggerReads = 0;
      errorInRound = false;
      if (resetsDue) WriteAll(config->resets);
      resetsDue = false;
      if (!Used(config->triggers).empty()) Data().ResetState();
      WriteAll(config->triggers);
    }
    ++triggerReads;
    readTriggers = Used(config->triggers);
    for (const std::string& name : readTriggers) Request(0x20, name);
    PollNextTag();
  }
  void PollNextTag() {
    const auto& tags = config->tags;
    if (index > static_cast<int>(tags.size())) return tags.empty() ? EndRound() : Complete();
    const Tag tag = tags[static_cast<std::size_t>(index - 1)];
    if (tag->TriggerRequired() && !Data().TriggersComplete() && triggerReads <= 2) {
      return pace.TimeoutTime(10);
    }
    waiting = tag;
    const int timeout = side.scale->ActivityTimeoutTime();
    silence.TimeoutTime(timeout);
    pace.TimeoutTime(timeout > 0 ? 0 : 1000);
    Request(0x20, tag->TagName());
  }
  bool IsFrom(const std::string& name) { return polling.ReplySource().ends_with("/" + name); }
  void PollingReply() {
    MessageModel reply = polling;  // what does not decode has been loaded all the same
    if (!waiting || !IsFrom(waiting->TagName())) {
      const auto trigger = std::find_if(readTriggers.begin(), readTriggers.end(),
                                        [this](const std::string& name) { return IsFrom(name); });
      if (trigger == readTriggers.end()) return;
      if (const auto tag = config->GetTagInfoByKey(*trigger)) Deliver(reply, tag);
      readTriggers.erase(trigger);
      return;
    }
    if (!filed.insert(waiting->TagName()).second) return;
    const Tag tag = std::exchange(waiting, nullptr);
    reported = false;
    Deliver(reply, tag);
    if (reply.errorFlag) {
      EndRound();
      Report();
      return;
    }
    ++index;
    PollNextTag();
  }
  void Deliver(MessageModel& reply, const Tag& tag) {
    const std::int16_t n = tag->TagDataLen();
    const auto type = static_cast<int>(tag->TagType());
    // A whole number, in so many bytes.
    const auto number = [&](int at, int width) {
      const std::string bytes = reply.Element(at, width, n);
      std::uint32_t value = 0;
      for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value * 256 + static_cast<unsigned char>(bytes[i]);
      }
      return value;
    };
    if (type == 1) {
      const bool bit = reply.Element(0, 1, n) == "\x01";
      if (!reply.errorFlag) Data().SetBitData(bit, tag);
    } else if (type == 2 || type == 3) {
      const auto value = static_cast<std::uint8_t>(number(0, 1));
      if (!reply.errorFlag) Data().SetByteData(value, tag);
    } else if (type == 4) {
      const auto value = static_cast<std::int16_t>(number(0, 2));
      if (!reply.errorFlag) Data().SetIntData(value, 0, tag);
    } else if (type == 7) {
      const auto value = FromBytes<float>(reply.Element(0, 4, n));
      if (!reply.errorFlag) Data().SetFloatData(value, 0, tag);
    } else if (type == 8) {
      const auto value = FromBytes<double>(reply.Element(0, 8, n));
      if (!reply.errorFlag) Data().SetDoubleData(value, 0, tag);
    } else if (type == 9) {
      const std::string text = reply.Bytes(n, n, true, false);
      if (!reply.errorFlag) Data().SetStringData(Utf8(text), 0, tag);
    } else if (type == 10 || type == 11) {
      const std::string text = reply.Bytes(n, n, type == 10, true);
      std::vector<std::uint8_t> bytes(text.begin(), text.end());
      if (!reply.errorFlag) Data().SetCharArrayData(bytes, n, tag);
    } else if (type == 5 || type == 12 || type == 13) {
      const int count = type == 5 ? 1 : n / (type == 12 ? 4 : 13);
      for (std::int16_t i = 0; i < count && !reply.errorFlag; ++i) {
        const auto value =
            type == 13 ? reply.LongText(i, n) : static_cast<std::int32_t>(number(i, 4));
        if (!reply.errorFlag) Data().SetLongData(value, i, tag);
      }
    }
  }
  template <class Number>
  static Number FromBytes(std::string bytes) {
    Number number;
    bytes.resize(sizeof(number));
    std::memcpy(&number, bytes.data(), sizeof(number));
    return number;
  }
  void Complete() {
    silence.TimeoutTime(0);
    side.scale->ActivityLED(true);
    side.scale->ErrorLED(false);
    side.scale->watchdog(false);
    if (!errorInRound && Data().CommLossError()) Data().CommLossError(false);
    if (!errorInRound && Data().NoDataError()) Data().NoDataError(false);
    Data().DataUpdated();
    EndRound();
  }
  void EndRound() {
    index = 0;
    waiting.reset();
    readTriggers.clear();
    silence.TimeoutTime(0);
    const int interval = side.scale->UpdateInterval();
    pace.TimeoutTime(interval > 0 ? interval : 1000);
  }
  int Load(MessageModel& message, const std::string& bytes) {
    const int length = message.LoadReply(bytes);
    if (message.errorFlag) Report();
    return length;
  }
  /// Once until a value comes between.
  void Report() {
    errorInRound = true;
    if (!std::exchange(reported, true)) Data().NoDataError(true);
  }
  static TriggerNames Used(const TriggerNames& names) {
    TriggerNames used;
    for (std::size_t i = 0; i < names.size() && names[i].size() == 5; ++i) used.push_back(names[i]);
    return used;
  }
  void WriteAll(const TriggerNames& names) {
    for (const std::string& name : Used(names)) Request(0x10, name);
  }
  /// Each request is built afresh.
  void Request(int command, const std::string& name) {
    polling = MessageModel();
    polling.Init(command, "/w1/w0001", "/k1/" + name);
    if (command == 0x10) polling.Put(1);
    side.Socket().SendData(polling.request);
  }

  std::shared_ptr<ClientConfig> config;
  MessageModel polling, single, write;
  ActivityTimer silence{side.site->TickTimer()}, pace{side.site->TickTimer()};
  Tag waiting;
  std::set<std::string> filed;
  TriggerNames readTriggers;
  int index = 0, triggerReads = 0;
  bool resetsDue = false, errorInRound = false, reported = false;
  Subscription onSilence_, onPace_, onArrival_, onChange_;
};

std::shared_ptr<ClientConfig> RandomConfig(Random& random) {
  static const char* const kNames[] = {"aa", "bbbbb", "ccccc", "s_205", "pcl06", "aa"};
  static const std::int16_t kLengths[] = {0, 1, 2, 4, 8, 13, 26, 27, 1400, -3};
  const auto tag = [&](const char* name) {
    return ClientConfig::Tag(name, SDTagType{random.Below(15)}, random.OneOf(kLengths));
  };
  auto config = std::make_shared<ClientConfig>();
  for (int tags = random.Below(6); tags > 0; --tags) {
    config->tags.push_back(tag(random.OneOf(kNames)));
    config->tags.back()->TriggerRequired(random.Chance(20));
  }
  for (int names = random.Below(4); names > 0; --names) {
    config->resets.push_back(random.Text("r_0", 1) + "t_69");
    config->triggers.push_back(random.Text("u_0", 1) + "t_01");
  }
  if (random.Chance(50)) config->trigger = tag("ut_01");
  return config;
}

/// Mostly what was asked for last, or what may be asked for next.
std::string Datagram(Random& random, const std::string& asked, const ClientConfig& config) {
  std::string datagram;
  for (int replies = 1 + random.Below(random.Chance(20) ? 6 : 1); replies > 0; --replies) {
    std::string name = random.Chance(5) ? "ut_01" : asked;
    if (random.Chance(replies > 1 ? 60 : 15) && !config.tags.empty()) {
      name = random.OneOf(config.tags)->TagName();
    }
    const int length = random.Chance(70) ? 27 : random.Chance(20) ? 1400 : random.Below(30);
    std::string bytes(static_cast<std::size_t>(length), '0');
    const bool text = random.Chance(50);
    for (char& c : bytes) c = text ? random.OneOf(std::string("0123 ")) : random.Byte();
    if (random.Chance(30) && !bytes.empty()) bytes[0] = 1;
    const int sequence = random.Chance(90) ? 1 : random.Below(256);
    datagram += ReplyOf(name, static_cast<std::uint8_t>(sequence), bytes);
  }
  if (random.Chance(5)) datagram.resize(random.Size(static_cast<int>(datagram.size())));
  return datagram;
}

}  // namespace

void PlaySummit(Random& random) {
  ScaleStory story(random, ".", "EthernetConnection", "SummitProtocol",
                   [](ScaleSide& side) { return std::make_shared<EngineModel>(side); });
  const auto config = RandomConfig(random);
  const auto told = [](ScaleSide& side) -> ClientData& {
    return dynamic_cast<ClientData&>(*side.scale->SummitData());
  };
  // A step, what the data object heard of it, and the last request.
  std::string asked;
  const auto play = [&](const char* what, const ScaleStory::Step& step) {
    story.Do(what, [&](ScaleSide& side) {
      step(side);
      const auto& sent = side.Socket().sent;
      if (!sent.empty()) asked = Request(sent.back()).name;
      side.trace += std::exchange(told(side).told, {}) + "\n";
    });
  };
  const auto run = [](ScaleSide& side) { side.scale->RunScale(); };
  static const double kRates[] = {10, 2, 1, 0};
  const double rate = random.OneOf(kRates);
  const int timeout = random.Chance(50) ? 700 : 0;
  story.Do("declare", [&](ScaleSide& side) {
    if (const auto real = std::dynamic_pointer_cast<SummitProtocol>(side.scale->Protocol()))
      real->Configuration(config);
    else
      std::dynamic_pointer_cast<EngineModel>(side.scale->Protocol())->Configuration(config);
    side.scale->SummitData(std::make_shared<ClientData>());
    side.scale->UpdateRate(rate);
    side.scale->ActivityTimeoutTime(timeout);
  });
  play("run", run);
  for (int steps = 5 + random.Below(60); steps > 0; --steps) {
    const int deed = random.Below(100);
    if (deed < 35) {
      const int ticks = random.Below(9);
      play("wait", [&](ScaleSide& side) { side.host.loop.Advance(ticks * 200); });
    } else if (deed < 90) {
      const std::string datagram = Datagram(random, asked, *config);
      play("receive", [&](ScaleSide& side) { side.Socket().Deliver(datagram); });
    } else if (deed < 93) {
      const bool complete = random.Chance(50);
      play("triggers", [&](ScaleSide& side) { told(side).complete = complete; });
    } else if (deed < 95) {
      play("stop", [](ScaleSide& side) { side.scale->StopScale(); });
    } else if (deed < 97) {
      play("open", [](ScaleSide& side) { side.scale->Connection()->Connect(); });
    } else if (deed < 98) {
      config->PropertyChanged.Raise("tags");  // both listen to the one configuration
      play("change", [](ScaleSide&) {});
    } else if (deed < 99) {
      play("watchdog", [](ScaleSide& side) { side.scale->watchdog(true); });
    } else {
      play("run", run);
    }
  }
}

}  // namespace tarn
