// Restores a link that breaks between Connect and Disconnect.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/event.hpp"
#include "platform/host.hpp"
#include "scale/contracts.hpp"

namespace tarn {

/// What connections that can reconnect offer beside their contract.
class ReconnectingConnection {
 public:
  ReconnectingConnection() = default;
  ReconnectingConnection(const ReconnectingConnection&) = delete;
  ReconnectingConnection& operator=(const ReconnectingConnection&) = delete;
  virtual ~ReconnectingConnection() = default;

  /// Whether a link that breaks between Connect and Disconnect is connected again. Attempts follow
  /// after pauses of 1 s growing to 30 s, until one succeeds or Disconnect is called. Off by
  /// default. A Connect that fails is not retried but for a start that nobody watches
  /// (TarnScale::RunUnattended): its error propagates to the caller. Saved as "AutoReconnect".
  virtual bool AutoReconnect() const = 0;
  virtual void AutoReconnect(bool value) = 0;
};

/// Where the bytes of a connection are counted; null while it serves no scale.
std::shared_ptr<LineRecord> RecordOf(const ScalePart& connection);

class Reconnector {
 public:
  static constexpr std::int32_t kFirstPause = 1000;     // milliseconds
  static constexpr std::int32_t kLongestPause = 30000;  // milliseconds

  /// `connect` makes one attempt; when it throws, the error is traced and the link counts as broken
  /// again. `device` returns the name of the port or address for traces. The connection owns this
  /// object.
  Reconnector(Host& host, const ScalePart& connection, std::function<void()> connect,
              std::function<std::string()> device);

  bool Enabled() const { return enabled_; }
  void Enabled(bool enabled);

  /// True after Connect, false after Disconnect. Either way the link no longer counts as broken.
  void Wanted(bool wanted);
  void Broken(ConditionReason why);
  void Restored();
  /// For a Connect that failed: the link is wanted and broken from now on. False where it does not
  /// reconnect, and for settings that no further attempt would make right.
  bool KeepTrying(const AutomationError& error);
  /// Traces one line about the link, with the scale in front.
  void Trace(const std::string& what) const;
  /// As Trace, for what went wrong: the record of the scale's line keeps it, too.
  void TraceFailure(const std::string& what) const;
  /// As TraceFailure, for a link that breaks: says when the next attempt is, where there is one.
  void TraceBreak(const std::string& what) const;

  /// Why the link is broken, and when it is tried again; without a fault while it is not.
  LinkState Link() const;

 private:
  void Schedule();
  void Try();
  std::string Titled(const std::string& what) const;

  Host& host_;
  const ScalePart& connection_;
  std::function<void()> connect_;
  std::function<std::string()> device_;
  bool enabled_ = false;
  bool wanted_ = false;
  bool broken_ = false;
  ConditionReason why_ = ConditionReason::None;
  double retryAt_ = -1;
  std::int32_t pause_ = kFirstPause;
  std::unique_ptr<Timer> timer_;  ///< made when first needed
  Subscription onTimer_;
};

}  // namespace tarn
