// The ports that the kernel lists below /sys/class/tty, and their names below /dev/serial.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "platform/port_list.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;

/// Files come and go while they are looked at: what cannot be read is empty.
std::string FirstLine(const fs::path& file) {
  std::string line;
  std::ifstream stream(file);
  std::getline(stream, line);
  return line;
}

std::vector<fs::path> Entries(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  return entries;
}

/// A port of the mainboard that is not there has type 0; a terminal of the system has no device.
bool IsPort(const fs::path& tty) {
  std::error_code error;
  if (!fs::exists(tty / "device", error)) return false;
  const bool onBoard = tty.filename().string().starts_with("ttyS");
  return !onBoard || FirstLine(tty / "type") != "0";
}

/// USB adapters have their names at the device, some folders above the port.
std::string AdapterOf(const fs::path& tty) {
  std::error_code error;
  fs::path folder = fs::canonical(tty / "device", error);
  for (; !error && folder.has_relative_path(); folder = folder.parent_path()) {
    const std::string product = FirstLine(folder / "product");
    if (product.empty()) continue;
    const std::string maker = FirstLine(folder / "manufacturer");
    return maker.empty() || product.starts_with(maker) ? product : maker + " " + product;
  }
  return {};
}

std::string StableNameOf(const std::string& device, const fs::path& top) {
  std::error_code error;
  for (const fs::path& name : Entries(top / "dev/serial/by-id")) {
    const fs::path target = fs::read_symlink(name, error);
    if (!error && target.filename() == fs::path(device).filename()) {
      return "/dev/serial/by-id/" + name.filename().string();
    }
  }
  return {};
}

}  // namespace

std::string PortHolder(const std::string& device, const std::string& root) {
  const fs::path top = root.empty() ? "/" : root;
  std::error_code error;
  fs::path real = fs::canonical(device, error);
  if (error) real = device;
  const auto holds = [&real](const fs::path& file) {
    std::error_code gone;
    return fs::read_symlink(file, gone) == real;
  };
  std::string holders;
  for (const fs::path& process : Entries(top / "proc")) {
    const std::string number = process.filename();
    const auto isDigit = [](unsigned char c) { return std::isdigit(c) != 0; };
    if (!std::all_of(number.begin(), number.end(), isDigit)) continue;
    const auto files = Entries(process / "fd");
    if (std::none_of(files.begin(), files.end(), holds)) continue;
    if (!holders.empty()) holders += " and ";
    holders += number == std::to_string(::getpid())
                   ? "this program"
                   : FirstLine(process / "comm") + " (process " + number + ")";
  }
  return holders;
}

std::vector<PortInfo> ListPorts(const std::string& root) {
  const fs::path top = root.empty() ? "/" : root;
  std::vector<PortInfo> ports;
  for (const fs::path& tty : Entries(top / "sys/class/tty")) {
    if (!IsPort(tty)) continue;
    const std::string device = "/dev/" + tty.filename().string();
    ports.push_back({device, StableNameOf(device, top), AdapterOf(tty), PortHolder(device, root)});
  }
  // ttyS2 before ttyS10.
  std::sort(ports.begin(), ports.end(), [](const PortInfo& a, const PortInfo& b) {
    const auto key = [](const PortInfo& p) { return std::pair(p.device.size(), p.device); };
    return key(a) < key(b);
  });
  return ports;
}

}  // namespace tarn
