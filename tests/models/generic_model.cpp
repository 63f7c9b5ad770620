// Frames of other makers' scales, step by step, beside the protocol.
#include "tests/models/models.hpp"
#include "tests/models/scale_story.hpp"

namespace tarn {
namespace {

struct Test {
  int position = 0;
  char value = 0;
};

class GenericModel : public ModelProtocol {
 public:
  explicit GenericModel(ScaleSide& itsSide) : ModelProtocol(itsSide, 0) {
    onUpdate_ = side.scale->UpdateWeight.Subscribe([this] { UpdateWeight(); });
  }

  ProtocolType pType() const override { return ModelProtocol::pType(); }
  void pType(ProtocolType newType) override {
    ModelProtocol::pType(newType);
    const int type = Type();
    if (type == 24) {
      recordLength = 18, startChar = 13, endChar = 3;
      range1 = {9, 'c'}, range2 = {9, 'e'}, inMotion = {9, 'm'}, sign = {1, '-'};
      unitsPos = 11, unitsLen = 2, weightPos = 2, weightLen = 6;
    } else if (type == 25) {
      recordLength = 16, endChar = 10;
      inMotion = {13, 'g'};
      unitsPos = 10, unitsLen = 2, weightPos = 2, weightLen = 7;
    } else if (type == 26) {
      recordLength = 23, startChar = 2, endChar = 10;
      range1 = {1, 'O'}, inMotion = {1, 'M'};
      unitsPos = 13, unitsLen = 2, weightPos = 4, weightLen = 8;
    } else if (type == 27) {
      recordLength = 14, startChar = 2, endChar = 10;
      range1 = {11, 'O'}, range2 = {11, 'I'}, inMotion = {11, 'M'}, sign = {1, '-'};
      unitsPos = 9, unitsLen = 1, weightPos = 2, weightLen = 7;
    } else if (type == 28) {
      recordLength = 17, endChar = 10, polled = true;
      sign = {2, '-'};
      unitsPos = 10, unitsLen = 2, weightPos = 3, weightLen = 6;
    }
  }
  void Connect() override {
    Prepare(1, 2000);
    buffer = "";
  }

 private:
  void UpdateWeight() {
    if (side.scale->Disabled() || !polled || !side.Port().PortOpen()) return;
    side.Port().Output("\x05");
  }
  void Receive() override {
    while (side.Port().InBufferCount() > 0) {
      const std::string chunk = Input();
      if (startChar != 0 && chunk == std::string(1, startChar)) buffer = "";
      buffer += chunk;
      if (chunk[0] == endChar) {
        Parse(std::exchange(buffer, ""));
        side.scale->ActivityLED(true);
        side.scale->watchdog(false);
      }
      if (static_cast<int>(buffer.size()) > recordLength) {
        buffer = "";
        Record().NoDataError(true);
      }
    }
  }
  void Parse(const std::string& frame) {
    const int length = static_cast<int>(frame.size());
    bool usable = true;
    for (const int position : {range1.position, range2.position, inMotion.position, sign.position,
                               unitsPos, weightPos, weightPos + weightLen - 1}) {
      usable = usable && position < length;
    }
    if (usable) ErrorOf([&] { File(frame); });
    Record().NoDataError(true);
  }
  void File(const std::string& frame) {
    const auto is = [&](const Test& test) {
      return frame[static_cast<std::size_t>(test.position)] == test.value;
    };
    const auto middle = [&](int from, int count) {
      return frame.substr(static_cast<std::size_t>(from - 1), static_cast<std::size_t>(count));
    };
    bool outside = false;
    if (range1.position > 0) {
      outside = is(range1);
      if (range2.position > 0 && is(range2)) outside = true;
    }
    if (!outside) {
      if (inMotion.position > 0) Record().Motion(is(inMotion));
      const bool negative = sign.position > 0 && is(sign);
      if (unitsPos > 0) {
        if (unitsLen < 2) return;
        Record().Units(Utf8(middle(unitsPos, unitsLen)));
      }
      if (weightPos < 1) return;
      std::string weight = middle(weightPos, weightLen);
      while (weight.starts_with(' ')) weight.erase(0, 1);
      Record().NetWeight(Localized(Utf8((negative ? "-" : "") + weight)));
      Record().TareWeight("*******");
      Record().GrossWeight("*******");
    }
    Record().OutOfRange(outside);
  }

  std::string buffer;
  bool polled = false;
  Subscription onUpdate_;
  int recordLength = 30;
  char startChar = 0, endChar = 0;
  Test range1, range2, inMotion, sign;
  int unitsPos = 0, unitsLen = 2, weightPos = 0, weightLen = 7;
};

/// A frame of the type, sometimes of another one, sometimes disturbed, up to as long as may be.
std::string Frame(Random& random, int type) {
  static const char* const layouts[] = {"\r 123.4  ?uu     \x03", "  w23.45 uu  ?\r\n",
                                        "\x02?  w123.4 uu        \r\n", "\x02w0123.4K  ?\r\n",
                                        "  w12.34 uu    \r\n"};
  static const std::vector<std::string> units = {"kg", "lb", " g", "\xB5g"};
  if (random.Chance(3)) return random.Noise(60);
  if (random.Chance(6)) return random.Text(std::string("x1 \r\n\x02\x03\0", 8), 40);
  std::string frame =
      layouts[type < 24 || type > 28 || random.Chance(5) ? random.Below(5) : type - 24];
  for (char& c : frame) {
    if (c == '?') c = random.OneOf(std::string("  xcemgnOIM\xF0"));
    if (c == 'w') c = random.OneOf(std::string("  -19"));
    if (c >= '1' && c <= '9' && random.Chance(30)) c = random.OneOf(std::string("0 .,-7"));
  }
  if (const auto at = frame.find("uu"); at != std::string::npos) {
    frame.replace(at, 2, random.OneOf(units));
  }
  if (random.Chance(15)) frame.insert(frame.size() - 1, random.Text(" x", 3));
  if (random.Chance(15)) frame.erase(random.Size(14), 1 + random.Size(4));
  return frame;
}

}  // namespace

void PlayGeneric(Random& random) {
  ScaleStory story(random, random.Chance(70) ? "." : ",", "SerialConnection", "GenericProtocol",
                   [](ScaleSide& side) { return std::make_shared<GenericModel>(side); });
  int type = 0;
  for (int types = random.Below(3); types >= 0; --types) story.Type(type = 23 + random.Below(7));
  story.Rate(random.Chance(70) ? 0 : 3);
  story.Run();
  for (int i = 0; i < 10; ++i) {
    story.DeliverCut(Frame(random, type));
    if (random.Chance(2)) story.Type(type = 24 + random.Below(5));
  }
}

}  // namespace tarn
