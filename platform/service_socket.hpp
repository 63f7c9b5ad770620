// Sockets at which the program serves others, as descriptors for a library that speaks their
// protocol. POSIX only so far.
#pragma once

#include <string>

namespace tarn {

/// The one who gets it closes the descriptor.
struct ServiceSocket {
  int descriptor = -1;
  std::string address;  ///< "127.0.0.1", without the brackets that an IPv6 address has in a URL
  int port = 0;
};

/// Listens at an IPv4 or IPv6 address; port 0 takes a free one. Errors: 75 the address is none of
/// this machine or the port is taken, 70 no permission, 57.
ServiceSocket ListenForClients(const std::string& address, int port);

/// A socket of this machine by the name of a file, for its owner only. What a program left behind
/// that ended without removing it is replaced. Errors: 75 somebody listens there already, or the
/// name cannot be used; 70 no permission, 57.
int ListenLocally(const std::string& path);

/// Whether only programs of this machine reach an address; false for what is no address.
bool IsLoopbackAddress(const std::string& address);
/// Whether the text is an IPv4 or IPv6 address.
bool IsNumericAddress(const std::string& address);

// Of a connection:

/// "127.0.0.1:40000"; "local" for one that has no address.
std::string PeerOf(int descriptor);
/// Keeps what waits in the system small, so that a reader that stops finds news when it goes on.
void BoundSendBuffer(int descriptor, int bytes);

enum class PeerState { Quiet, Sends, Gone };
/// Without taking anything of what waits.
PeerState StateOfPeer(int descriptor);
/// The library that owns the descriptor then sees that the connection has ended.
void EndConnection(int descriptor);

}  // namespace tarn
