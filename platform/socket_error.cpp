#include "platform/socket_error.hpp"

namespace tarn {
namespace {

struct NumberedText {
  std::int32_t number;
  const char* text;
};
constexpr NumberedText kTexts[] = {
    {SocketError::kNoPermission, "There is no permission for this address or port"},
    {SocketError::kTooManySockets, "Too many sockets are open"},
    {SocketError::kDatagramTooLong, "The datagram is too long"},
    {SocketError::kAddressInUse, "The local port is in use, here or in another program"},
    {SocketError::kAddressNotAvailable, "The address is not valid here"},
    {SocketError::kNetworkDown, "The network is down"},
    {SocketError::kNetworkUnreachable, "The network cannot be reached"},
    {SocketError::kAborted, "The connection was given up on this side"},
    {SocketError::kReset, "The other side has reset the connection, or its port is closed"},
    {SocketError::kNoBuffers, "The system has no room left for the network"},
    {SocketError::kNotConnected, "The socket is not connected"},
    {SocketError::kTimedOut, "The other side does not answer"},
    {SocketError::kRefused, "The other side refuses the connection"},
    {SocketError::kHostUnreachable, "The other side cannot be reached"},
    {SocketError::kHostNotFound, "There is no host of that name"},
    {SocketError::kTryAgain, "The name cannot be looked up now"},
    {SocketError::kNoRecovery, "The name cannot be looked up"},
    {SocketError::kNoData, "The name has no address"},
};

}  // namespace

std::string SocketError::Text(std::int32_t number) {
  for (const NumberedText& row : kTexts) {
    if (row.number == number) return row.text;
  }
  return "Network error " + std::to_string(number);
}

}  // namespace tarn
