// The server's trace: a text file for the people who maintain the installation.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace tarn {

/// Appends a line with date and time, and writes it out at once. When the file has grown to
/// kLargest bytes it becomes the ".old" one, so that two such files are the most that there is. A
/// disk that is full loses lines; nothing is thrown.
class TraceFile {
 public:
  static constexpr std::uintmax_t kLargest = 256U << 10U;

  explicit TraceFile(std::filesystem::path file);

  void Write(std::string_view text);

 private:
  void Open();

  std::filesystem::path file_;
  std::ofstream stream_;
  std::uintmax_t size_ = 0;
};

}  // namespace tarn
