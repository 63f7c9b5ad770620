// Continuous output, step by step, beside the protocol.
#include <array>
#include <cmath>
#include <cstdio>

#include "base/number_text.hpp"
#include "tests/models/models.hpp"
#include "tests/models/scale_story.hpp"

namespace tarn {
namespace {

/// Blanks do not count; as much of the rest as is a number, 0 where nothing is.
double Prefix(std::string text) {
  std::erase(text, ' ');
  text = text.substr(0, text.find_first_not_of("0123456789.+-eEdD"));
  for (char& c : text) {
    if (c == 'd' || c == 'D') c = 'E';
  }
  const double value = std::strtod(text.c_str(), nullptr);
  if (std::isinf(value)) ThrowOverflow();
  return value;
}

/// At least so many digits in front of the point and exactly so many behind it.
std::string Format(double value, int whole, int decimals, const std::string& point = "") {
  std::array<char, 512> digits{};
  const double magnitude = decimals == 0 ? std::round(std::fabs(value)) : std::fabs(value);
  std::snprintf(digits.data(), digits.size(), "%0*.*f", whole + (decimals == 0 ? 0 : decimals + 1),
                decimals, magnitude);
  std::string text = digits.data();
  if (decimals > 0) text.replace(text.find('.'), 1, point);
  return (value < 0 ? "-" : "") + text;
}

int Whole(const std::string& text) {
  if (text.starts_with("--")) ThrowTypeMismatch();
  const double value = std::strtod(text.c_str(), nullptr);
  if (std::fabs(value) > 2147483647) ThrowOverflow();
  return static_cast<int>(value);
}

class ContinuousModel : public ModelProtocol {
 public:
  explicit ContinuousModel(ScaleSide& itsSide) : ModelProtocol(itsSide, 1) {}

  ProtocolType pType() const override { return ModelProtocol::pType(); }
  void pType(ProtocolType type) override {
    ModelProtocol::pType(type);
    frameLength = Short() ? 10 : 16;
  }
  void Connect() override {
    Prepare(frameLength, 500);
    side.scale->UpdateRate(0);
  }
  void C() override { side.Port().Output("C"); }
  void P() override { side.Port().Output("P"); }
  void T() override { side.Port().Output("T"); }
  void Z() override { side.Port().Output("Z"); }
  void SetTare(double& value) override { side.Port().Output(GeneralNumberText(value) + "T"); }

 private:
  bool Short() const { return Type() == 4 || Type() == 5; }
  void Receive() override {
    std::string collected;
    do {
      for (int i = 1; i <= 100; ++i) {
        const std::string c = Input();
        collected = c == "\x02" ? "" : collected + c;
        if (c == "\r") break;
      }
      if (static_cast<int>(collected.size()) == frameLength) {
        side.scale->ActivityLED(true);
        try {
          ParseFrame(collected);
        } catch (const AutomationError&) {
          Record().NoDataError(true);
        }
        side.scale->watchdog(false);
      }
    } while (side.Port().InBufferCount() >= frameLength);
  }
  void ParseFrame(const std::string& text) {
    const unsigned a = static_cast<unsigned char>(text[0]);
    const int b = static_cast<unsigned char>(text[1]);
    const int c = static_cast<unsigned char>(text[2]);
    const double w = Prefix(text.substr(3, 6));
    const std::string raw =
        (b & 2) != 0 ? (w < 0 ? "--" : "-") + Format(std::fabs(w), 6, 0) : Format(w, 7, 0);
    const int weightCounts = Whole(raw);
    const std::size_t code = a & 7;
    Record().NetWeight(WeightText(code, 9 - code, raw, raw));
    if (Short()) {
      Record().TareWeight("*******");
      Record().GrossWeight("*******");
    } else {
      const std::string tare = Format(Prefix(text.substr(9, 6)), 6, 0);
      const double counts = static_cast<double>(Whole(tare)) + weightCounts;
      if (std::fabs(counts) > 2147483647) ThrowOverflow();
      const std::string gross = Format(counts, 6, 0);
      Record().GrossWeight(WeightText(code, 8 - code, gross, gross));
      Record().TareWeight(WeightText(code, 8 - code, code == 7 ? raw : tare, tare));
    }
    Record().Motion((b & 8) != 0);
    if ((c & 8) != 0) side.scale->printRequest(false);
    const char* const units[] = {
        (b & 16) != 0 ? "kg" : "lb", "g", "t", "oz", "ozt", "dwt", "ton", "--"};
    Record().Units(units[c & 7]);
    Record().OutOfRange((b & 4) != 0);
  }
  std::string WeightText(std::size_t code, std::size_t first, const std::string& left,
                         const std::string& right) const {
    if (code < 3) return Format(Prefix(right), 3 - static_cast<int>(code), 0);
    const std::size_t last = code - 2;
    return Format(Prefix(left.substr(0, first) + "." + right.substr(right.size() - last)), 1,
                  static_cast<int>(last), side.host.locale.decimal);
  }

  int frameLength = 16;
};

/// Mostly a frame, sometimes one that the line has disturbed, sometimes noise.
std::string Bytes(Random& random, bool shortLayout) {
  const std::string odd = "0123456789 .-+EeDdX\t\n\x02\r";
  const auto digits = [&] {
    std::string text;
    const bool clean = random.Chance(70);
    while (text.size() < 6)
      text += clean ? static_cast<char>('0' + random.Below(10)) : random.OneOf(odd);
    if (random.Chance(10)) text.replace(0, 3, "000");
    return random.Chance(3) ? "20E+08" : text;  // two of them are too much
  };
  if (random.Chance(3)) return random.Noise(60);
  if (random.Chance(8)) return random.Text("x1 \r\x02", random.Chance(30) ? 250 : 30);
  std::string frame = "\x02";
  for (int i = 0; i < 3; ++i) {
    frame += random.Chance(90) ? static_cast<char>(0x20 + random.Below(32)) : random.Byte();
  }
  frame += digits();
  if (!shortLayout) frame += digits();
  frame += '\r';
  if (random.Chance(10)) frame.erase(random.Size(9), 1);
  if (random.Chance(10)) frame.insert(random.Size(9), 1, random.OneOf(odd));
  if (random.Chance(10)) frame += random.Byte();
  if (random.Chance(5)) frame.insert(0, 75 + random.Size(30), 'x');  // a pass ends inside it
  return frame;
}

}  // namespace

void PlayContinuous(Random& random) {
  ScaleStory story(random, random.Chance(70) ? "." : ",", "SerialConnection",
                   "TarnContinuousProtocol",
                   [](ScaleSide& side) { return std::make_shared<ContinuousModel>(side); });
  if (random.Chance(50)) story.end = '\r';
  int type = random.Chance(70) ? random.Below(8) : 1;
  story.Type(type);
  story.Run();
  for (int i = 0; i < 4; ++i) {
    std::string bytes;
    for (int frames = random.Below(5); frames >= 0; --frames) {
      bytes += Bytes(random, type == 4 || type == 5);
    }
    story.DeliverCut(bytes);
    if (random.Chance(3)) story.Type(type = random.Below(8));
  }
}

}  // namespace tarn
