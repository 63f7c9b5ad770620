#include "platform/standard_error.hpp"

#include <chrono>
#include <memory>
#include <system_error>

namespace tarn {

void StandardError::WriteLine(std::string_view line) {
  std::string bytes = std::string(line) + "\n";
  if (dropped_ > 0) bytes.insert(0, std::to_string(dropped_) + " lines were dropped here\n");
  if (TryWrite(bytes))
    dropped_ = 0;
  else
    ++dropped_;
}

bool StandardError::TryWrite(const std::string& bytes) {
  try {
    if (!writer_) writer_.emplace(WriteToStandardError);
    return writer_->TryWrite(bytes, kBound);
  } catch (const std::system_error&) {
    return false;  // there is no thread to be had now
  }
}

std::function<void(std::string_view)> TraceToStandardError() {
  return [errors = std::make_shared<StandardError>()](std::string_view text) {
    errors->WriteLine("tarn: " + std::string(text));
  };
}

void StandardError::Finish() {
  if (writer_) writer_->Finish(std::chrono::seconds(1));
}

}  // namespace tarn
