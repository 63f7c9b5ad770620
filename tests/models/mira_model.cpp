// Commands and responses, step by step, beside the protocol.
#include "base/number_text.hpp"
#include "tests/models/models.hpp"
#include "tests/models/scale_story.hpp"

namespace tarn {
namespace {

class MiraModel : public ModelProtocol {
 public:
  explicit MiraModel(ScaleSide& itsSide) : ModelProtocol(itsSide, 6) {}

  void Connect() override {
    Prepare(1, 2000);
    retries = 0;
    pending = buffer = "";
  }
  void C() override { Queue("@"); }
  void T() override { Queue("T"); }
  void Z() override { Queue("Z"); }
  void SetTare(double& value) override {
    Queue("TA " + GeneralNumberText(value, side.host.locale.decimal) + " " + Record().Units());
  }

 private:
  void Receive() override {
    while (side.Port().InBufferCount() > 0) {
      const std::string chunk = Input();
      buffer += chunk;
      if (chunk == "\n") {
        // A line feed alone is an empty line.
        const std::string line = buffer.size() < 2 ? "" : buffer.substr(0, buffer.size() - 2);
        buffer = "";
        if (ErrorOf([&] { ParseResponse(line); }) != 0) Record().NoDataError(true);
        side.scale->ActivityLED(true);
        side.scale->watchdog(false);
      }
      if (buffer.size() > 30) {
        buffer = "";
        Record().NoDataError(true);
      }
    }
  }
  void TimedOut() override {
    if (side.scale->Disabled() || side.scale->ActivityLED() || !side.Port().PortOpen()) return;
    SendLine("SI");
    retries = 2;
    pending = Type() == 6 ? "SIR" : "SI";
  }
  void SendLine(const std::string& text) {
    side.Port().Output(side.host.locale.ToBytes(text) + "\r\n");
  }
  void Queue(const std::string& command) {
    if (Type() == 6) SendLine("SI");
    retries = 2;
    pending = command;
  }
  void Resume() {
    SendLine(Type() == 6 ? "SIR" : "SI");
    retries = 0;
    pending = "";
  }
  void Again(const std::string& text) {
    if (pending.empty() || retries <= 0) {
      pending = "";
      Record().NoDataError(true);
    } else {
      SendLine(text);
      --retries;
    }
  }
  void ParseResponse(const std::string& line) {
    std::string token[4];
    std::size_t at = 0;
    for (std::string& t : token) {
      while (at < line.size() && line[at] != ' ') t += line[at++];
      while (at < line.size() && line[at] == ' ') ++at;
    }
    const std::string& one = token[0];
    const std::string& two = token[1];
    if (one == "S" && two != "I") {
      if (pending == "SIR") {
        SendLine("SIR");
        pending = "";
      } else if (!pending.empty() && pending != "SI") {
        SendLine(pending);
        retries = 2;
      } else if (pending == "SI") {
        pending = "";
      }
      if (two != "+" && two != "-") {
        Record().Motion(two == "D");
        Record().NetWeight(Localized(Utf8(token[2])));
        Record().TareWeight("*******");
        Record().GrossWeight("*******");
        Record().Units(Utf8(token[3]));
      }
      Record().OutOfRange(two == "+" || two == "-");
      if (pending.empty() && Type() == 7) SendLine("SI");
    } else if (one == "S") {
      Again("SI");
    } else if (one == "I4") {
      two == "A" ? Resume() : Again(pending);
    } else if (one == "T" || one == "TA" || one == "Z") {
      two != "I" ? Resume() : Again(pending);
    } else {
      Record().NoDataError(true);
    }
  }

  std::string pending, buffer;
  int retries = 0;
};

/// Mostly replies that scales give, sometimes such as the line has disturbed.
std::string Line(Random& random) {
  static const std::vector<std::string> names = {"S", "S",  "S", "S",  "I4",
                                                 "T", "TA", "Z", "ES", "s"};
  static const std::vector<std::string> states = {"S", "S", "D", "D", "I", "I", "A", "+", "-", ""};
  static const std::vector<std::string> values = {"1.5",     "-12.340", "0.000", "1,234", "1.2.3",
                                                  "1,234.5", "",        "12E1",  "ABC",   "."};
  static const std::vector<std::string> units = {"kg", "g", "lb", "\xB5g", ""};
  const auto blank = [&] { return std::string(random.Chance(80) ? 1 : random.Size(5), ' '); };
  if (random.Chance(3)) return random.Noise(60);
  if (random.Chance(6)) return random.Text("S DI\r\n1.x\x80", random.Chance(30) ? 70 : 12);
  std::string line = random.Chance(3) ? " " : "";
  line += random.OneOf(names) + blank() + random.OneOf(states);
  if (random.Chance(90)) line += blank() + random.OneOf(values) + blank() + random.OneOf(units);
  if (random.Chance(5)) line += blank() + random.Text("more ", 20);
  if (random.Chance(4)) line.insert(line.size() / 2, "\t");
  return line + (random.Chance(95) ? "\r\n" : random.Chance(50) ? "\n" : "\r");
}

}  // namespace

void PlayMira(Random& random) {
  ScaleStory story(random, random.Chance(70) ? "." : ",", "SerialConnection", "MiraProtocol",
                   [](ScaleSide& side) { return std::make_shared<MiraModel>(side); });
  if (random.Chance(50)) story.Type(7);
  story.Rate(random.Chance(70) ? 0 : 3);
  story.Run();
  for (int i = 0; i < 10; ++i) {
    if (random.Chance(60)) story.Any();
    story.DeliverCut(Line(random));
    if (random.Chance(1)) story.Type(6 + random.Below(3));
  }
}

}  // namespace tarn
