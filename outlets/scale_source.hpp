// Where outlets get the scales from, whatever process runs them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/event.hpp"
#include "outlets/event_watch.hpp"
#include "outlets/scale_commands.hpp"
#include "outlets/scale_state.hpp"

namespace tarn {

/// What came of a command.
struct CommandResult {
  enum class Status {
    Given,    ///< the scale took it; whether the terminal did shows in its readings
    Refused,  ///< it would have no effect at this scale
    Failed,   ///< the line or the terminal did not take it
    NoScale,  ///< there is no scale of this number
  };
  Status status = Status::Given;
  std::string words;  ///< for the operator; empty when given
};

/// Used on the loop's thread only. Outlives the outlets that use it.
class ScaleSource {
 public:
  using OnDone = std::function<void(const CommandResult& result)>;

  ScaleSource() = default;
  ScaleSource(const ScaleSource&) = delete;
  ScaleSource& operator=(const ScaleSource&) = delete;
  virtual ~ScaleSource() = default;

  /// The scales that are set up, in ascending order.
  virtual std::vector<int> Scales() const = 0;
  /// Nothing where there is no such scale.
  virtual std::optional<ScaleState> State(int scale) const = 0;
  /// The latest bytes that came over the line of a scale; empty where nobody knows them.
  virtual std::string LatestBytes(int /*scale*/) const { return {}; }
  /// Gives a command to a scale and reports what came of it, at once or later. `tare` is that of
  /// PresetTare, in the terminal's units.
  virtual void Give(int scale, const ScaleCommand& command, double tare, const OnDone& done) = 0;

  /// Everything that happens, readings too.
  Event<const ScaleEvent&> Happened;
};

/// The scales of the server in this process.
class ServerSource final : public ScaleSource {
 public:
  /// The server outlives it.
  ServerSource(TarnScaleServer& server, WallClock clock);

  std::vector<int> Scales() const override;
  std::optional<ScaleState> State(int scale) const override;
  std::string LatestBytes(int scale) const override;
  void Give(int scale, const ScaleCommand& command, double tare, const OnDone& done) override;

 private:
  std::shared_ptr<TarnScale> At(int scale) const;
  void Pass(const ScaleEvent& event);

  TarnScaleServer& server_;
  WallClock clock_;
  std::map<int, Reading> kept_;  ///< by scale: weights that the no-data state follows at once
  EventWatch watch_;
  Subscription onReplaced_;
};

}  // namespace tarn
