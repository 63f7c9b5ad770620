#include "tools/tarnsim/simulation.hpp"

#include <cctype>

#include "base/automation_error.hpp"

namespace tarn::sim {

Simulation::Simulation(Host& host, Console& console, const Options& options)
    : host_(host), console_(console), options_(options) {}

void Simulation::Run() {
  MessageLoop& loop = host_.Loop();
  start_ = loop.Now();
  const auto timer = loop.CreateTimer();
  const Subscription tick = timer->Tick.Subscribe([this] { Tick(); });
  const Subscription interrupt = console_.Interrupted.Subscribe([&loop] { loop.Quit(); });
  const Subscription inputEnd = console_.InputEnded.Subscribe([&loop] { loop.Quit(); });
  const Subscription keys = console_.KeyPressed.Subscribe(
      [this](Console::Key key, char character) { TakeKey(key, character); });
  console_.ReadKeys();
  if (options_.endWithInput) console_.WatchInputEnd();
  timer->Interval(options_.tick);
  timer->Enabled(true);
  loop.Run();
}

void Simulation::Tick() {
  const double now = host_.Loop().Now() - start_;
  if (options_.runFor && now >= *options_.runFor) {
    host_.Loop().Quit();
    return;
  }
  for (const auto& terminal : terminals_) TickOne(*terminal, now);
}

/// A faulty line must not hold up the others.
void Simulation::TickOne(Terminal& terminal, double now) {
  try {
    terminal.Tick(now);
  } catch (const AutomationError& error) {
    host_.Trace(error.Description());
  }
}

void Simulation::TakeKey(Console::Key key, char character) {
  if (key != Console::Key::Character) return;
  if (character == 'q') {
    host_.Loop().Quit();
    return;
  }
  CommandReader reader;
  const auto command =
      reader.Take(static_cast<char>(std::toupper(static_cast<unsigned char>(character))));
  if (!command) return;
  for (const auto& terminal : terminals_) terminal->Press(*command);
}

}  // namespace tarn::sim
