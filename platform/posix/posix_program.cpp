// What a program learns about itself and its user on POSIX systems.
#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "base/automation_error.hpp"
#include "platform/posix/posix_replace_file.hpp"
#include "platform/program.hpp"
#include "platform/standard_error.hpp"

namespace tarn {
namespace {

std::string HomeFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
  const passwd* user = getpwuid(getuid());
  return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "/";
}

/// The folder that a variable names; the usual one below the home folder where it names none. The
/// rules for these variables say that a relative name counts as none.
std::string UserFolder(const char* variable, const char* usual) {
  if (const char* folder = std::getenv(variable); folder != nullptr && *folder == '/')
    return folder;
  return HomeFolder() + "/" + usual;
}

}  // namespace

void WriteToStandardError(std::string_view bytes) {
  std::size_t written = 0;
  // Another program may have set the descriptor, which it shares, not to block.
  while (!WriteAll(STDERR_FILENO, bytes, written) && errno == EAGAIN) {
    bytes.remove_prefix(written);
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    ::poll(&output, 1, -1);
  }
}

std::vector<std::string> ProgramArguments(int argc, const char* const* argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

std::string ProgramSettingsPlace(std::string_view program) {
  return UserFolder("XDG_CONFIG_HOME", ".config") + "/" + std::string(program) + "/settings.ini";
}

std::string NullFile() {
  return "/dev/null";
}

std::string MachineName() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : std::string();
}

std::string ProgramDataFolder(std::string_view program) {
  std::string folder = UserFolder("XDG_STATE_HOME", ".local/state") + "/" + std::string(program);
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw AutomationError(ErrorNumber::PathFileAccess,
                          "The folder " + folder + " cannot be made: " + error.message());
  }
  return folder;
}

std::string ProgramSocketFolder(std::string_view program) {
  const std::string user = std::to_string(::getuid());
  const char* variable = std::getenv("XDG_RUNTIME_DIR");
  const std::string usual = "/run/user/" + user;
  std::string folder = "/tmp/" + std::string(program) + "-" + user;
  if (variable != nullptr && *variable == '/')
    folder = variable + ("/" + std::string(program));
  else if (::access(usual.c_str(), W_OK | X_OK) == 0)
    folder = usual + "/" + std::string(program);
  ::mkdir(folder.c_str(), S_IRWXU);
  struct stat status {};
  const bool isOurs = ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                      status.st_uid == ::getuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
  return isOurs ? folder : std::string();
}

}  // namespace tarn
