// Continuous output, word by word, beside the protocol.
#include <cerrno>
#include <cstdio>
#include <limits>

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
  if (std::isinf(value)) throw RunTimeError{6};
  return value;
}

/// At least so many digits in front of the point and exactly so many behind it.
std::string Format(double value, int whole, int decimals, const std::string& point) {
  std::array<char, 512> digits{};
  const double magnitude = decimals == 0 ? std::round(std::fabs(value)) : std::fabs(value);
  std::snprintf(digits.data(), digits.size(), "%0*.*f", whole + (decimals == 0 ? 0 : decimals + 1),
                decimals, magnitude);
  std::string text = digits.data();
  if (decimals > 0) text.replace(text.find('.'), 1, point);
  return (value < 0 ? "-" : "") + text;
}

int Whole(const std::string& text) {
  if (text.starts_with("--")) throw RunTimeError{13};
  errno = 0;
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  if (errno != 0 || value != static_cast<int>(value)) throw RunTimeError{6};
  return static_cast<int>(value);
}

std::string First(const std::string& text, std::size_t count) {
  return text.substr(0, count);
}
std::string Last(const std::string& text, std::size_t count) {
  return text.substr(text.size() - count);
}

class ContinuousModel : public ScaleModel {
 public:
  explicit ContinuousModel(std::string point) : ScaleModel(std::move(point)) { Type(1); }

  void Type(int type) override {
    pType = type;
    frameLength = type == 4 || type == 5 ? 10 : 16;
  }
  void Connect() override {
    threshold = frameLength;
    activityTimeoutTime = 500;
  }
  void Press(char command, const std::string& value) override {
    Send(command == 'S' ? value + "T" : std::string(1, command));
  }
  void Receive() override {
    std::string collected;
    do {
      for (int i = 1; i <= 100; ++i) {
        const std::string c = Input();
        if (c == "\x02")
          collected = "";
        else
          collected += c;
        if (c == "\r") break;
      }
      if (static_cast<int>(collected.size()) == frameLength) {
        activityLed = true;
        try {
          ParseFrame(collected);
        } catch (const RunTimeError&) {
          NoDataError(true);
        }
        watchdog = false;
      }
    } while (static_cast<int>(waiting.size()) >= frameLength);
  }

 private:
  void ParseFrame(const std::string& text) {
    const int a = static_cast<unsigned char>(text[0]);
    const int b = static_cast<unsigned char>(text[1]);
    const int c = static_cast<unsigned char>(text[2]);
    const bool negative = (b & 2) != 0;
    const double w = Prefix(text.substr(3, 6));
    const std::string raw =
        negative ? (w < 0 ? "--" : "-") + Format(std::fabs(w), 6, 0, "") : Format(w, 7, 0, "");
    const int weightCounts = Whole(raw);
    const int code = a & 7;
    NetWeight(WeightText(code, code < 3 ? raw : First(raw, 9 - code) + "." + Last(raw, code - 2)));
    if (pType == 4 || pType == 5) {
      TareWeight("*******");
      GrossWeight("*******");
    } else {
      const std::string tareText = Format(Prefix(text.substr(9, 6)), 6, 0, "");
      const long long counts = static_cast<long long>(Whole(tareText)) + weightCounts;
      if (counts != static_cast<int>(counts)) throw RunTimeError{6};
      const std::string grossText = Format(static_cast<double>(counts), 6, 0, "");
      GrossWeight(WeightText(code, Parts(code, grossText, grossText)));
      TareWeight(WeightText(code, Parts(code, code == 7 ? raw : tareText, tareText)));
    }
    Change(motion, (b & 8) != 0);
    if ((c & 8) != 0) RequestPrint();
    const char* const unitsTexts[] = {
        (b & 16) != 0 ? "kg" : "lb", "g", "t", "oz", "ozt", "dwt", "ton", "--"};
    Change(units, std::string(unitsTexts[c & 7]));
    OutOfRange((b & 4) != 0);
  }
  static std::string Parts(int code, const std::string& left, const std::string& right) {
    return code < 3 ? right : First(left, 8 - code) + "." + Last(right, code - 2);
  }
  std::string WeightText(int code, const std::string& value) const {
    return Format(Prefix(value), code < 3 ? 3 - code : 1, code < 3 ? 0 : code - 2, decimal);
  }

  int frameLength = 0;
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
    return text;
  };
  if (random.Chance(8)) return random.Text("x1 \r\x02", random.Chance(30) ? 250 : 30);
  std::string frame = "\x02";
  for (int i = 0; i < 3; ++i) {
    frame += random.Chance(90) ? static_cast<char>(0x20 + random.Below(32)) : random.Byte();
  }
  frame += digits();
  if (!shortLayout) frame += digits();
  frame += '\r';
  if (random.Chance(10)) frame.erase(static_cast<std::size_t>(random.Below(9)), 1);
  if (random.Chance(10))
    frame.insert(static_cast<std::size_t>(random.Below(9)), 1, random.OneOf(odd));
  if (random.Chance(10)) frame += random.Byte();
  return frame;
}

TEST(ContinuousModel, ReadsAsTheProtocolDoes) {
  PlayRandomCases(3000, [](Random& random) {
    ContinuousModel model(random.Chance(70) ? "." : ",");
    ScaleStory story(random, model, "TarnContinuousProtocol");
    if (random.Chance(70)) story.Type(random.Below(8));
    story.Run();
    for (int i = 0; i < 4; ++i) {
      std::string bytes;
      for (int frames = random.Below(5); frames >= 0; --frames) {
        bytes += Bytes(random, model.pType == 4 || model.pType == 5);
      }
      story.DeliverCut(bytes);
      if (random.Chance(3)) story.Type(random.Below(8));
    }
    story.ExpectTheSame();
  });
}

}  // namespace
}  // namespace tarn
