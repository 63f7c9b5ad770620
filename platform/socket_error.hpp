// The numbers under which failures of the network are known, on every system, and their texts.
#pragma once

#include <cstdint>
#include <string>

namespace tarn {

struct SocketError {
  static constexpr std::int32_t kNoPermission = 10013;
  static constexpr std::int32_t kTooManySockets = 10024;
  static constexpr std::int32_t kWouldBlock = 10035;
  static constexpr std::int32_t kDatagramTooLong = 10040;
  static constexpr std::int32_t kAddressInUse = 10048;
  static constexpr std::int32_t kAddressNotAvailable = 10049;
  static constexpr std::int32_t kNetworkDown = 10050;
  static constexpr std::int32_t kNetworkUnreachable = 10051;
  static constexpr std::int32_t kAborted = 10053;
  static constexpr std::int32_t kReset = 10054;
  static constexpr std::int32_t kNoBuffers = 10055;
  static constexpr std::int32_t kNotConnected = 10057;
  static constexpr std::int32_t kTimedOut = 10060;
  static constexpr std::int32_t kRefused = 10061;
  static constexpr std::int32_t kHostUnreachable = 10065;
  static constexpr std::int32_t kHostNotFound = 11001;
  static constexpr std::int32_t kTryAgain = 11002;
  static constexpr std::int32_t kNoRecovery = 11003;
  static constexpr std::int32_t kNoData = 11004;

  static std::string Text(std::int32_t number);
};

}  // namespace tarn
