#include "outlets/http/rights.hpp"

#include <algorithm>
#include <cstddef>

#include "outlets/http/message.hpp"
#include "platform/utf8.hpp"

namespace tarn::http {
namespace {

template <class List>
bool Contains(const List& list, std::string_view text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

/// Digits and points, or what only an IPv6 address has: a name cannot be taken for it.
bool LooksLikeAddress(std::string_view host) {
  return host.find(':') != host.npos || (host.find_first_not_of("0123456789.") == host.npos &&
                                         std::count(host.begin(), host.end(), '.') == 3);
}

bool IsLoopback(std::string_view host) {
  return host == "localhost" || host == "::1" ||
         (host.starts_with("127.") && LooksLikeAddress(host));
}

}  // namespace

bool IsHostAllowed(const Rights& rights, std::string_view host) {
  if (!rights.checksHost) return true;
  const auto name = HostName(host);
  if (!name) return false;
  return IsLoopback(*name) || Contains(rights.hosts, *name) ||
         (rights.takesAnyAddress && LooksLikeAddress(*name));
}

bool IsForeignOriginAllowed(const Rights& rights, std::string_view origin) {
  return Contains(rights.origins, LowerCase(origin));
}

bool IsOriginAllowed(const Rights& rights, const Request& request) {
  if (request.origin.empty()) return true;
  const std::string origin = LowerCase(request.origin);
  const std::string host = LowerCase(request.host);
  const bool isOwn = !host.empty() && (origin == "http://" + host || origin == "https://" + host);
  return isOwn || IsForeignOriginAllowed(rights, origin);
}

bool IsTokenRight(const Rights& rights, std::string_view authorization) {
  if (rights.token.empty()) return true;
  constexpr std::string_view kScheme = "bearer ";
  if (LowerCase(authorization.substr(0, kScheme.size())) != kScheme) return false;
  authorization.remove_prefix(kScheme.size());
  unsigned difference = authorization.size() == rights.token.size() ? 0U : 1U;
  for (std::size_t i = 0; i < authorization.size(); ++i) {
    difference |=
        static_cast<unsigned char>(authorization[i]) ^
        static_cast<unsigned>(static_cast<unsigned char>(rights.token[i % rights.token.size()]));
  }
  return difference == 0;
}

}  // namespace tarn::http
