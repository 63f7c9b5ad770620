#include "outlets/mqtt/mqtt_settings.hpp"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "platform/utf8.hpp"
#include "server/host_form.hpp"  // kScaleCount

namespace tarn {
namespace {

constexpr int kPlainPort = 1883;
constexpr int kTlsPort = 8883;
constexpr std::size_t kLongestTopic = 1000;
constexpr std::size_t kLongestPassword = 65535;  // what the protocol can carry

[[noreturn]] void Reject(const std::string& what) {
  throw std::invalid_argument(what);
}

/// Nothing but digits between the limits.
int NumberWithin(std::string_view text, int least, int most, const std::string& complaint) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  if (!whole || number < least || number > most) Reject(complaint);
  return number;
}

void ReadUrl(std::string_view url, MqttBroker& broker) {
  const std::string complaint =
      "--mqtt '" + Printable(url) + "': write mqtt://HOST:PORT or mqtts://HOST:PORT";
  broker.tls = url.starts_with("mqtts://");
  if (!broker.tls && !url.starts_with("mqtt://")) Reject(complaint);
  url.remove_prefix(broker.tls ? 8 : 7);
  if (url.ends_with('/')) url.remove_suffix(1);
  if (const auto at = url.rfind('@'); at != url.npos) {
    broker.user = url.substr(0, at);
    url.remove_prefix(at + 1);
    if (broker.user.find(':') != broker.user.npos) {
      Reject(
          "--mqtt: a password in the URL is seen by every user of this machine; write it into a "
          "file for --mqtt-password-file");
    }
  }
  std::string_view port;
  if (url.starts_with('[')) {
    const auto end = url.find(']');
    if (end == url.npos) Reject(complaint);
    broker.host = url.substr(1, end - 1);
    port = url.substr(end + 1);
  } else {
    const auto colon = url.find(':');
    broker.host = url.substr(0, colon);
    if (colon != url.npos) port = url.substr(colon);
  }
  if (broker.host.empty() || broker.host.find_first_of("/?#[] ") != std::string::npos) {
    Reject(complaint);
  }
  broker.port = broker.tls ? kTlsPort : kPlainPort;
  if (port.empty()) return;
  if (port.front() != ':') Reject(complaint);
  broker.port = NumberWithin(port.substr(1), 1, 65535, complaint);
}

std::set<int> ReadScales(std::string_view text) {
  std::set<int> scales;
  if (text == "all") {
    for (int number = 1; number <= kScaleCount; ++number) scales.insert(number);
    return scales;
  }
  const std::string complaint = "--mqtt-commands '" + Printable(text) +
                                "': write the numbers of the scales, such as 1,4, or all";
  while (!text.empty()) {
    const auto comma = std::min(text.find(','), text.size());
    scales.insert(NumberWithin(text.substr(0, comma), 1, kScaleCount, complaint));
    if (comma + 1 == text.size()) Reject(complaint);
    text.remove_prefix(std::min(comma + 1, text.size()));
  }
  return scales;
}

std::string ReadPassword(const std::string& file) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path path(std::u8string(file.begin(), file.end()));
  const fs::perms rights = fs::status(path, error).permissions();
  if (!error && (rights & fs::perms::others_read) != fs::perms::none) {
    Reject("--mqtt-password-file '" + Printable(file) +
           "': every user of this machine can read it; chmod 600 it");
  }
  std::ifstream stream(path, std::ios::binary);
  std::string password;
  if (error || !std::getline(stream, password)) {
    Reject("--mqtt-password-file '" + Printable(file) + "' cannot be read, or is empty");
  }
  if (password.ends_with('\r')) password.pop_back();
  if (password.size() > kLongestPassword)
    Reject("the password of --mqtt-password-file is too long");
  return password;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const char32_t c = TakeCodePoint(text);
    if (c == U'\uFFFD' || c < 0x20) return false;
  }
  return true;
}

/// The machine's name as a level of a topic and a part of an identifier.
std::string LevelOf(std::string_view machine) {
  std::string level;
  for (const char c : machine.substr(0, machine.find('.'))) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '_';
    level += plain ? c : '-';
  }
  return level.empty() ? "server" : level;
}

}  // namespace

std::string MqttBroker::Name() const {
  const bool isV6 = host.find(':') != std::string::npos;
  return std::string(tls ? "mqtts://" : "mqtt://") + (isV6 ? "[" + host + "]" : host) + ":" +
         std::to_string(port);
}

MqttSettings MqttSettingsOf(const MqttOptions& options, std::string_view machine) {
  MqttSettings settings;
  MqttBroker& broker = settings.broker;
  ReadUrl(options.url, broker);
  if (!options.user.empty()) broker.user = options.user;
  if (!options.passwordFile.empty()) broker.password = ReadPassword(options.passwordFile);
  if (!broker.password.empty() && broker.user.empty()) {
    Reject("--mqtt-password-file needs --mqtt-user");
  }
  const bool namesFiles =
      !options.ca.empty() || !options.certificate.empty() || !options.key.empty();
  if (namesFiles && !broker.tls) Reject("certificates need --mqtt mqtts://...");
  if (options.certificate.empty() != options.key.empty()) {
    Reject("--mqtt-cert and --mqtt-key need each other");
  }
  broker.ca = options.ca;
  broker.certificate = options.certificate;
  broker.key = options.key;
  broker.keepAlive = options.keepAlive;
  broker.clientId = options.clientId.empty() ? "tarnscale-" + LevelOf(machine) : options.clientId;
  if (!IsUtf8(broker.clientId) || !IsUtf8(broker.user)) {
    Reject("--mqtt-id and --mqtt-user are UTF-8 without control characters");
  }

  MqttPlan& plan = settings.plan;
  plan.root = options.root.empty() ? "scales/" + LevelOf(machine) : options.root;
  const bool isTopic = plan.root.find_first_of("+#") == std::string::npos && IsUtf8(plan.root) &&
                       !plan.root.starts_with('/') && !plan.root.ends_with('/') &&
                       !plan.root.starts_with('$') && plan.root.size() <= kLongestTopic;
  if (!isTopic) {
    Reject("--mqtt-root '" + Printable(plan.root) +
           "': write a topic such as scales/hall1, without wildcards");
  }
  plan.weightInterval = 1000 / options.rate;
  plan.settle = options.settle * 1000;
  plan.commands = ReadScales(options.commands);
  plan.homeAssistant = options.homeAssistant;
  return settings;
}

}  // namespace tarn
