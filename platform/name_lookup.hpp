// Looks host names up beside the loop, since that may take the system many seconds.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/message_loop.hpp"
#include "platform/native_socket.hpp"

namespace tarn {

/// Uses one thread for each name, so that a good name does not wait behind names whose servers do
/// not answer. All who ask for a name that is being looked up share its answer, so a socket that
/// tries again and again takes no further thread. More than kThreads names wait their turn. A
/// look-up whose owners have all gone is not begun. One that is under way when this object is
/// destroyed ends without notifying anybody.
class NameLookup {
 public:
  static constexpr int kThreads = 64;  ///< two for each of the 32 sockets of a server

  /// Asks the system and waits for the answer; runs on a separate thread.
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
