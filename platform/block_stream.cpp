#include "platform/block_stream.hpp"

#include <chrono>
#include <utility>

#include "base/automation_error.hpp"
#include "base/first_failure.hpp"

namespace tarn {

BlockStream::BlockStream(std::unique_ptr<File> file, std::string name, const UserLocale& locale)
    : shared_(std::make_shared<Shared>()), name_(std::move(name)), locale_(locale) {
  shared_->file = std::move(file);
}

BlockStream::~BlockStream() {
  try {
    Close();
  } catch (const AutomationError&) {
    // A caller that needs to know of a failure closes the stream itself.
  }
}

void BlockStream::WriteLine(std::string_view text) {
  if (!shared_) ThrowObjectNotSet("The text stream is closed");
  if (shared_->notStored.exchange(false)) {
    throw AutomationError(ErrorNumber::DeviceInputOutput,
                          "The disk did not store the lines of " + name_);
  }
  const std::string line = locale_.ToBytes(text) + "\r\n";
  if (!storing_ && gathered_.size() + line.size() > kBlock) shared_->file->Append(gathered_);
  gathered_ += line;
  if (storing_) WriteNow(line.size());
}

/// A line of which nothing was written is taken back, since whoever gets the error tries again. The
/// rest of one that was begun stays, and goes out in front of the next.
void BlockStream::WriteNow(std::size_t lineLength) {
  try {
    shared_->file->Append(gathered_);
  } catch (const AutomationError&) {
    if (gathered_.size() >= lineLength) {
      gathered_.resize(gathered_.size() - lineLength);
      throw;
    }
  }
  storing_->TryWrite("1", 1);  // one request that waits covers what was written before it begins
}

void BlockStream::StoreEachLine() {
  if (storing_ || !shared_) return;
  storing_.emplace([shared = shared_](std::string_view) {
    if (!shared->file->Store()) shared->notStored = true;
  });
  shared_->file->Append(gathered_);
}

void BlockStream::Close() {
  constexpr std::chrono::seconds kPatience{2};
  const auto shared = std::exchange(shared_, nullptr);
  if (!shared) return;
  FirstFailure failure;
  failure.Try([&] { shared->file->Append(gathered_); });
  if (storing_) {
    storing_->TryWrite("1", 1);
    storing_->Finish(kPatience);
    storing_.reset();
  }
  failure.Rethrow();
}

}  // namespace tarn
