// The ports that the kernel lists below /sys/class/tty, and their names below /dev/serial.
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
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

std::string NameOf(const fs::path& top, const std::string& process) {
  if (process == std::to_string(::getpid())) return "this program";
  const std::string name = FirstLine(top / "proc" / process / "comm");
  return (name.empty() ? "a program" : name) + " (process " + process + ")";
}

/// From the system's list of locks; empty for a program that locks nothing.
std::string LockHolder(const std::string& device, const fs::path& top) {
  struct stat file {};
  if (::stat(device.c_str(), &file) < 0) return {};
  std::ifstream locks(top / "proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::array<char, 16> kind{};
    int process = 0;
    unsigned major = 0;
    unsigned minor = 0;
    unsigned long long node = 0;
    const int read = std::sscanf(line.c_str(), "%*s %15s %*s %*s %d %x:%x:%llu", kind.data(),
                                 &process, &major, &minor, &node);
    if (read == 5 && std::string_view(kind.data()) == "FLOCK" && process > 0 &&
        node == file.st_ino && gnu_dev_makedev(major, minor) == file.st_dev) {
      return NameOf(top, std::to_string(process));
    }
  }
  return {};
}

}  // namespace

/// Looking through the descriptors of all processes takes a while, so the locks come first.
std::string PortHolder(const std::string& device, const std::string& root) {
  const fs::path top = root.empty() ? "/" : root;
  if (auto holder = LockHolder(device, top); !holder.empty()) return holder;
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
    holders += NameOf(top, number);
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
