// A scale on a line, its records and its watchdog, word by word, for the models of its protocols.
#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>

namespace tarn {

struct RunTimeError {
  int number = 0;
};

struct ReadingState {
  std::string gross, tare, net, units;
  double grossValue = 0, tareValue = 0, netValue = 0;

  std::string Text() const {
    std::string text = gross + "|" + tare + "|" + net + "|" + units;
    for (const double value : {grossValue, tareValue, netValue}) {
      std::array<char, 32> digits{};
      const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
      text.append("|").append(digits.data(), end.ptr);
    }
    return text;
  }
};

/// What clients read of a scale.
struct ScaleState : ReadingState {
  bool motion = true, outOfRange = false, atZero = false, inNetMode = false, noDataError = false;
  bool activityLed = false, errorLed = false, watchdog = false, printRequested = false;
  ReadingState printed;

  std::string Text() const {
    std::string text = ReadingState::Text() + " ";
    const bool flags[] = {motion,      outOfRange, atZero,   inNetMode,     noDataError,
                          activityLed, errorLed,   watchdog, printRequested};
    for (std::size_t i = 0; i < std::size(flags); ++i) text += flags[i] ? "MRZNEaewp"[i] : '-';
    return text + " " + printed.Text() + "\n";
  }
};

/// Blanks around it, a sign, digits, the locale's point, an exponent; 0 for anything else.
inline double LocaleValue(std::string text, const std::string& point) {
  while (text.starts_with(' ')) text.erase(0, 1);
  while (text.ends_with(' ')) text.pop_back();
  if (point != ".") {
    if (text.find('.') != std::string::npos) return 0;
    if (const auto at = text.find(point); at != std::string::npos) text.replace(at, 1, ".");
  }
  if (text.find_first_not_of("0123456789.+-eE") != std::string::npos) return 0;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  return *end != '\0' || std::isinf(value) ? 0 : value;
}

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

/// The protocols derive from it, since they see all of their scale.
class ScaleModel : public ScaleState {
 public:
  explicit ScaleModel(std::string point) : decimal(std::move(point)) {}
  virtual ~ScaleModel() = default;

  std::string decimal, trace, sent;
  std::string noDataText = "Error", clearedText;
  bool disabled = false, bidirectional = true, open = false;
  std::string waiting;  ///< at the port
  int threshold = 1, pType = 0, activityTimeoutTime = 0;
  TimerModel activityTimer;

  // The protocol.
  virtual void Connect() = 0;
  virtual void Receive() = 0;
  virtual void TimedOut() {}
  virtual void OtherTimers() {}
  /// C, P, T, Z, or S for a preset tare, as its general text with a point.
  virtual void Press(char command, const std::string& value) = 0;
  virtual void Type(int type) { pType = type; }

  // The records.
  void Raise(const char* event) { trace += event + (" " + Text()); }
  void GrossWeight(const std::string& text) { grossValue = LocaleValue(gross = text, decimal); }
  void TareWeight(const std::string& text) { tareValue = LocaleValue(tare = text, decimal); }
  void NetWeight(const std::string& text) { netValue = LocaleValue(net = text, decimal); }
  template <class Value>
  void Change(Value& stored, const Value& value) {
    if (stored == value) return;
    stored = value;
    Raise("StatusChange");
  }
  void OutOfRange(bool value) {
    if (value) gross = net = "*******";
    Change(outOfRange, value);
    Change(inNetMode, tareValue != 0);
    Change(atZero, netValue == 0);
    NewWeight();
  }
  void Blank(const std::string& text) {
    gross = tare = net = text;
    grossValue = tareValue = netValue = 0;
    outOfRange = true;
    atZero = inNetMode = motion = false;
  }
  void NoDataError(bool value) {
    noDataError = value;
    if (value) Blank(noDataText);
    Raise("StatusChange");
    NewWeight();
  }
  void ClearWeight() {
    Blank(clearedText);
    units = "";
    Raise("StatusChange");
    NewWeight();
  }
  /// The scale's own handler comes first.
  void NewWeight() {
    if (printRequested && !motion) {
      Print();
      printRequested = false;
    }
    Raise("NewWeight");
  }
  void Print() {
    printed = *this;
    Raise("Print");
  }
  void ErrorLed(bool on) {
    errorLed = on;
    Raise("NewStatus");
  }

  // The line.
  void Deliver(const std::string& bytes) {
    if (!open) return;
    waiting += bytes;
    if (static_cast<int>(waiting.size()) >= threshold) Receive();
  }
  std::string Input() {
    const std::string character = waiting.substr(0, 1);
    waiting.erase(0, 1);
    return character;
  }
  void Send(const std::string& bytes) {
    if (!open) throw RunTimeError{8018};
    sent += bytes;
  }

  // The scale. Its update interval is 0 throughout.
  void RunScale() {
    if (disabled) return ClearWeight();
    Connect();
    waiting.clear();
    open = true;
    activityTimer.Write(activityTimeoutTime);
  }
  void StopScale() {
    activityTimer.Write(0);
    ClearWeight();
    open = false;
  }
  void Disabled(bool value) {
    activityLed = false;
    ErrorLed(false);
    disabled = value;
    if (value) open = false;
  }
  void Tick() {
    if (activityTimer.Tick()) {
      ActivityTimedOut();
      TimedOut();
    }
    OtherTimers();
  }
  void ActivityTimedOut() {
    if (disabled) return;
    if (watchdog) {
      NoDataError(true);
      activityLed = false;
      ErrorLed(true);
    } else {
      NoDataError(false);
      ErrorLed(false);
    }
    watchdog = true;
    activityTimer.Write(activityTimeoutTime);
  }
  void Command(char command, const std::string& tareText) {
    if (bidirectional)
      Press(command, tareText);
    else if (command == 'P' && pType != 18)
      RequestPrint();
  }
  void RequestPrint() { printRequested = true; }
};

}  // namespace tarn
