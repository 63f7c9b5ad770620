// Fixed-layout weight frames of other makers' scales: what a dialect says about its frames, and one
// parser for all of them.
//
//      0                   1                   2
//      0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2      offset, the first character is 0
//
//  24  C w W W W W W . . S u u . . . . . E                C start, E end, w W weight, u units,
//  25  . W W W W W W W . u u . . S . E                    S one status character,
//  26  C S . W W W W W W W W . u u . . . . . . . . E      w also tells the sign
//  27  C w W W W W W W u . . S . E
//  28  . . w W W W W W . u u . . . . . E                  E is LF, for 24 ETX; C is STX, for 24 CR
//
// The sign character of 24, 27 and 28 is the first character of the weight, too. A minus there is
// taken twice, deliberately: "-12.50" becomes "--12.50", a text that has the value 0. By the
// corrected rules it is taken once.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "scale/enumerations.hpp"
#include "scale/reading_rules.hpp"

namespace tarn {

enum class GPTestType : std::int32_t {
  GP_No = 0,   ///< never true
  GP_AND = 1,  ///< the character has a bit of the value set
  GP_EQ = 2,   ///< the character is the value
  GP_NE = 3,   ///< the character is another one
};

/// A condition on one character of a frame.
struct GPTest {
  std::int16_t Position = 0;  ///< offset, the first character is 0; 0 is no test
  GPTestType TestType = GPTestType::GP_No;
  std::uint8_t Value = 0;

  bool IsUsed() const { return Position > 0; }
  /// The frame must be long enough.
  bool IsTrue(std::string_view frame) const;
};

/// Positions of fields count from 1, those of tests from 0. The difference is deliberate, the
/// dialects' definitions are written that way.
struct GenericFrameDef {
  std::string InitString;
  std::string PollString;
  std::string PString;
  std::string TString;
  std::string ZString;
  std::string CString;
  std::int16_t RecordLength = 30;   ///< characters; longer ones are thrown away
  std::int16_t TimeoutTime = 2000;  ///< milliseconds
  std::uint8_t StartChar = 0;       ///< 0 is none
  std::uint8_t EndChar = 0;
  GPTest RangeTest1;
  GPTest RangeTest2;  ///< tested only where RangeTest1 is used
  GPTest MotionTest;
  GPTest SpareTest;  ///< loaded, but never tested
  GPTest SignTest;
  std::int16_t UnitsPos = 0;  ///< 0 is no field
  std::int16_t UnitsLen = 2;
  std::int16_t WeightPos = 0;  ///< 0 makes every frame unusable
  std::int16_t WeightLen = 7;

  /// Copies the values that the dialect lists; a type other than 24 to 28 lists none. All other
  /// values deliberately stay as the previous type left them: 25 after 24 keeps the start character
  /// and the range tests of 24.
  void Load(ProtocolType type);
};

/// The contents of a frame, as bytes of it. Absent values leave the record unchanged.
struct GenericReading {
  std::optional<bool> OutOfRange;  ///< absent where the frame ends before the weight does
  std::optional<bool> Motion;
  std::optional<std::string_view> Units;
  std::string Weight;  ///< only where OutOfRange is false
};

/// A frame that is too short for its definition gives no values, one that is out of range only that
/// flag. Without a weight position, and with units of one character, it ends before the weight.
/// Deliberate: a unit of one character has no text here, which leaves type 27 without a weight. By
/// the corrected rules it is "kg" or "lb", or none where the character is another one.
GenericReading ParseGenericFrame(const GenericFrameDef& definition, std::string_view frame,
                                 ReadingRules rules = ReadingRules::Published);

}  // namespace tarn
