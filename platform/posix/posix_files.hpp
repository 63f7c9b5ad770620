#pragma once

#include "platform/files.hpp"
#include "platform/user_locale.hpp"

namespace tarn {

class PosixFiles final : public Files {
 public:
  explicit PosixFiles(const UserLocale& locale) : locale_(locale) {}

  std::unique_ptr<TextStream> OpenForAppending(const std::string& name) override;
  std::string Read(const std::string& name, std::size_t maxBytes) override;
  void WriteAtBeginning(const std::string& name, std::string_view bytes) override;
  std::string AbsoluteName(const std::string& name) override;

 private:
  const UserLocale& locale_;
};

}  // namespace tarn
