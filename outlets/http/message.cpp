#include "outlets/http/message.hpp"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "outlets/json_writer.hpp"
#include "platform/utf8.hpp"

namespace tarn::http {
namespace {

constexpr std::size_t kMostParameters = 16;  // each is compared with all before it

int DigitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// What is decoded must be what it looks like: whole characters, none of them invisible.
bool IsText(std::string_view text) {
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t c = TakeCodePoint(text);
    constexpr char32_t kReplacement = 0xFFFD;  // also stands for bytes that are no UTF-8
    if (c < 0x20 || c == 0x7F) return false;
    if (c == kReplacement && !before.starts_with("\xEF\xBF\xBD")) return false;
  }
  return true;
}

std::optional<std::string> Decode(std::string_view text, bool plusIsBlank) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += plusIsBlank && text[i] == '+' ? ' ' : text[i];
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int high = DigitOf(text[i + 1]);
    const int low = DigitOf(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (!IsText(decoded)) return std::nullopt;
  return decoded;
}

}  // namespace

const std::string* Request::Find(std::string_view name) const {
  const auto found = std::find_if(query.begin(), query.end(),
                                  [name](const Parameter& p) { return p.name == name; });
  return found == query.end() ? nullptr : &found->value;
}

Reply ErrorReply(int status, std::string_view words) {
  Reply reply{.status = status};
  JsonWriter(reply.body).BeginObject().Member("error", words).Member("status", status).EndObject();
  return reply;
}

bool ParseTarget(std::string_view target, Request& request) {
  if (!target.starts_with('/')) return false;
  const auto mark = target.find('?');
  auto path = Decode(target.substr(0, mark), false);
  if (!path) return false;
  request.path = *std::move(path);
  if (mark == target.npos) return true;
  std::string_view rest = target.substr(mark + 1);
  while (!rest.empty()) {
    const std::string_view piece = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(rest.size(), piece.size() + 1));
    const auto equals = std::min(piece.find('='), piece.size());
    auto name = Decode(piece.substr(0, equals), true);
    auto value = Decode(piece.substr(std::min(piece.size(), equals + 1)), true);
    const bool isTooMany = request.query.size() >= kMostParameters;
    if (!name || !value || isTooMany || request.Find(*name) != nullptr) return false;
    request.query.push_back({*std::move(name), *std::move(value)});
  }
  return true;
}

std::optional<std::uint64_t> ParseNumber(std::string_view digits) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

std::optional<std::string> HostName(std::string_view host) {
  std::string_view name = host.substr(0, host.find(':'));
  std::string_view port = host.substr(name.size());
  if (host.starts_with('[')) {
    const auto end = host.find(']');
    if (end == host.npos) return std::nullopt;
    name = host.substr(1, end - 1);
    port = host.substr(end + 1);
  }
  const bool isPort = port.empty() || (port.size() > 1 && port[0] == ':' &&
                                       ParseNumber(port.substr(1)).value_or(65536) <= 65535);
  if (name.empty() || !isPort || !IsText(name)) return std::nullopt;
  return LowerCase(name);
}

CommandBody ParseCommandBody(const Request& request, bool hasTare) {
  using Json = nlohmann::json;
  if (!request.body.empty() &&
      !LowerCase(request.contentType.substr(0, request.contentType.find(';')))
           .starts_with("application/json")) {
    return {.fault = "the body needs the header Content-Type: application/json"};
  }
  const Json json =
      request.body.empty() ? Json::object() : Json::parse(request.body, nullptr, false);
  if (!json.is_object()) return {.fault = "the body is no JSON object"};
  const auto tare = json.find("tare");
  const bool isTare = tare != json.end() && tare->is_number();
  if (hasTare && (!isTare || json.size() != 1)) {
    return {.fault = R"(the body must be an object with a number and nothing else: {"tare":12.5})"};
  }
  if (!hasTare && !json.empty()) return {.fault = "this command has no values: leave the body out"};
  return {.tare = hasTare ? tare->get<double>() : 0};
}

}  // namespace tarn::http
