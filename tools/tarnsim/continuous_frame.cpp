#include "tools/tarnsim/continuous_frame.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

namespace tarn::sim {
namespace {

constexpr char kStx = '\x02';
constexpr char kCr = '\r';
constexpr std::size_t kLongestFrame = 18;
constexpr unsigned kAlwaysSet = 0x20;
constexpr unsigned kWholeNumbers = 2;  // the decimal code of weights without decimals

/// By Units. Kilograms and pounds share a code and differ in status B.
constexpr std::array<unsigned, 8> kUnitsCodes{0, 0, 1, 2, 3, 4, 5, 6};

unsigned When(bool condition, unsigned bits) {
  return condition ? bits : 0;
}

unsigned StatusA(const Graduation& graduation) {
  const unsigned increment = graduation.increment == 1 ? 1 : graduation.increment == 2 ? 2 : 3;
  return kAlwaysSet | increment << 3U |
         (kWholeNumbers + static_cast<unsigned>(graduation.decimals));
}

unsigned StatusB(const Reading& reading, Units units) {
  return kAlwaysSet | When(reading.netMode, 0x01) | When(reading.Displayed() < 0, 0x02) |
         When(reading.OutOfRange(), 0x04) | When(reading.motion, 0x08) |
         When(units == Units::Kilogram, 0x10) | When(!reading.zeroed, 0x40);
}

unsigned StatusC(Units units, bool printRequest) {
  return kAlwaysSet | kUnitsCodes[static_cast<std::size_t>(units)] | When(printRequest, 0x08);
}

void AppendSixDigits(std::string& frame, std::int32_t digits) {
  std::int32_t rest = std::min(std::abs(digits), Graduation::kLargestDisplay);
  std::array<char, 6> text{};
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit) {
    *digit = static_cast<char>('0' + rest % 10);
    rest /= 10;
  }
  frame.append(text.data(), text.size());
}

}  // namespace

std::string BuildContinuousFrame(const ContinuousLayout& layout, const Reading& reading,
                                 bool printRequest) {
  std::string frame;
  frame.reserve(kLongestFrame);
  frame += kStx;
  frame += static_cast<char>(StatusA(layout.graduation));
  frame += static_cast<char>(StatusB(reading, layout.units));
  frame += static_cast<char>(StatusC(layout.units, printRequest));
  AppendSixDigits(frame, reading.Displayed());
  if (layout.standard) AppendSixDigits(frame, reading.tare);
  frame += kCr;
  if (layout.checksum) frame += ContinuousChecksum(frame);
  return frame;
}

char ContinuousChecksum(std::string_view frame) {
  unsigned sum = 0;
  for (const char c : frame) sum += static_cast<unsigned char>(c);
  return static_cast<char>(-sum & 0x7FU);
}

}  // namespace tarn::sim
