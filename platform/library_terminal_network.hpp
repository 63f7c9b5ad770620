// The terminal network through the four functions of its client library.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/terminal_network.hpp"

// How the library's functions are called.
#if defined(_WIN32) && !defined(_WIN64)
#define TARN_KES_CALL __stdcall
#else
#define TARN_KES_CALL
#endif

namespace tarn {

class LibraryTerminalNetwork final : public TerminalNetwork {
 public:
  using Function = void (*)();
  /// Loads the library, which stays loaded, and returns a function that finds its functions by name
  /// (null for one that it does not have). Returns an empty one, and says why, if there is no such
  /// library.
  using Finder = std::function<Function(const char* name)>;
  using Load = std::function<Finder(const std::string& library, std::string& why)>;

  LibraryTerminalNetwork(std::string library, Load load)
      : library_(std::move(library)), load_(std::move(load)) {}

  std::int32_t KesRegisterProcess(std::int32_t number) override;
  std::int32_t KesCloseProcess() override;
  std::int32_t KesWrite(std::string_view address, std::int32_t number,
                        std::string_view value) override;
  std::int32_t KesRead(std::string_view address, std::int32_t first, std::string& buffer,
                       std::int32_t second) override;

 private:
  struct Functions {
    std::int32_t(TARN_KES_CALL* registerProcess)(std::int32_t) = nullptr;
    std::int32_t(TARN_KES_CALL* closeProcess)() = nullptr;
    std::int32_t(TARN_KES_CALL* write)(const char*, std::int32_t, const char*) = nullptr;
    std::int32_t(TARN_KES_CALL* read)(const char*, std::int32_t, char*, std::int32_t) = nullptr;
  };

  const Functions& Loaded();

  std::string library_;
  Load load_;
  Functions functions_;
  bool loaded_ = false;
};

}  // namespace tarn
