// A tarnscale that runs already, and its scales.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "outlets/client/remote_source.hpp"
#include "tools/tarnscale/one_scale.hpp"

namespace tarn::tool {

/// The file of the local socket of the tarnscale that runs a settings file; empty where the system
/// has no such sockets.
std::string LocalSocket(Program& program, const std::string& file);

/// Reaches the server that --at names; else the one that runs the settings file on this machine.
/// Null where there is none of these. Throws Failure where --at cannot be reached in time.
std::unique_ptr<RemoteSource> FindServer(Program& program);

/// A scale of a server that runs. Its weight of this moment is the first one.
class AttachedScale final : public OneScale {
 public:
  /// Throws Failure where the server has no such scale.
  AttachedScale(Program& program, std::unique_ptr<RemoteSource> source, int number);

  int Number() const override { return number_; }
  std::string Alias() const override;
  bool IsDisabled() const override;
  void Start() override {}
  void AwaitLine(double /*seconds*/) override {}
  bool CommandsFollowReadings() const override { return false; }
  std::string Hindrance(const ScaleCommand& /*command*/) const override { return {}; }
  void Give(const ScaleCommand& command, double tare) override;

 private:
  void Take(const ScaleEvent& event);

  std::unique_ptr<RemoteSource> source_;
  int number_;
  Subscription onEvent_;
};

}  // namespace tarn::tool
