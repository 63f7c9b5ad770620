// Looks names of hosts up beside the loop, since that may take the system many seconds.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/message_loop.hpp"
#include "platform/native_socket.hpp"

namespace tarn {

/// A thread a name, so that a good name does not wait behind names whose servers do not answer. Who
/// asks for a name that is being looked up gets the same answer, so a socket that tries again and
/// again takes no further thread. Beyond kThreads names the others wait their turn. A look-up whose
/// owners have gone is not begun. What is under way when this goes ends and notifies nobody.
class NameLookup {
 public:
  static constexpr int kThreads = 64;  ///< two for each of the 32 sockets of a server

  /// Asks the system and waits for the answer; runs on a thread of its own.
  struct Answer {
    std::int32_t error = 0;
    std::uint32_t ip = 0;
  };
  using Ask = std::function<Answer(const std::string& name)>;

  NameLookup(MessageLoop& loop, Ask ask);
  NameLookup(const NameLookup&) = delete;
  NameLookup& operator=(const NameLookup&) = delete;
  ~NameLookup();

  void Start(const std::string& name, std::weak_ptr<void> owner, SocketSystem::LookedUp done);

 private:
  struct State;
  static void Work(const std::shared_ptr<State>& state);

  std::shared_ptr<State> state_;
};

}  // namespace tarn
