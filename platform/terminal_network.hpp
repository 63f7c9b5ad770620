// The client library of the terminals' own network, which the vendor of the network card installs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn {

/// The library's four functions; 0 means success. It is loaded by the first call: error 53 when it
/// is not there or lacks a function, again at every call until it is. Texts are single-byte.
class TerminalNetwork {
 public:
  TerminalNetwork() = default;
  TerminalNetwork(const TerminalNetwork&) = delete;
  TerminalNetwork& operator=(const TerminalNetwork&) = delete;
  virtual ~TerminalNetwork() = default;

  virtual std::int32_t KesRegisterProcess(std::int32_t number) = 0;
  virtual std::int32_t KesCloseProcess() = 0;
  virtual std::int32_t KesWrite(std::string_view address, std::int32_t number,
                                std::string_view value) = 0;
  /// The library writes into the buffer and never beyond the length that it comes with.
  virtual std::int32_t KesRead(std::string_view address, std::int32_t first, std::string& buffer,
                               std::int32_t second) = 0;
};

}  // namespace tarn
