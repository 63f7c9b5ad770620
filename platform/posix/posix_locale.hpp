// The user's locale from the environment. The single-byte code page is Windows-1252, so that files
// and terminals see the same bytes as with the server on Windows.
#pragma once

#include <locale.h>

#include "platform/user_locale.hpp"

namespace tarn {

/// Reads the environment once. The process's own locale stays "C", since much of the standard
/// library would follow it.
class PosixLocale final : public UserLocale {
 public:
  PosixLocale();
  ~PosixLocale() override;

  std::string DecimalSeparator() const override;
  std::string GroupSeparator() const override;
  std::string DateText() const override;
  std::string TimeText() const override;
  std::string ToBytes(std::string_view text) const override;
  std::string FromBytes(std::string_view bytes) const override;

 private:
  locale_t numbers_;
  locale_t times_;
};

}  // namespace tarn
