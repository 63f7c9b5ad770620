// One scale of a file that runs by itself for a moment, without a server.
#pragma once

#include <memory>
#include <string>

#include "tools/tarnscale/one_scale.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {

class SingleScale final : public OneScale {
 public:
  /// Throws Failure where the file has no such scale.
  SingleScale(Program& program, int number);

  int Number() const override { return scale_->ScaleNumber(); }
  std::string Alias() const override { return scale_->AliasName(); }
  bool IsDisabled() const override { return scale_->Disabled(); }
  void Start() override;
  void AwaitLine(double seconds) override;
  bool CommandsFollowReadings() const override;
  std::string Hindrance(const ScaleCommand& command) const override;
  void Give(const ScaleCommand& command, double tare) override;

 private:
  ScaleFile file_;
  std::shared_ptr<TarnScale> scale_;
  Subscription onPrint_;
  Subscription onRecord_;
  Subscription onWeight_;
};

}  // namespace tarn::tool
