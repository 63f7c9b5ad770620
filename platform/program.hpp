// What a command-line program needs from its system before it has a host.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// The arguments behind the program's name, in UTF-8. On a system that passes main another
/// encoding, they come from the system itself.
std::vector<std::string> ProgramArguments(int argc, const char* const* argv);

/// Where a program of this name keeps its settings for this user, in the form of
/// HostOptions::settingsPlace.
std::string ProgramSettingsPlace(std::string_view program);

/// The name of the file that takes everything and keeps nothing.
std::string NullFile();

/// The name of this machine in its network; empty where the system does not tell.
std::string MachineName();

/// The folder for the files that a program of this name writes when nobody names a place; it is
/// made if it is missing. Error 75 if it cannot be made.
std::string ProgramDataFolder(std::string_view program);

/// The folder for the local sockets of this user's programs of this name, which nobody else may
/// enter; it is made if it is missing. Empty where the system has no such sockets, or somebody else
/// has taken the place.
std::string ProgramSocketFolder(std::string_view program);

}  // namespace tarn
