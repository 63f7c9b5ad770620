// A weight from five variables of a terminal, word by word, beside the protocol.
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <set>

#include "connections/ethernet_connection.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "tests/models/random_cases.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

const std::string kCommands[5][5] = {{"/t_690", "/t_691", "/t_692", "/t_693", "/bas12"},
                                     {"/t_6a0", "/t_6a1", "/t_6a2", "/t_6a3", "/bas13"},
                                     {"/t_620", "/t_621", "/t_622", "/t_623", "/bas54"},
                                     {"/t_630", "/t_631", "/t_632", "/t_633", "/bas55"},
                                     {"/t_640", "/t_641", "/t_642", "/t_643", "/bas56"}};

/// The scale's record is as plain as can be: what its setters get.
struct WeightModel {
  std::string gross, net, tare, units;
  bool motion = false, outOfRange = false;

  std::string Text() const {
    return gross + "|" + tare + "|" + net + " " + units + (motion ? "M" : "") +
           (outOfRange ? "R" : "") + "\n";
  }
};

class SharedDataModel : public WeightModel {
 public:
  std::string node, point, log;
  bool activityLed = false, watchdog = false, printRequested = false;
  int prints = 0;

  void ScaleNum(std::string text) {
    if (text.empty()) return;
    letter = static_cast<char>(std::tolower(text[0]));
    number = letter - 96;
    const std::string n = std::to_string(number);
    names = {"/_s" + std::string(1, letter) + "fl", "/wt" + n + "01", "/wt" + n + "02",
             "/ws" + n + "02", "/wt" + n + "03"};
  }
  void UpdateWeight() {
    if (complete != 1 && activityLed) return;
    values = {};
    complete = 0;
    Send(0x20, names[0], "");
  }
  void Command(int which, const std::string& text) {
    if (number < 1 || number > 5) return;
    Send(0x10, kCommands[number - 1][which], text);
  }
  void DataArrival(const std::string& bytes) {
    std::set<std::string> asked;
    std::size_t consumed = 0;
    do {
      const std::string left = bytes.substr(consumed);
      const std::size_t length = left.size() < 29 ? 0 : static_cast<unsigned char>(left[27]);
      if (left.size() < 29 + length) break;  // not a whole reply
      const std::string name = left.substr(7, 6);
      for (std::size_t i = 0; i < 5; ++i) {
        if (name != names[i]) continue;
        values[i] = left.substr(29, length);
        if (i < 4 && asked.insert(names[i + 1]).second) Send(0x20, names[i + 1], "");
        break;
      }
      consumed += 29 + length;
    } while (consumed != bytes.size());
    PublishWeight();
  }

 private:
  void PublishWeight() {
    for (const std::string& value : values) {
      if (value.empty()) return;
    }
    activityLed = true;
    watchdog = false;
    complete = 1;
    const int b0 = values[0][0];
    const int b1 = values[0].size() > 1 ? values[0][1] : 0;
    if ((b1 & 0x02) != 0) {
      motion = (b0 & 0x01) != 0;
      if ((b1 & 0x10) != 0) {
        if (!latch) {
          printRequested = true;
          latch = true;
        }
      } else {
        latch = false;
      }
      gross = LocalizeDecimal(ExtractText(values[1]));
      net = LocalizeDecimal(ExtractText(values[2]));
      tare = LocalizeDecimal(ExtractText(values[3]));
      units = ExtractText(values[4]);
      outOfRange = false;
    } else {
      net = tare = gross = "*******";
      outOfRange = true;
    }
    // The reading is committed.
    if (printRequested && !motion) {
      printRequested = false;
      ++prints;
    }
    log += Text();
  }
  static std::string ExtractText(const std::string& text) {
    std::string result;
    for (const char c : text) {
      if (c == '\0') break;
      result += c;
    }
    while (result.starts_with(' ')) result.erase(0, 1);
    while (result.ends_with(' ')) result.pop_back();
    return result;
  }
  std::string LocalizeDecimal(const std::string& text) const {
    std::size_t p = text.rfind('.');
    if (p == std::string::npos) p = text.rfind(',');
    if (p == std::string::npos) return text;
    std::string rest = text.substr(p);
    if (const auto at = rest.find('.'); at != std::string::npos) rest.replace(at, 1, point);
    return text.substr(0, p) + rest;
  }
  void Send(int command, const std::string& name, const std::string& value) {
    sequence = sequence + 1 > 126 ? 0 : sequence + 1;
    std::string buffer(201, '\0');
    buffer[1] = 100;
    buffer[2] = 0x01;
    buffer[3] = 0x10;
    buffer.replace(4, 9, "/w1/w0001");
    const std::string destination = node + name;
    buffer.replace(14, destination.size(), destination);
    buffer[24] = static_cast<char>(command);
    buffer[26] = static_cast<char>(sequence);
    buffer[27] = static_cast<char>(value.size());
    buffer.replace(29, value.size(), value);
    log += "sent " + buffer + "\n";
  }

