// The activity log: one comma-separated line for every print record, while logging is on.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/text_stream.hpp"
#include "platform/user_locale.hpp"
#include "scale/print_data.hpp"

namespace tarn {

/// The line of one print record: date, time, alias, gross, tare, net, units. Date, time, alias and
/// units stand in quotes; quotes inside them are not escaped. A decimal comma is not escaped
/// either, which makes the numbers ambiguous in such a locale: readers of the file know it so.
std::string LogLine(const UserLocale& locale, std::string_view alias, const PrintData& print);

/// The stream stays open while logging is off; the switch only gates the writing.
class ActivityLog {
 public:
  bool Enabled() const { return enabled_; }
  void Enabled(bool enabled) { enabled_ = enabled; }

  std::shared_ptr<TextStream> Stream() const { return stream_; }
  void Stream(std::shared_ptr<TextStream> stream) { stream_ = std::move(stream); }

  /// Errors of the stream; 91 when there is none.
  void Write(const UserLocale& locale, std::string_view alias, const PrintData& print);

  /// Closes and lets go of the stream; what the closing throws reaches the caller afterwards.
  void Close();

 private:
  bool enabled_ = false;
  std::shared_ptr<TextStream> stream_;
};

}  // namespace tarn
