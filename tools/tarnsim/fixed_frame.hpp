// Frames of a fixed layout, as scales of several makers send them. Offsets count from 0; w is the
// weight, u the units, s the status, ^ and _ the start and end characters, everything else a blank.
//
//                0                   1                   2
//                0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2
//   cardinal     ^ w w w w w w     s u u           _              ^ CR, _ ETX
//   fairbanks      w w w w w w w   u u     s r _                  _ LF, r CR
//   gse550       ^ s   w w w w w w w w   u u             r _      ^ STX, _ LF, r CR (at 21)
//   ricelake     ^ w w w w w w w u     s r _                      ^ STX, _ LF, r CR
//   wi120            w w w w w w   u u         r _                _ LF, r CR (at 15)
//
// The weight is right-aligned in its field. Cardinal, ricelake and wi120 put the sign at the left
// end of the field, the others in front of the first digit. A weight that does not fit shows as
// dashes.
#pragma once

#include <string>
#include <string_view>

#include "tools/tarnsim/graduation.hpp"
#include "tools/tarnsim/indicator.hpp"

namespace tarn::sim {

enum class FixedLayout { Cardinal, Fairbanks, Gse550, RiceLake, Wi120 };

struct FixedFrameOptions {
  FixedLayout layout = FixedLayout::Cardinal;
  Units units = Units::Kilogram;
  Graduation graduation;
};

/// Throws UsageError for an unknown name.
FixedLayout FixedLayoutOf(std::string_view text);
/// Returns whether the scale sends a frame only in answer to an ENQ.
bool IsPolled(FixedLayout layout);
/// Units are cut to the length of their field.
std::string BuildFixedFrame(const FixedFrameOptions& options, const Reading& reading);

}  // namespace tarn::sim
