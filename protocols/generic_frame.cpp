#include "protocols/generic_frame.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "scale/dialects.hpp"

namespace tarn {
namespace {

constexpr std::uint8_t kStartOfText = 2;
constexpr std::uint8_t kEtx = 3;
constexpr std::uint8_t kLf = 10;
constexpr std::uint8_t kCr = 13;
constexpr std::string_view kEnq = "\x05";

/// A part of a frame; positions count from 1.
struct Field {
  std::int16_t pos;
  std::int16_t len;
};

/// The values that a dialect lists; absent ones are left unchanged.
struct FrameLayout {
  ProtocolType type;
  std::int16_t recordLength;
  std::optional<std::uint8_t> startChar = {};
  std::uint8_t endChar;
  std::optional<GPTest> rangeTest1 = {};
  std::optional<GPTest> rangeTest2 = {};
  std::optional<GPTest> motionTest = {};
  std::optional<GPTest> spareTest = {};
  std::optional<GPTest> signTest = {};
  Field units;
  Field weight;
  std::optional<std::string_view> pollString = {};
};

constexpr GPTest Equals(std::int16_t position, char value) {
  return {position, GPTestType::GP_EQ, static_cast<std::uint8_t>(value)};
}

constexpr std::array kLayouts = {
    FrameLayout{.type = ProtocolType::CardinalScbdContinuous,
                .recordLength = 18,
                .startChar = kCr,
                .endChar = kEtx,
                .rangeTest1 = Equals(9, 'c'),
                .rangeTest2 = Equals(9, 'e'),
                .motionTest = Equals(9, 'm'),
                .signTest = Equals(1, '-'),
                .units = {11, 2},
                .weight = {2, 6}},
    FrameLayout{.type = ProtocolType::FairbanksAutoComp,
                .recordLength = 16,
                .endChar = kLf,
                .motionTest = Equals(13, 'g'),
                .spareTest = Equals(13, 'n'),
                .units = {10, 2},
                .weight = {2, 7}},
    FrameLayout{.type = ProtocolType::GSE550,
                .recordLength = 23,
                .startChar = kStartOfText,
                .endChar = kLf,
                .rangeTest1 = Equals(1, 'O'),
                .motionTest = Equals(1, 'M'),
                .units = {13, 2},
                .weight = {4, 8}},
    FrameLayout{.type = ProtocolType::RiceLakeCCSerial,
                .recordLength = 14,
                .startChar = kStartOfText,
                .endChar = kLf,
                .rangeTest1 = Equals(11, 'O'),
                .rangeTest2 = Equals(11, 'I'),
                .motionTest = Equals(11, 'M'),
                .signTest = Equals(1, '-'),
                .units = {9, 1},
                .weight = {2, 7}},
    FrameLayout{.type = ProtocolType::WeighTronixWI120,
                .recordLength = 17,
                .endChar = kLf,
                .signTest = Equals(2, '-'),
                .units = {10, 2},
                .weight = {3, 6},
                .pollString = kEnq},
};

static_assert(CoversFamily(kLayouts, ProtocolClass::Generic), "one row a dialect");

template <class Value, class Listed>
void TakeOver(Value& value, const std::optional<Listed>& listed) {
  if (listed) value = *listed;
}

/// As many of `length` characters from `position` on as there are.
std::string_view Cut(std::string_view frame, std::int16_t position, std::int16_t length) {
  return frame.substr(static_cast<std::size_t>(position - 1), static_cast<std::size_t>(length));
}

void SkipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

std::optional<std::string_view> UnitOfLetter(char letter) {
  if (letter == 'L' || letter == 'l') return "lb";
  if (letter == 'K' || letter == 'k') return "kg";
  return std::nullopt;
}

bool IsUsable(const GenericFrameDef& definition, std::string_view frame) {
  const int last = std::max({definition.RangeTest1.Position, definition.RangeTest2.Position,
                             definition.MotionTest.Position, definition.SignTest.Position,
                             definition.UnitsPos, definition.WeightPos});
  const int weightEnd = definition.WeightPos + definition.WeightLen - 1;
  return static_cast<std::size_t>(std::max(last, weightEnd)) < frame.size();
}

bool IsOutOfRange(const GenericFrameDef& definition, std::string_view frame) {
  if (!definition.RangeTest1.IsUsed()) return false;
  return definition.RangeTest1.IsTrue(frame) ||
         (definition.RangeTest2.IsUsed() && definition.RangeTest2.IsTrue(frame));
}

}  // namespace

bool GPTest::IsTrue(std::string_view frame) const {
  const auto character = static_cast<std::uint8_t>(frame[static_cast<std::size_t>(Position)]);
  switch (TestType) {
    case GPTestType::GP_AND:
      return (character & Value) != 0;
    case GPTestType::GP_EQ:
      return character == Value;
    case GPTestType::GP_NE:
      return character != Value;
    case GPTestType::GP_No:
      break;
  }
  return false;
}

void GenericFrameDef::Load(ProtocolType type) {
  const auto* const layout =
      std::find_if(kLayouts.begin(), kLayouts.end(),
                   [type](const FrameLayout& candidate) { return candidate.type == type; });
  if (layout == kLayouts.end()) return;
  RecordLength = layout->recordLength;
  TakeOver(StartChar, layout->startChar);
  EndChar = layout->endChar;
  TakeOver(RangeTest1, layout->rangeTest1);
  TakeOver(RangeTest2, layout->rangeTest2);
  TakeOver(MotionTest, layout->motionTest);
  TakeOver(SpareTest, layout->spareTest);
  TakeOver(SignTest, layout->signTest);
  UnitsPos = layout->units.pos;
  UnitsLen = layout->units.len;
  WeightPos = layout->weight.pos;
  WeightLen = layout->weight.len;
  TakeOver(PollString, layout->pollString);
}

GenericReading ParseGenericFrame(const GenericFrameDef& definition, std::string_view frame,
                                 ReadingRules rules) {
  const bool corrected = rules == ReadingRules::Corrected;
  GenericReading reading;
  if (!IsUsable(definition, frame)) return reading;
  if (IsOutOfRange(definition, frame)) {
    reading.OutOfRange = true;
    return reading;
  }
  if (definition.MotionTest.IsUsed()) reading.Motion = definition.MotionTest.IsTrue(frame);
  if (definition.UnitsPos > 0) {
    if (definition.UnitsLen < 2 && !corrected) return reading;
    reading.Units = Cut(frame, definition.UnitsPos, definition.UnitsLen);
    if (definition.UnitsLen < 2) reading.Units = UnitOfLetter(reading.Units->front());
  }
  if (definition.WeightPos < 1) return reading;

  std::string_view weight = Cut(frame, definition.WeightPos, definition.WeightLen);
  SkipBlanks(weight);
  if (definition.SignTest.IsUsed() && definition.SignTest.IsTrue(frame)) {
    reading.Weight = "-";
    if (corrected && weight.starts_with('-')) {
      weight.remove_prefix(1);
      SkipBlanks(weight);
    }
  }
  reading.Weight += weight;
  reading.OutOfRange = false;
  return reading;
}

}  // namespace tarn
