// Files on POSIX systems.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/files.hpp"
#include "platform/user_locale.hpp"

namespace tarn {

class PosixFiles final : public Files {
 public:
  using TraceSink = std::function<void(std::string_view)>;

  PosixFiles(const UserLocale& locale, TraceSink trace)
      : locale_(locale), trace_(std::move(trace)) {}

  std::unique_ptr<TextStream> OpenForAppending(const std::string& name) override;
  std::string Read(const std::string& name, std::size_t maxBytes) override;
  void WriteAtBeginning(const std::string& name, std::string_view bytes) override;
  std::string AbsoluteName(const std::string& name) override;

 private:
  const UserLocale& locale_;
  TraceSink trace_;
};

}  // namespace tarn
