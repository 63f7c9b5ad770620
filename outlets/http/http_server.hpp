// The sockets of the interface: HTTP by libmicrohttpd, without a thread, on the program's loop.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "outlets/http/message.hpp"
#include "platform/descriptor_watcher.hpp"
#include "platform/message_loop.hpp"

namespace tarn::http {

/// Each listening socket takes 64 connections; more wait in the system. A connection that has not
/// brought a whole request in 15 seconds is closed, and so is one that does not take its reply in
/// 60, or nothing of its events for that long.
class HttpServer {
 public:
  static constexpr unsigned kMostConnections = 64;
  static constexpr std::size_t kMostBody = 4096;         ///< bytes; more is answered with 413
  static constexpr std::size_t kMostUpload = 1U << 20U;  ///< bytes of a body; more is cut off

  /// Answers a request, at once or later; see Api::Serve. It must not run the loop.
  using Serve = std::function<void(Request request, const Answer& answer)>;

  HttpServer(MessageLoop& loop, DescriptorWatcher& descriptors, Serve serve);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  /// Ends all connections.
  ~HttpServer();

  /// Serves at a listening descriptor, which is the server's from now on. Throws
  /// std::runtime_error.
  void Listen(int descriptor, Rights rights);
  /// All of them at present, waiting ones included.
  std::size_t Connections() const;

 private:
  class Listener;

  MessageLoop& loop_;
  DescriptorWatcher& descriptors_;
  Serve serve_;
  std::vector<std::unique_ptr<Listener>> listeners_;
};

}  // namespace tarn::http
