#include "automation/trace_file.hpp"

#include <chrono>
#include <ctime>
#include <string>
#include <system_error>
#include <utility>

namespace tarn {
namespace {

std::string TimeText() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  char text[32] = "";
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S ", std::localtime(&now));
  return text;
}

}  // namespace

TraceFile::TraceFile(std::filesystem::path file) : file_(std::move(file)) {
  Open();
}

void TraceFile::Open() {
  std::error_code missing;
  const auto size = std::filesystem::file_size(file_, missing);
  size_ = missing ? 0 : size;
  stream_.open(file_, std::ios::binary | std::ios::app);
}

void TraceFile::Write(std::string_view text) {
  if (size_ >= kLargest) {
    stream_.close();
    std::error_code ignored;
    auto old = file_;
    old += ".old";
    std::filesystem::rename(file_, old, ignored);
    Open();
  }
  const std::string line = TimeText() + std::string(text) + "\r\n";
  stream_ << line << std::flush;
  stream_.clear();
  size_ += line.size();
}

}  // namespace tarn
