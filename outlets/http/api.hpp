// What the interface answers: a table of routes over the scales and the records.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/audit_log.hpp"
#include "outlets/http/event_streams.hpp"
#include "outlets/http/message.hpp"
#include "outlets/http/rights.hpp"
#include "outlets/scale_source.hpp"
#include "outlets/weighing.hpp"
#include "platform/message_loop.hpp"

namespace tarn::http {

/// What the program says of itself.
struct ServerWords {
  std::string version;
  std::string title;  ///< of the plant
};

/// Used on the loop's thread. It knows nothing of sockets: Serve may be called by anybody.
class Api {
 public:
  static constexpr std::size_t kMostReaders = 48;  ///< of events, so that others get through
  static constexpr std::size_t kMostRecords = 1000;

  struct Parts {
    MessageLoop& loop;
    ScaleSource& source;
    WeighingBook& book;
    AuditLog& audit;
    WallClock clock;
    ServerWords words;
  };
  enum class Access {
    Anybody,  ///< what carries no data
    Reader,   ///< with the token, where the socket has one
  };
  /// Calls back at once or later.
  using Handler = std::function<void(const Request& request, const Answer& answer)>;
  struct Route {
    std::string method;  ///< one of GET also answers HEAD, unless it is a stream
    std::string path;    ///< "{scale}" stands for a number
    Access access = Access::Reader;
    std::vector<std::string_view> query{};  ///< the names that it knows
    Handler handler{};
    bool isStream = false;
  };

  explicit Api(Parts parts);
  Api(const Api&) = delete;
  Api& operator=(const Api&) = delete;

  void Add(Route route) { routes_.push_back(std::move(route)); }
  const std::vector<Route>& Routes() const { return routes_; }
  /// Answers a request; an exception of a handler is answered with status 500.
  void Serve(Request request, const Answer& answer);

  EventStreams& Streams() { return streams_; }

 private:
  void AddPage();
  void AddReading();
  void AddCommands();
  const Route* Find(Request& request, std::string& allowed) const;
  void Dispatch(Request& request, const Answer& answer);
  void ServePreflight(const Request& request, const std::string& allowed, const Answer& answer);
  void ServeServer(const Request& request, const Answer& answer);
  void ServeScales(const Answer& answer);
  void ServeScale(int scale, const Answer& answer);
  void ServeLine(int scale, const Answer& answer);
  void ServeRecords(const Request& request, bool asCsv, const Answer& answer);
  void ServeEvents(const Request& request, const Answer& answer);
  void ServeCommand(const Request& request, const ScaleCommand& command, const Answer& answer);

  Parts parts_;
  EventStreams streams_;
  WallTime startedAt_;
  std::vector<Route> routes_;
  std::shared_ptr<Api*> self_;  ///< for posted work, which may outlive this
};

}  // namespace tarn::http
