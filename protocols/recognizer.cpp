#include "protocols/recognizer.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>

#include "base/number_text.hpp"
#include "protocols/continuous_frame.hpp"
#include "protocols/generic_frame.hpp"
#include "scale/dialects.hpp"

namespace tarn {
namespace {

/// One byte in so many may be wrong, such as the first of a line that was just opened.
constexpr std::size_t kBytesPerDisturbed = 20;

/// Digits, behind blanks in their place: what continuous output has in its number fields.
bool IsDigits(std::string_view field) {
  field.remove_prefix(std::min(field.find_first_not_of(' '), field.size()));
  return !field.empty() && field.find_first_not_of("0123456789") == std::string_view::npos;
}

bool IsUnit(std::string_view unit) {
  return !unit.empty() && std::all_of(unit.begin(), unit.end(), [](char c) {
    return c == ' ' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  });
}

/// Status characters are no control characters, so that no field begins in another frame.
bool IsContinuous(std::string_view text) {
  const bool status = std::all_of(text.begin(), text.begin() + 3, [](char c) { return c >= ' '; });
  return status && IsDigits(text.substr(3, 6)) && (text.size() < 16 || IsDigits(text.substr(9, 6)));
}

Recognized RecognizeContinuous(std::string_view bytes, ProtocolType type, std::size_t length) {
  Recognized found{type};
  for (std::size_t start = bytes.find(kStx); start != std::string_view::npos;
       start = bytes.find(kStx, start + 1)) {
    const std::string_view text = bytes.substr(start + 1, length);
    if (text.size() < length || text.find(kCarriageReturn) != length - 1) continue;
    if (text.find(kStx) != std::string_view::npos || !IsContinuous(text)) continue;
    ++found.frames;
    found.bytes += length + 1;
  }
  return found;
}

/// The first character and the last two may be what begins and ends a frame.
bool IsGeneric(const GenericFrameDef& definition, std::string_view frame, std::size_t extra) {
  if (frame.size() != static_cast<std::size_t>(definition.RecordLength) + extra) return false;
  const std::string_view inside = frame.substr(1, frame.size() - 3);
  if (!std::all_of(inside.begin(), inside.end(), [](char c) { return c >= ' ' && c <= '~'; })) {
    return false;
  }
  const GenericReading reading = ParseGenericFrame(definition, frame, ReadingRules::Corrected);
  if (!reading.OutOfRange) return false;
  if (*reading.OutOfRange) return true;
  const bool weight = LocaleNumber(reading.Weight, ".").has_value();
  return weight && reading.Units && IsUnit(*reading.Units);
}

/// Cut as GenericProtocol cuts them.
Recognized RecognizeGeneric(std::string_view bytes, ProtocolType type, std::size_t extra) {
  Recognized found{type};
  GenericFrameDef definition;
  definition.Load(type);
  std::size_t start = 0;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    const auto character = static_cast<std::uint8_t>(bytes[at]);
    if (definition.StartChar != 0 && character == definition.StartChar) start = at;
    if (character != definition.EndChar) continue;
    const std::string_view frame = bytes.substr(start, at + 1 - start);
    start = at + 1;
    if (!IsGeneric(definition, frame, extra)) continue;
    ++found.frames;
    found.bytes += frame.size();
  }
  return found;
}

/// "S S     12.34 kg", "S D ...", and "S +", "S -", "S I".
bool IsAnswer(std::string_view line) {
  if (line.size() < 3 || !line.starts_with("S ")) return false;
  const char state = line[2];
  if (line.size() == 3) return state == '+' || state == '-' || state == 'I';
  if ((state != 'S' && state != 'D') || line[3] != ' ') return false;
  const std::size_t unit = line.rfind(' ');
  if (unit <= 3) return false;
  return LocaleNumber(line.substr(4, unit - 4), ".").has_value() && IsUnit(line.substr(unit + 1));
}

Recognized RecognizeAnswers(std::string_view bytes) {
  constexpr std::string_view kAnswerEnd = "\r\n";
  Recognized found{ProtocolType::Mira_Level_0_SIR};
  for (std::size_t end = bytes.find(kAnswerEnd); end != std::string_view::npos;
       end = bytes.find(kAnswerEnd)) {
    if (IsAnswer(bytes.substr(0, end))) {
      ++found.frames;
      found.bytes += end + kAnswerEnd.size();
    }
    bytes.remove_prefix(end + kAnswerEnd.size());
  }
  return found;
}

}  // namespace

Recognized Recognize(std::string_view bytes) {
  Recognized best;
  const auto consider = [&best](const Recognized& found) {
    if (found.IsBetterThan(best)) best = found;
  };
  consider(RecognizeContinuous(bytes, ProtocolType::TarnContinuousStandard, kStandardFrameLength));
  consider(RecognizeContinuous(bytes, ProtocolType::TarnContinuousShort, kShortFrameLength));
  // Some terminals send a character more than the definition has, which it takes. Among the others
  // it would be what tells two dialects apart.
  for (std::size_t extra = 0; extra < 2 && best.frames == 0; ++extra) {
    for (const Dialect& dialect : kDialects) {
      if (dialect.family == ProtocolClass::Generic)
        consider(RecognizeGeneric(bytes, dialect.type, extra));
    }
  }
  consider(RecognizeAnswers(bytes));
  return best;
}

EighthBit EighthBitOf(std::string_view bytes) {
  std::array<std::size_t, 4> wrong{};  // by the answers before Mixed
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    const bool set = byte >= 0x80;
    const bool odd = std::popcount(byte) % 2 != 0;
    ++wrong[static_cast<std::size_t>(set ? EighthBit::Clear : EighthBit::Set)];
    ++wrong[static_cast<std::size_t>(odd ? EighthBit::Even : EighthBit::Odd)];
  }
  const auto* const least = std::min_element(wrong.begin(), wrong.end());
  if (*least > bytes.size() / kBytesPerDisturbed) return EighthBit::Mixed;
  return static_cast<EighthBit>(least - wrong.begin());
}

std::string WithoutEighthBit(std::string_view bytes) {
  std::string text(bytes);
  for (char& c : text) c = static_cast<char>(static_cast<std::uint8_t>(c) & 0x7FU);
  return text;
}

std::string WithEighthBit(std::string_view text, EighthBit bit) {
  std::string bytes(text);
  if (bit == EighthBit::Clear) return bytes;
  for (char& c : bytes) {
    const auto data = static_cast<std::uint8_t>(c);
    const bool odd = std::popcount(data) % 2 != 0;
    if (odd == (bit == EighthBit::Even)) c = static_cast<char>(data | 0x80U);
  }
  return bytes;
}

}  // namespace tarn
