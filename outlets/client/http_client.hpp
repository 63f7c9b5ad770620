// Asks another tarnscale over HTTP, without a thread and without ever waiting.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/descriptor_watcher.hpp"
#include "platform/message_loop.hpp"

namespace tarn {

/// Where a running tarnscale listens.
struct ServerPlace {
  std::string url{};         ///< "http://10.0.0.7:8080", without a path
  std::string socketPath{};  ///< of a local socket; the host in the URL is only a name then
  std::string token{};       ///< what it wants to see; empty for none
};

struct HttpReply {
  int status = 0;  ///< 0 where there was no reply, with `error` saying why
  std::string body;
  std::string error;
};

/// Ends with the object; its callbacks do not come any more then.
class HttpTransfer {
 public:
  HttpTransfer() = default;
  HttpTransfer(const HttpTransfer&) = delete;
  HttpTransfer& operator=(const HttpTransfer&) = delete;
  virtual ~HttpTransfer() = default;
};

/// Used on the loop's thread. The transfers must be gone before it.
class HttpClient {
 public:
  static constexpr std::size_t kLongestReply = 4U << 20U;  ///< bytes; more is an error

  using OnReply = std::function<void(const HttpReply& reply)>;
  using OnBytes = std::function<void(std::string_view bytes)>;

  HttpClient() = default;
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;
  virtual ~HttpClient() = default;

  /// A reply that takes longer than 10 s is an error. The callbacks come from the loop; they may
  /// destroy the transfer.
  [[nodiscard]] virtual std::unique_ptr<HttpTransfer> Get(const std::string& path,
                                                          OnReply onReply) = 0;
  /// With a JSON body; an empty one sends none.
  [[nodiscard]] virtual std::unique_ptr<HttpTransfer> Post(const std::string& path,
                                                           std::string body, OnReply onReply) = 0;
  /// What arrives goes to `onBytes` as it comes, while the status is 200; the end of the stream, or
  /// 45 s without a byte, to `onEnd`. The body of the reply is that of an error.
  [[nodiscard]] virtual std::unique_ptr<HttpTransfer> Stream(const std::string& path,
                                                             OnBytes onBytes, OnReply onEnd) = 0;
};

/// Null where this program was built without an HTTP library.
std::unique_ptr<HttpClient> CreateHttpClient(MessageLoop& loop, DescriptorWatcher* descriptors,
                                             ServerPlace place);

}  // namespace tarn
