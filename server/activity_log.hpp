// The activity log: one comma-separated line for every print record, while logging is on.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.hpp"
#include "platform/text_stream.hpp"
#include "platform/user_locale.hpp"
#include "scale/print_data.hpp"

namespace tarn {

/// The line of one print record: date, time, alias, gross, tare, net, units. Date, time, alias and
/// units stand in quotes; quotes inside them are not escaped. A decimal comma is not escaped
/// either, which makes the numbers ambiguous in such a locale: readers of the file know it so.
/// A control character shows as "?", so that no text of a terminal or a client forges a line.
std::string LogLine(const UserLocale& locale, std::string_view alias, const PrintData& print);

/// The stream stays open while logging is off; the switch only suppresses the writing. `files` must
/// outlive the log.
class ActivityLog {
 public:
  explicit ActivityLog(Files& files) : files_(files) {}

  /// Opens the file for appending. If that fails, there is no stream, and TryAgain and Write try to
  /// open the file again. Errors of the file.
  void Open(std::string name);
  /// Opens the file of that name anew, which may be another one by now, and lets go of the present
  /// stream, which a separate thread closes, since a disk may take its time. An error of the file
  /// leaves the present stream.
  void Reopen(const std::string& name);
  /// Opens the file that could not be opened, if there is one. Errors of the file.
  void TryAgain();

  bool Enabled() const { return enabled_; }
  void Enabled(bool enabled) { enabled_ = enabled; }

  std::shared_ptr<TextStream> Stream() const { return stream_; }
  void Stream(std::shared_ptr<TextStream> stream);

  /// Whether a line is to outlive the process, and a moment later a power failure
  /// (TextStream::StoreEachLine). Off by default; takes effect with the next stream.
  void StoreEachLine(bool value) { storeEachLine_ = value; }

  /// Errors of the stream, or of the file that still cannot be opened; 91 when a client has set the
  /// stream to null.
  void Write(const UserLocale& locale, std::string_view alias, const PrintData& print);

  /// Closes and releases the stream. An error of the closing propagates after the release.
  void Close();

 private:
  Files& files_;
  bool enabled_ = false;
  bool storeEachLine_ = false;
  std::optional<std::string> missing_;
  std::shared_ptr<TextStream> stream_;
};

}  // namespace tarn
