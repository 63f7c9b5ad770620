// Requests and replies of HTTP as values, and the parsing of what strangers write into them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::http {

struct Rights;
class EventReader;

struct Parameter {
  std::string name;
  std::string value;
};

struct Request {
  std::string method{};
  std::string path{};  ///< decoded
  std::vector<Parameter> query{};
  // Headers as they came; empty where there was none.
  std::string host{};
  std::string origin{};
  std::string authorization{};
  std::string contentType{};
  std::string lastEventId{};
  std::string body{};
  std::string peer{};  ///< for the audit: "127.0.0.1:40000"
  std::shared_ptr<const Rights> rights{};
  int scale = 0;  ///< where the path has one
  /// The status that it ends with, where it cannot be read; 0 where it can.
  int fault = 0;

  const std::string* Find(std::string_view name) const;
};

inline constexpr std::string_view kJsonType = "application/json; charset=utf-8";

struct Reply {
  int status = 200;
  std::string body{};
  std::string_view contentType = kJsonType;
  /// In place of a body, bytes that live as long as the program.
  std::string_view fixedBody{};
  std::vector<std::pair<std::string, std::string>> headers{};
  /// In place of a body, a stream that has no end.
  std::shared_ptr<EventReader> events{};
};

/// Called once, at once or later.
using Answer = std::function<void(Reply reply)>;

/// {"error":WORDS,"status":STATUS}
Reply ErrorReply(int status, std::string_view words);

/// Takes a request's target apart: "/api/records?after=7". False where it is no path of UTF-8
/// without control characters, or an escape in it is none.
bool ParseTarget(std::string_view target, Request& request);

/// A number of digits alone; nothing where there is any other character or it does not fit.
std::optional<std::uint64_t> ParseNumber(std::string_view digits);

/// "plant:8080" is "plant", "[::1]:80" is "::1"; nothing where it is no host with or without a
/// port.
std::optional<std::string> HostName(std::string_view host);

/// The body of a command: an object with a tare, where the command has one. Returns the reason why
/// it is none.
struct CommandBody {
  double tare = 0;
  std::string fault{};
};
CommandBody ParseCommandBody(const Request& request, bool hasTare);

}  // namespace tarn::http
