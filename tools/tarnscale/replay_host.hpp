// A host whose lines bring what a capture holds, and whose clock stands still between the pieces.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/host.hpp"
#include "platform/loop_base.hpp"

namespace tarn::tool {

class ReplayLoop final : public LoopBase {
 public:
  /// Called before the clock moves on by so many milliseconds.
  using Pause = std::function<void(double milliseconds)>;

  ReplayLoop(TraceSink trace, Pause pause) : LoopBase(std::move(trace)), pause_(std::move(pause)) {}
  ~ReplayLoop() override { DropPosted(); }

  double Now() const override { return now_; }
  /// Stops at every due moment on the way and does there what is due.
  void AdvanceTo(double time);
  void RunPending();

 protected:
  void WaitAndDispatch(double milliseconds) override;
  void Wake() override {}

 private:
  Pause pause_;
  double now_ = 0;
};

/// One line is open at a time, a port or a socket; whatever is sent is taken and forgotten. Nothing
/// is read from the machine and nothing written to it.
class ReplayHost final : public Host {
 public:
  /// Texts are those of `locale`, which outlives the host.
  ReplayHost(UserLocale& locale, LoopBase::TraceSink trace, ReplayLoop::Pause pause);
  ~ReplayHost() override;

  /// Bytes of the open line; a datagram as a whole.
  void Deliver(std::string_view bytes);
  bool BringsDatagrams() const;

  ReplayLoop& Loop() override { return loop_; }
  SettingsStore& Settings() override;
  UserLocale& Locale() override { return locale_; }
  tarn::Files& Files() override;
  std::shared_ptr<SerialPort> CreateSerialPort() override;
  std::shared_ptr<SocketControl> CreateSocket() override;
  tarn::TerminalNetwork& TerminalNetwork() override;
  std::string ProgramFolder() override { return {}; }
  void Trace(std::string_view text) override { trace_(text); }

 private:
  struct System;

  UserLocale& locale_;
  LoopBase::TraceSink trace_;
  ReplayLoop loop_;
  std::unique_ptr<System> system_;
};

}  // namespace tarn::tool