  char letter = 0;
  int number = 0, complete = 0, sequence = 0;
  bool latch = false;
  std::array<std::string, 5> names, values;
};

/// One scale and its model; each step is done to both.
class SharedDataStory : public ScaleFixture {
 public:
  SharedDataStory(Random& chance) : random(chance) {
    host.locale.decimal = model.point = random.Chance(50) ? "." : ",";
    const bool twelve = random.Chance(30);
    model.node = twelve ? "/kc" : "/k1";
    scale = NewScale(twelve ? 12 : 1);
    const auto ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
    ethernet->IsBidirectional(true);
    scale->Connection(ethernet);
    protocol = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
    scale->Protocol(protocol);
    ScaleNum("A");
    scale->Disabled(false);
    scale->RunScale();
    scale->UpdateTimer()->Enabled(false);
    scale->ActivityTimer()->TimeoutTime(0);
    socket = std::dynamic_pointer_cast<FakeSocket>(ethernet->mvarSocket());
    const auto& weight = *scale->WeightData();
    model.motion = weight.Motion();
    onWeight = scale->WeightData()->NewWeight.Subscribe([this] { log += Shown().Text(); });
    // Near the end of the sequence numbers.
    for (int left = random.Chance(10) ? 120 : 0; left > 0; --left) Command();
    onPrint = scale->PrintData()->NewWeight.Subscribe([this] { ++prints; });
  }
  void TestBody() override {}

  void Step() {
    switch (random.Below(12)) {
      case 0: {
        scale->ActivityLED(false);
        scale->watchdog(true);
        model.activityLed = false;
        model.watchdog = true;
        break;
      }
      case 1:
        ScaleNum(random.OneOf(std::vector<std::string>{"a", "A", "B", "c", "D", "E", "", "f"}));
        break;
      case 2:
        Command();
        break;
      case 3:
      case 4:
        scale->UpdateWeight.Raise();
        model.UpdateWeight();
        break;
      default: {
        const std::string datagram = Datagram();
        Deliver(datagram);
        model.DataArrival(datagram);
      }
    }
    for (const std::string& request : socket->sent) sent += "sent " + request + "\n";
    socket->sent.clear();
  }
  void ExpectTheSame() const {
    // A reply asks on before its reading is published, so what was sent stands first.
    std::string modelSent, modelLog;
    for (std::size_t at = 0; at < model.log.size();) {
      const bool request = model.log.compare(at, 5, "sent ") == 0;
      const std::size_t end = request ? at + 5 + 201 + 1 : model.log.find('\n', at) + 1;
      (request ? modelSent : modelLog) += model.log.substr(at, end - at);
      at = end;
    }
    EXPECT_EQ(sent, modelSent);
    EXPECT_EQ(log, modelLog);
    EXPECT_EQ(Shown().motion, model.motion);
    EXPECT_EQ(prints, model.prints);
    EXPECT_EQ(scale->PRState(), model.printRequested);
    EXPECT_EQ(scale->ActivityLED(), model.activityLed);
    EXPECT_EQ(scale->watchdog(), model.watchdog);
  }

