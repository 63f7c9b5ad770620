// How the user names connections, protocols and dialects: the words of the class registry and of
// the table of dialects.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "scale/class_row.hpp"
#include "scale/enumerations.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn::tool {

using Role = ClassRow::Role;

/// The connection or protocol of which the text is the user's word or the published name, in either
/// case; null where it is neither.
const ClassRow* FindClass(Role role, std::string_view text);
/// What users may choose from.
std::vector<std::string_view> WordsOf(Role role);
/// The user's word for a class; the published name where there is none.
std::string WordOf(std::string_view className);
/// The dialects that a protocol class speaks; NoProt for any other class.
ProtocolClass FamilyOf(std::string_view className);

/// The published name of a dialect; its number where that is none.
std::string ProtocolTypeName(ProtocolType type);
/// The user's short word for a dialect, the published name where there is none.
std::string ProtocolTypeWord(ProtocolType type);
/// A published name or a short word, in either case, or a number that stands for a dialect.
std::optional<ProtocolType> ParseProtocolType(std::string_view text);
/// The words of the dialects of a family.
std::vector<std::string_view> WordsOf(ProtocolClass family);

/// "none, serial".
std::string Joined(const std::vector<std::string_view>& words, std::string_view separator);

/// For a table: "COM3 9600,e,7,2", "10.0.0.7", "none"; "continuous standard".
std::string ConnectionText(const TarnScale& scale);
std::string ProtocolText(const TarnScale& scale);

}  // namespace tarn::tool
