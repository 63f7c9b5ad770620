// What the readers of a listening socket may do.
#pragma once

#include <bitset>
#include <string>
#include <string_view>
#include <vector>

#include "scale/enumerations.hpp"

namespace tarn::http {

struct Request;

/// The scales 1 to 32 by their numbers.
using ScaleSet = std::bitset<33>;

struct Rights {
  /// What every reader must show; empty where everybody who reaches the socket may read.
  std::string token{};
  /// The scales that take commands.
  ScaleSet commands{};
  /// Whether Host must be one of those names. Otherwise a page of a stranger could have its own
  /// name lead here and read what this machine's browser may read.
  bool checksHost = true;
  /// In lower case: names and addresses by which readers know this server, beside those of the
  /// machine itself.
  std::vector<std::string> hosts{};
  /// Whether any address serves as a host: it listens at all of them.
  bool takesAnyAddress = false;
  /// Pages of these origins may use the interface: "https://board.example:8443".
  std::vector<std::string> origins{};
};

bool IsHostAllowed(const Rights& rights, std::string_view host);
/// Whether the page that sent the request is of this server, or of an origin that may use it; true
/// for a request of no page.
bool IsOriginAllowed(const Rights& rights, const Request& request);
/// Whether the origin is another server's that may use this one.
bool IsForeignOriginAllowed(const Rights& rights, std::string_view origin);
/// "Bearer TOKEN". How long it takes says nothing of the token.
bool IsTokenRight(const Rights& rights, std::string_view authorization);

}  // namespace tarn::http
