// A weight from five variables of a terminal, step by step, beside the protocol.
#include <array>
#include <set>

#include "base/little_endian.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "tests/models/models.hpp"
#include "tests/models/scale_story.hpp"
#include "tests/support/fake_terminal.hpp"

namespace tarn {
namespace {

using Names = std::array<std::string, 5>;

Names NamesOf(char letter) {
  const std::string n = std::to_string(letter - 96);
  return {"/_s" + std::string(1, letter) + "fl", "/wt" + n + "01", "/wt" + n + "02",
          "/ws" + n + "02", "/wt" + n + "03"};
}

class SharedDataModel : public ModelProtocol {
 public:
  explicit SharedDataModel(ScaleSide& itsSide) : ModelProtocol(itsSide, 14) {
    onArrival_ = side.Socket().DataArrival.Subscribe([this](std::int32_t) { DataArrival(); });
    onUpdate_ = side.scale->UpdateWeight.Subscribe([this] { UpdateWeight(); });
  }

  void ScaleNum(const std::string& text) {
    if (text.empty()) return;
    letter = static_cast<char>(std::tolower(text[0]));
    names = NamesOf(letter);
  }
  void Connect() override {
    const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(side.scale->Connection());
    connected = ethernet->TakeSocket(1, *side.site) != nullptr;
    ethernet->SocketProtocol(1);
    ethernet->LocalPort(1701);
    ethernet->RemotePort(1701);
  }
  void T() override { Write(0, "1"); }
  void C() override { Write(1, "1"); }
  void P() override { Write(2, "1"); }
  void Z() override { Write(3, "1"); }
  void SetTare(double& tare) override {
    const auto bytes = LittleEndian(tare);
    Write(4, {bytes.data(), bytes.size()});
  }

 private:
  void UpdateWeight() {
    if (side.scale->Disabled() || (complete != 1 && side.scale->ActivityLED())) return;
    values = {};
    complete = 0;
    Ask(names[0]);
  }
  void Write(std::size_t which, const std::string& text) {
    static const std::array<const char*, 5> groups = {"9", "a", "2", "3", "4"};
    static const std::array<const char*, 5> tares = {"12", "13", "54", "55", "56"};
    const int number = letter - 97;
    if (number < 0 || number > 4) return;
    const auto at = static_cast<std::size_t>(number);
    Send(
        0x10,
        which < 4 ? "/t_6" + (groups[at] + std::to_string(which)) : "/bas" + std::string(tares[at]),
        text);
  }
  void DataArrival() {
    const std::string bytes = side.Socket().GetData();
    std::set<std::string> asked;
    std::size_t consumed = 0;
    do {
      const std::string left = bytes.substr(consumed);
      const std::size_t length = left.size() < 29 ? 0 : static_cast<unsigned char>(left[27]);
      if (left.size() < 29 + length) break;  // not a whole reply
      for (std::size_t i = 0; i < 5; ++i) {
        if (left.substr(7, 6) != names[i]) continue;
        values[i] = left.substr(29, length);
        if (i < 4 && asked.insert(names[i + 1]).second) Ask(names[i + 1]);
        break;
      }
      consumed += 29 + length;
    } while (consumed != bytes.size());
    PublishWeight();
  }
  void PublishWeight() {
    for (const std::string& value : values) {
      if (value.empty()) return;
    }
    side.scale->ActivityLED(true);
    side.scale->watchdog(false);
    complete = 1;
    const int b0 = values[0][0];
    const int b1 = values[0].size() > 1 ? values[0][1] : 0;
    const bool valid = (b1 & 0x02) != 0;
    if (valid) {
      Record().Motion((b0 & 0x01) != 0);
      if ((b1 & 0x10) != 0) {
        if (!latch) side.scale->printRequest(false);
        latch = true;
      } else {
        latch = false;
      }
      Record().GrossWeight(Localized(Text(values[1])));
      Record().NetWeight(Localized(Text(values[2])));
      Record().TareWeight(Localized(Text(values[3])));
      Record().Units(Text(values[4]));
    } else {
      Record().NetWeight("*******");
      Record().TareWeight("*******");
      Record().GrossWeight("*******");
    }
    Record().OutOfRange(!valid);
  }
  std::string Text(std::string text) {
    text = text.substr(0, text.find('\0'));
    while (text.starts_with(' ')) text.erase(0, 1);
    while (text.ends_with(' ')) text.pop_back();
    return Utf8(text);
  }
  void Ask(const std::string& name) {
    if (connected) ErrorOf([&] { Send(0x20, name, ""); });
  }
  void Send(int command, const std::string& name, const std::string& value) {
    if (!connected) ThrowObjectNotSet();
    sequence = sequence + 1 > 126 ? 0 : sequence + 1;
    std::string buffer(201, '\0');
    buffer[1] = 100;
    buffer[2] = 0x01;
    buffer[3] = 0x10;
    buffer.replace(4, 9, "/w1/w0001");
    buffer.replace(14, 3 + name.size(), "/k1" + name);
    buffer[24] = static_cast<char>(command);
    buffer[26] = static_cast<char>(sequence);
    buffer[27] = static_cast<char>(value.size());
    buffer.replace(29, value.size(), value);
    side.Socket().SendData(buffer);
  }

