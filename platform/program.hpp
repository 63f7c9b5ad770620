// What a command-line program asks of the system it was built for before it has a host.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// The arguments behind the program's name, in UTF-8. Where the system hands main anything else,
/// they are taken from where it keeps them.
std::vector<std::string> ProgramArguments(int argc, const char* const* argv);

/// Where a program of this name keeps its own settings: a place as HostOptions::settingsPlace takes
/// it, on this user's account.
std::string ProgramSettingsPlace(std::string_view program);

/// The folder for the files that a program of this name writes where nobody names a place, made
/// when missing. Error 75 where it cannot be made.
std::string ProgramDataFolder(std::string_view program);

}  // namespace tarn
