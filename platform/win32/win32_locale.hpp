// The user's regional settings.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "platform/user_locale.hpp"

namespace tarn {

class Win32Locale final : public UserLocale {
 public:
  Win32Locale();

  std::string DecimalSeparator() const override;
  std::string GroupSeparator() const override;
  std::string DateText() const override;
  std::string TimeText() const override;
  std::string ToBytes(std::string_view text) const override;
  std::string FromBytes(std::string_view bytes) const override;

 private:
  char ByteOf(wchar_t unit) const;

  UINT codePage_;
};

}  // namespace tarn