  char letter = 96;
  int complete = 0, sequence = 0;
  bool latch = false, connected = false;
  Names names, values;
  Subscription onArrival_, onUpdate_;
};

/// From one of the five variables.
std::string RandomReply(Random& random, char letter, std::size_t variable) {
  static const std::string kNumbers[] = {"12.5", " 1,5 ",   "1,234.5", "0", "",
                                         "-7",   "1.5.5\0", "   ",     "."};
  static const std::string kUnits[] = {"kg", "lb  ", std::string("t \0?", 4), " ", "\xB5g"};
  std::string value = variable == 4 ? random.OneOf(kUnits) : random.OneOf(kNumbers);
  if (variable == 0) {
    value = {random.OneOf(std::string("\x20\x21\0", 3)),
             random.OneOf(std::string("\x02\x12\x10\0\x02\x12", 6))};
    if (random.Chance(5)) value.resize(1);
  }
  const std::string name = random.Chance(95) ? NamesOf(letter)[variable] : "/zz999";
  const auto sequence = static_cast<std::uint8_t>(random.Below(256));
  std::string reply = Reply((random.Chance(90) ? "/k1" : "/xy") + name, value, sequence);
  if (random.Chance(5)) reply[28] = random.Byte();
  return reply;
}

/// Mostly the replies of a whole reading in their order.
std::string Datagram(Random& random, char letter) {
  std::string datagram;
  if (random.Chance(3)) return random.Noise(80);
  const bool inOrder = random.Chance(60);
  const std::size_t first = !inOrder || random.Chance(80) ? 0 : random.Size(5);
  const std::size_t behind = inOrder && random.Chance(60) ? 5 : random.Size(6);
  for (std::size_t i = first; i < behind; ++i) {
    datagram += RandomReply(random, letter, inOrder ? i : random.Size(5));
  }
  if (random.Chance(5)) datagram.resize(datagram.size() * 2 / 3);
  return datagram;
}

}  // namespace

void PlayKesSD(Random& random) {
  ScaleStory story(random, random.Chance(50) ? "." : ",", "EthernetConnection", "KesSDProtocol",
                   [](ScaleSide& side) { return std::make_shared<SharedDataModel>(side); });
  char letter = 'a';
  const auto name = [&](const std::string& text) {
    if (!text.empty()) letter = static_cast<char>(text[0] | 0x20);
    story.Do("letter " + text, [&](ScaleSide& side) {
      const auto protocol = side.scale->Protocol();
      if (const auto real = std::dynamic_pointer_cast<KesSDProtocol>(protocol))
        real->scaleNum(text);
      else
        std::dynamic_pointer_cast<SharedDataModel>(protocol)->ScaleNum(text);
    });
  };
  static const std::vector<std::string> kLetters = {"a", "A", "B", "c", "D", "E", "", "f"};
  name("A");
  story.Run();
  // Near the end of the sequence numbers.
  if (random.Chance(10)) {
    story.Do("zeros", [](ScaleSide& side) {
      for (int left = 120; left > 0; --left) side.scale->Z();
    });
  }
  for (int steps = 5 + random.Below(40); steps > 0; --steps) {
    if (random.Chance(30))
      story.Any();
    else if (random.Chance(10))
      name(random.OneOf(kLetters));
    else
      story.Deliver(Datagram(random, letter));
  }
}

}  // namespace tarn
