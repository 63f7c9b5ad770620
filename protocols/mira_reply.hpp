// One reply line of a scale with commands and responses, cut into its tokens.
//
//   S S     123.45 kg       weight, stable             Z A       zero set
//   S D     120.02 kg       weight, in motion          T S  10.00 kg    tare taken
//   S + | S -               over or under the range    TA A 12.50 kg    preset tare taken
//   S I                     busy, no weight now        Z I, T I, TA I   busy
//   ES | ET | EL            command not understood     I4 A "0123"      reset done
//
// Lines end with CR LF. Only the blank separates, and a run of blanks counts as one; a blank in
// front leaves the first token empty. What follows the fourth token is not looked at.
#pragma once

#include <string_view>

namespace tarn {

/// Bytes of the line; tokens past its end are empty.
struct MiraReply {
  std::string_view Name;
  std::string_view Status;
  std::string_view Value;
  std::string_view Unit;
};

/// The line without its CR LF.
MiraReply SplitMiraReply(std::string_view line);

}  // namespace tarn
