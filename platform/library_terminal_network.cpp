#include "platform/library_terminal_network.hpp"

#include <cstddef>
#include <type_traits>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

/// Room behind the caller's buffer, for a library that is careless about its end.
constexpr std::size_t kSpareRoom = 1024;

}  // namespace

const LibraryTerminalNetwork::Functions& LibraryTerminalNetwork::Loaded() {
  if (loaded_) return functions_;
  std::string why;
  const Finder find = load_(library_, why);
  if (!find) {
    throw AutomationError(ErrorNumber::FileNotFound,
                          "The library of the terminal network is not there: " + why);
  }
  const auto take = [&](auto& function, const char* name) {
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(find(name));
    if (function != nullptr) return;
    throw AutomationError(ErrorNumber::FileNotFound,
                          "The library " + library_ + " has no function " + name);
  };
  take(functions_.registerProcess, "KesRegisterProcess");
  take(functions_.closeProcess, "KesCloseProcess");
  take(functions_.write, "KesWrite");
  take(functions_.read, "KesRead");
  loaded_ = true;
  return functions_;
}

std::int32_t LibraryTerminalNetwork::KesRegisterProcess(std::int32_t number) {
  return Loaded().registerProcess(number);
}

std::int32_t LibraryTerminalNetwork::KesCloseProcess() {
  return Loaded().closeProcess();
}

std::int32_t LibraryTerminalNetwork::KesWrite(std::string_view address, std::int32_t number,
                                              std::string_view value) {
  return Loaded().write(std::string(address).c_str(), number, std::string(value).c_str());
}

std::int32_t LibraryTerminalNetwork::KesRead(std::string_view address, std::int32_t first,
                                             std::string& buffer, std::int32_t second) {
  std::string room = buffer + std::string(kSpareRoom, '\0');
  const std::int32_t result =
      Loaded().read(std::string(address).c_str(), first, room.data(), second);
  buffer.assign(room, 0, buffer.size());
  return result;
}

}  // namespace tarn
