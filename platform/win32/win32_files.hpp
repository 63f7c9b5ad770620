// Files of Windows.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/files.hpp"
#include "platform/user_locale.hpp"

namespace tarn {

class Win32Files final : public Files {
 public:
  /// The folder is HostOptions::filesBelow.
  explicit Win32Files(const UserLocale& locale, std::string below = {})
      : locale_(locale), below_(std::move(below)) {}

  std::unique_ptr<TextStream> OpenForAppending(const std::string& name) override;
  std::string Read(const std::string& name, std::size_t maxBytes) override;
  void WriteAtBeginning(const std::string& name, std::string_view bytes) override;
  std::string AbsoluteName(const std::string& name) override;

 private:
  void RequirePlace(const std::string& name);

  const UserLocale& locale_;
  const std::string below_;
};

}  // namespace tarn
