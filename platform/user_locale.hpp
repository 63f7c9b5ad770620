// The user's locale: separators, date and time texts, the single-byte code page.
#pragma once

#include <string>
#include <string_view>

namespace tarn {

class UserLocale {
 public:
  UserLocale() = default;
  UserLocale(const UserLocale&) = delete;
  UserLocale& operator=(const UserLocale&) = delete;
  virtual ~UserLocale() = default;

  virtual std::string DecimalSeparator() const = 0;
  virtual std::string GroupSeparator() const = 0;

  /// The current date in the user's short form, and the time of day in the user's form.
  virtual std::string DateText() const = 0;
  virtual std::string TimeText() const = 0;

  /// Text (UTF-8) to the bytes of the single-byte code page, "?" for what it does not have, and
  /// back.
  virtual std::string ToBytes(std::string_view text) const = 0;
  virtual std::string FromBytes(std::string_view bytes) const = 0;
};

}  // namespace tarn
