// The HTTP interface as a whole: what a program makes of its options.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "outlets/http/api.hpp"
#include "outlets/http/rights.hpp"
#include "outlets/scale_source.hpp"
#include "outlets/weighing.hpp"
#include "platform/native_host.hpp"

namespace tarn::http {

/// Whether this program has HTTP.
bool IsBuiltIn();

struct OutletSettings {
  std::string listen;     ///< "127.0.0.1:8080", "[::1]:0", "8080"; empty for no address
  std::string tokenFile;  ///< made if it is missing
  ScaleSet commands;
  std::vector<std::string> hosts;
  std::vector<std::string> origins;
  /// Where a token goes that is needed and has no file: beyond loopback nobody reads without one.
  std::function<std::string()> usualTokenFile;
  double healthGrace = 30'000;  ///< milliseconds for which a scale at fault leaves /health good
};

/// Used on the loop's thread; what it is made of, the audit too, outlives it.
class HttpOutlet {
 public:
  HttpOutlet() = default;
  HttpOutlet(const HttpOutlet&) = delete;
  HttpOutlet& operator=(const HttpOutlet&) = delete;
  virtual ~HttpOutlet() = default;

  /// Where browsers find it: "http://127.0.0.1:8080/"; empty where it listens at no address.
  virtual std::string Url() const = 0;
  /// The file of the token that readers must show; empty where they need none.
  virtual std::string TokenFile() const = 0;
  /// Serves this machine's programs of the same user, who may do everything, at a local socket.
  /// Errors as ListenLocally.
  virtual void ListenLocally(const std::string& path) = 0;
  virtual Api& Routes() = 0;
  virtual std::size_t Connections() const = 0;
};

/// Errors: those of ListenForClients and SecretOfFile; 380 the address cannot be read; 429 the
/// program was built without HTTP.
std::unique_ptr<HttpOutlet> MakeHttpOutlet(NativeHost& host, ScaleSource& source,
                                           WeighingBook& book, AuditLog& audit,
                                           const OutletSettings& settings, ServerWords words);

}  // namespace tarn::http
