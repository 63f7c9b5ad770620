// The scales of another tarnscale, reached over HTTP.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "outlets/client/event_stream_reader.hpp"
#include "outlets/client/http_client.hpp"
#include "outlets/scale_source.hpp"

namespace tarn {

/// Follows the stream of events of a server and begins it anew when it ends: after 1, 2, 4, 8, 16
/// and then every 30 s. While there is no connection every scale reads as an error.
class RemoteSource final : public ScaleSource {
 public:
  RemoteSource(MessageLoop& loop, std::unique_ptr<HttpClient> client, WallClock clock);

  std::vector<int> Scales() const override;
  std::optional<ScaleState> State(int scale) const override;
  void Give(int scale, const ScaleCommand& command, double tare, const OnDone& done) override;

  bool IsConnected() const { return connected_; }
  /// Why there is no connection, for people; empty before the first attempt has ended.
  const std::string& Trouble() const { return trouble_; }
  /// The scales are known, or the connection is lost.
  Event<> ConnectionChanged;
  /// Whether the server wants a token, or another one.
  bool WantsToken() const { return wantsToken_; }

 private:
  void Begin();
  void TakeScales(const HttpReply& reply);
  void TakeEvent(const EventStreamReader::Event& event);
  void Lose(const HttpReply& reply);

  MessageLoop& loop_;
  std::unique_ptr<HttpClient> client_;
  WallClock clock_;
  EventStreamReader reader_;
  std::map<int, ScaleState> states_;
  std::map<int, double> readAt_;  ///< by the loop's clock
  bool connected_ = false;
  bool wantsToken_ = false;
  std::string trouble_;
  std::int32_t pause_ = 0;  ///< seconds before the next attempt
  std::unique_ptr<Timer> again_;
  Subscription onAgain_;
  std::unique_ptr<HttpTransfer> scales_;
  std::unique_ptr<HttpTransfer> events_;
  std::uint64_t lastCommand_ = 0;
  std::map<std::uint64_t, std::unique_ptr<HttpTransfer>> commands_;
};

}  // namespace tarn
