#include "tools/tarnscale/line_reader.hpp"

#include <condition_variable>
#include <fstream>
#include <iostream>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tarn::tool {
namespace {

constexpr std::size_t kMostWaiting = 1000;

}  // namespace

struct LineReader::State {
  State(MessageLoop& l, Handlers h) : handlers(std::move(h)), loop(&l) {}

  static void ReadAll(const std::shared_ptr<State>& state, const std::string& name);
  static void Announce(const std::shared_ptr<State>& state);
  /// Returns false when nobody wants the lines any more.
  static bool Hand(const std::shared_ptr<State>& state, std::string line);
  static void End(const std::shared_ptr<State>& state, bool wasOpened);
  void HandleWhatWaits();

  const Handlers handlers;
  std::mutex mutex;  // for what follows
  std::condition_variable taken;
  MessageLoop* loop;  ///< null once the reader is gone
  std::vector<std::string> waiting;
  bool announced = false;
  bool ended = false;
  bool opened = true;
};

void LineReader::State::ReadAll(const std::shared_ptr<State>& state, const std::string& name) {
  std::ifstream file;
  if (!name.empty()) file.open(name);
  std::istream& input = name.empty() ? std::cin : file;
  if (!input) return End(state, false);
  std::string line;
  for (int c = input.get(); c != std::istream::traits_type::eof(); c = input.get()) {
    if (c != '\n') {
      if (line.size() < kLongestLine) line += static_cast<char>(c);
    } else if (!Hand(state, std::exchange(line, {}))) {
      return;
    }
  }
  End(state, true);
}

bool LineReader::State::Hand(const std::shared_ptr<State>& state, std::string line) {
  if (line.ends_with('\r')) line.pop_back();
  std::unique_lock lock(state->mutex);
  state->taken.wait(lock,
                    [&] { return state->loop == nullptr || state->waiting.size() < kMostWaiting; });
  if (state->loop == nullptr) return false;
  state->waiting.push_back(std::move(line));
  Announce(state);
  return true;
}

void LineReader::State::End(const std::shared_ptr<State>& state, bool wasOpened) {
  const std::lock_guard lock(state->mutex);
  state->ended = true;
  state->opened = wasOpened;
  if (state->loop != nullptr) Announce(state);
}

void LineReader::State::Announce(const std::shared_ptr<State>& state) {
  if (!std::exchange(state->announced, true)) {
    state->loop->Post([state] { state->HandleWhatWaits(); });
  }
}

void LineReader::State::HandleWhatWaits() {
  std::unique_lock lock(mutex);
  const std::vector<std::string> lines = std::exchange(waiting, {});
  announced = false;
  const bool isEnd = ended;
  lock.unlock();
  taken.notify_all();
  // Only this thread ends the reader, so the pointer may be read without the lock.
  for (const std::string& line : lines) {
    if (loop != nullptr) handlers.onLine(line);
  }
  if (isEnd && loop != nullptr) handlers.onEnd(opened);
}

LineReader::LineReader(MessageLoop& loop, std::string name, Handlers handlers)
    : state_(std::make_shared<State>(loop, std::move(handlers))) {
  std::thread([state = state_, name = std::move(name)] { State::ReadAll(state, name); }).detach();
}

LineReader::~LineReader() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->loop = nullptr;
  }
  state_->taken.notify_all();
}

}  // namespace tarn::tool
