// How the user names connections, protocols and dialects. A new connection, protocol or dialect
// gets a row here.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "scale/enumerations.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn::tool {

/// A class that a scale may have as its connection or protocol.
struct ClassChoice {
  std::string_view choice;     ///< what the user writes
  std::string_view className;  ///< the published name
};

std::span<const ClassChoice> ConnectionChoices();
std::span<const ClassChoice> ProtocolChoices();

/// The user's word for a class; the published name where there is none.
std::string ChoiceOf(std::span<const ClassChoice> choices, std::string_view className);
/// "none, serial".
std::string ListOf(std::span<const ClassChoice> choices);

/// The published name of a dialect; its number where that is none.
std::string ProtocolTypeName(ProtocolType type);
/// The user's short word for a dialect, the published name where there is none.
std::string ProtocolTypeWord(ProtocolType type);
/// A published name or a short word, in either case, or a number that stands for a dialect.
std::optional<ProtocolType> ParseProtocolType(std::string_view text);

/// For a table: "COM3 9600,e,7,2", "10.0.0.7", "none"; "continuous standard".
std::string ConnectionText(const TarnScale& scale);
std::string ProtocolText(const TarnScale& scale);

}  // namespace tarn::tool
