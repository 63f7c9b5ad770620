// The values of tags in messages.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "scale/reading_rules.hpp"
#include "scale/summit_data.hpp"
#include "shareddata/kes_message.hpp"
#include "shareddata/sd_tag_info.hpp"

namespace tarn {

/// Bytes of a value of the type, or of one element of an array; 0 for a number that is no type.
std::int16_t ElementWidth(SDTagType type);

/// Error 380 for a name that is no terminal variable's: 1 to 6 characters, so that it fits into a
/// request behind the name of the node.
void RequireVariableName(std::string_view name);

/// Whether ConvertReadData gives the tag a value.
bool IsReadSingly(SDTagType type);

/// The reply's data as the tag's value; a type that is not read singly changes nothing. An unsigned
/// long deliberately comes as text, and by the corrected rules as the number that it is, in a
/// double.
void ConvertReadData(SDTagInfo& readTag, KesMessage& readMsg,
                     ReadingRules rules = ReadingRules::Published);

/// The reply's data into the data object, arrays element by element as long as it goes on; false
/// where the data did not decode. Exceptions of the data object propagate. An unsigned long is
/// delivered by the corrected rules only, as a double.
bool DeliverPolledData(KesMessage& message, const std::shared_ptr<SDTagInfo>& tag,
                       _SummitData& data, const std::function<bool()>& goesOn, ReadingRules rules);

/// The value into a write request, in the tag's type. False for a type that cannot be written;
/// errors 6 and 13 where the value is not of the type.
bool PutTagValue(KesMessage& message, SDTagType type, const TagValue& value,
                 std::string_view decimalSeparator, ReadingRules rules);

}  // namespace tarn
