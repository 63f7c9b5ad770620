#include "outlets/http/http_outlet.hpp"

#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/automation_error.hpp"
#include "outlets/http/http_server.hpp"
#include "outlets/http/monitoring.hpp"
#include "platform/secret_file.hpp"
#include "platform/service_socket.hpp"
#include "platform/utf8.hpp"

namespace tarn::http {
namespace {

struct Place {
  std::string address;
  int port;
};

/// A port alone is one of this machine only.
Place PlaceOf(const std::string& listen) {
  const auto colon = listen.rfind(':');
  std::string address = colon == listen.npos ? "127.0.0.1" : listen.substr(0, colon);
  const auto port = ParseNumber(listen.substr(colon == listen.npos ? 0 : colon + 1));
  const bool hasBrackets = address.size() > 2 && address.starts_with('[') && address.ends_with(']');
  if (hasBrackets) address = address.substr(1, address.size() - 2);
  if (address == "localhost") address = "127.0.0.1";
  const bool isSix = address.find(':') != address.npos;
  if (!port || *port > 65535 || !IsNumericAddress(address) || isSix != hasBrackets) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue,
                          "'" + Printable(listen) +
                              "' is no address and port: write 127.0.0.1:8080, [::1]:8080, or "
                              "0.0.0.0:8080 for all addresses of this machine");
  }
  return {std::move(address), static_cast<int>(*port)};
}

std::string UrlOf(const ServiceSocket& socket) {
  const bool isSix = socket.address.find(':') != socket.address.npos;
  return "http://" + (isSix ? "[" + socket.address + "]" : socket.address) + ":" +
         std::to_string(socket.port) + "/";
}

class NativeHttpOutlet final : public HttpOutlet {
 public:
  NativeHttpOutlet(NativeHost& host, ScaleSource& source, WeighingBook& book, AuditLog& audit,
                   const OutletSettings& settings, const ServerWords& words)
      : api_({host.Loop(), source, book, audit, std::chrono::system_clock::now, words}),
        monitoring_(api_, {.loop = host.Loop(),
                           .source = source,
                           .book = book,
                           .connections = [this] { return Connections(); },
                           .version = words.version,
                           .healthGrace = settings.healthGrace}),
        server_(host.Loop(), *host.Descriptors(), [this](Request request, const Answer& answer) {
          api_.Serve(std::move(request), answer);
        }) {
    if (!settings.listen.empty()) ListenAt(settings);
  }
  ~NativeHttpOutlet() override {
    std::error_code ignored;
    if (!localSocket_.empty()) std::filesystem::remove(localSocket_, ignored);
  }

  std::string Url() const override { return url_; }
  std::string TokenFile() const override { return tokenFile_; }
  void ListenLocally(const std::string& path) override {
    Rights rights{.checksHost = false};
    rights.commands.set();
    server_.Listen(tarn::ListenLocally(path), std::move(rights));
    localSocket_ = path;
  }
  Api& Routes() override { return api_; }
  std::size_t Connections() const override { return server_.Connections(); }

 private:
  void ListenAt(const OutletSettings& settings) {
    const Place place = PlaceOf(settings.listen);
    Rights rights{.commands = settings.commands};
    tokenFile_ = settings.tokenFile;
    if (tokenFile_.empty() && !IsLoopbackAddress(place.address))
      tokenFile_ = settings.usualTokenFile();
    if (!tokenFile_.empty()) rights.token = SecretOfFile(tokenFile_);
    for (const std::string& host : settings.hosts) rights.hosts.push_back(LowerCase(host));
    for (const std::string& origin : settings.origins) rights.origins.push_back(LowerCase(origin));
    rights.hosts.push_back(place.address);
    rights.takesAnyAddress = place.address == "0.0.0.0" || place.address == "::";
    const ServiceSocket socket = ListenForClients(place.address, place.port);
    url_ = UrlOf(socket);
    server_.Listen(socket.descriptor, std::move(rights));
  }

  Api api_;
  Monitoring monitoring_;
  HttpServer server_;
  std::string url_;
  std::string tokenFile_;
  std::string localSocket_;
};

}  // namespace

bool IsBuiltIn() {
  return true;
}

std::unique_ptr<HttpOutlet> MakeHttpOutlet(NativeHost& host, ScaleSource& source,
                                           WeighingBook& book, AuditLog& audit,
                                           const OutletSettings& settings, ServerWords words) {
  return std::make_unique<NativeHttpOutlet>(host, source, book, audit, settings, words);
}

}  // namespace tarn::http
