#include "tools/tarnscale/capture_text.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iomanip>
#include <limits>
#include <optional>
#include <sstream>

#include "platform/utf8.hpp"
#include "server/scale_table.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_keys.hpp"

namespace tarn::tool {
namespace {

constexpr std::string_view kTitle = "# tarnscale capture 1";
constexpr std::string_view kScale = "scale ";
constexpr std::string_view kSet = "set ";
constexpr std::string_view kReadable = "  |";
/// A line runs for months, not for longer.
constexpr std::int64_t kLongest = std::int64_t{10} * 366 * 24 * 3600 * 1000;

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Takes a number off the front of the text.
template <class Number>
std::optional<Number> TakeNumber(std::string_view& text, int base = 10) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

/// "1.250" in milliseconds.
std::optional<std::int64_t> TakeTime(std::string_view& text) {
  const auto seconds = TakeNumber<std::int64_t>(text);
  if (!seconds || *seconds < 0 || *seconds > kLongest / 1000) return std::nullopt;
  if (text.size() < 4 || text[0] != '.') return std::nullopt;
  std::string_view digits = text.substr(1, 3);
  const auto thousandths = TakeNumber<std::uint16_t>(digits);
  if (!thousandths || !digits.empty()) return std::nullopt;
  text.remove_prefix(4);
  return *seconds * 1000 + *thousandths;
}

std::optional<std::string> BytesOf(std::string_view text) {
  std::string bytes;
  for (text = Trimmed(text); !text.empty(); text = Trimmed(text)) {
    std::string_view pair = text.substr(0, 2);
    text.remove_prefix(pair.size());
    const bool whole = pair.size() == 2 && (text.empty() || text[0] == ' ');
    const auto byte = TakeNumber<std::uint8_t>(pair, 16);
    if (!whole || !byte || !pair.empty()) return std::nullopt;
    bytes.push_back(static_cast<char>(*byte));
  }
  return bytes;
}

std::optional<CapturedPiece> PieceOf(std::string_view line) {
  CapturedPiece piece;
  const auto time = TakeTime(line);
  line = Trimmed(line);
  if (!time || line.empty() || (line[0] != '<' && line[0] != '>')) return std::nullopt;
  piece.time = *time;
  piece.arrived = line[0] == '<';
  const auto bytes = BytesOf(line.substr(1, line.find(kReadable) - 1));
  if (!bytes) return std::nullopt;
  piece.bytes = *bytes;
  return piece;
}

bool TakeLine(Capture& capture, std::string_view line) {
  if (line.starts_with(kSet)) {
    // A blank at its end may be all of a delimiter.
    capture.settings.emplace_back(line.substr(kSet.size()));
    return line.find('=') != std::string_view::npos;
  }
  line = Trimmed(line);
  if (line.empty() || line[0] == '#') return true;
  if (line.starts_with(kScale)) {
    line.remove_prefix(kScale.size());
    const auto number = TakeNumber<int>(line);
    capture.scale = number.value_or(0);
    return line.empty() && capture.scale >= 1 && capture.scale <= kScaleCount;
  }
  auto piece = PieceOf(line);
  if (!piece) return false;
  if (!capture.pieces.empty()) piece->time = std::max(piece->time, capture.pieces.back().time);
  capture.pieces.push_back(std::move(*piece));
  return true;
}

}  // namespace

std::string CaptureHead(const TarnScale& scale, WallTime began) {
  std::string head = std::string(kTitle) + "\n# " + UtcText(began) + "\n" + std::string(kScale) +
                     std::to_string(scale.ScaleNumber()) + "\n";
  for (const ScaleKey& key : ScaleKeys()) {
    if (!key.shown || !key.Fits(scale)) continue;
    head += std::string(kSet) + std::string(key.name) + "=" + Printable(ValueText(key.get(scale))) +
            "\n";
  }
  return head;
}

std::string ByteText(std::string_view bytes) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::setfill('0') << std::uppercase << std::hex;
  std::string readable;
  for (const char byte : bytes) {
    text << ' ' << std::setw(2) << static_cast<unsigned>(static_cast<unsigned char>(byte));
    readable += byte >= ' ' && byte <= '~' ? byte : '.';
  }
  text << kReadable << readable << '|';
  return text.str();
}

std::string CaptureLine(const CapturedPiece& piece) {
  std::ostringstream line;
  line.imbue(std::locale::classic());
  line << std::setw(8) << piece.time / 1000 << '.' << std::setfill('0') << std::setw(3)
       << piece.time % 1000 << (piece.arrived ? " <" : " >") << ByteText(piece.bytes) << '\n';
  return line.str();
}

Capture ReadCapture(std::string_view text) {
  if (!text.starts_with(kTitle)) {
    throw Failure("it is no capture: its first line is not '" + std::string(kTitle) + "'");
  }
  Capture capture;
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) break;
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    text.remove_prefix(end + 1);
    if (!TakeLine(capture, line)) {
      throw Failure("line " + std::to_string(number) + " of the capture is not understood: '" +
                    Printable(line.substr(0, 60)) + "'");
    }
  }
  return capture;
}

}  // namespace tarn::tool