 private:
  WeightModel Shown() const {
    const auto& w = *scale->WeightData();
    return {w.GrossWeight(), w.NetWeight(), w.TareWeight(), host.locale.ToBytes(w.Units()),
            w.Motion(),      w.OutOfRange()};
  }
  void ScaleNum(const std::string& letter) {
    protocol->scaleNum(letter);
    model.ScaleNum(letter);
    if (letter.empty()) return;
    const std::string n = std::to_string((letter[0] | 0x20) - 96);
    known = {"/_s" + std::string(1, static_cast<char>(letter[0] | 0x20)) + "fl", "/wt" + n + "01",
             "/wt" + n + "02", "/ws" + n + "02", "/wt" + n + "03"};
  }
  void Command() {
    const int which = random.Below(5);
    double tare = (random.Below(2000) - 1000) / 8.0;
    std::string bytes(8, '\0');
    std::memcpy(bytes.data(), &tare, 8);
    if (which == 0) scale->T();
    if (which == 1) scale->C();
    if (which == 2) scale->P();
    if (which == 3) scale->Z();
    if (which == 4) scale->SetTare(tare);
    model.Command(which, which == 4 ? bytes : "1");
  }
  /// Mostly the replies of a whole reading in their order.
  std::string Datagram() {
    std::string datagram;
    if (random.Chance(60)) {
      const int first = random.Chance(80) ? 0 : random.Below(5);
      const int behind = random.Chance(60) ? 5 : random.Below(6);
      for (int i = first; i < behind; ++i) datagram += ReplyOf(i);
    } else {
      for (int replies = random.Below(4); replies > 0; --replies) {
        datagram += ReplyOf(random.Below(5));
      }
    }
    if (random.Chance(5)) datagram.resize(datagram.size() * 2 / 3);
    return datagram;
  }
  std::string ReplyOf(int variable) {
    static const std::string kNumbers[] = {"12.5", " 1,5 ",   "1,234.5", "0", "",
                                           "-7",   "1.5.5\0", "   ",     "."};
    static const std::string kUnits[] = {"kg", "lb  ", std::string("t \0?", 4), " ", "\xB5g"};
    std::string value = variable == 4 ? random.OneOf(kUnits) : random.OneOf(kNumbers);
    if (variable == 0) {
      const std::string first("\x20\x21\0", 3);
      const std::string second(std::string("\x02\x12\x10\0", 4) + "\x02\x12");
      value = {random.OneOf(first), random.OneOf(second)};
      if (random.Chance(5)) value.resize(1);
    }
    std::string name = known[static_cast<std::size_t>(variable)];
    if (random.Chance(5)) name = "/zz999";
    std::string reply(29, '\0');
    reply.replace(4, 3, random.Chance(90) ? model.node : "/xy");
    reply.replace(7, 6, name);
    reply[26] = random.Byte();
    reply[27] = static_cast<char>(value.size());
    if (random.Chance(5)) reply[28] = random.Byte();
    return reply + value;
  }
  void Deliver(const std::string& datagram) { socket->Deliver(datagram); }

  Random& random;
  SharedDataModel model;
  std::array<std::string, 5> known;
  std::shared_ptr<TarnScale> scale;
  std::shared_ptr<KesSDProtocol> protocol;
  std::shared_ptr<FakeSocket> socket;
  std::string log, sent;
  int prints = 0;
  Subscription onWeight, onPrint;
};

TEST(KesSDModel, ReadsAsTheProtocolDoes) {
  PlayRandomCases(500, [](Random& random) {
    SharedDataStory story(random);
    for (int steps = 5 + random.Below(40); steps > 0 && !testing::Test::HasFailure(); --steps) {
      story.Step();
      story.ExpectTheSame();
    }
  });
}

}  // namespace
}  // namespace tarn
