// Reads lines on a separate thread, so that a writer who pauses never holds up the loop.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/message_loop.hpp"

namespace tarn::tool {

/// Lines reach the loop's thread in their order. When 1000 of them wait there, the thread reads on
/// only after the loop has taken them, so the writer waits in turn.
class LineReader {
 public:
  /// The rest of a longer line is skipped.
  static constexpr std::size_t kLongestLine = 64U << 10U;

  struct Handlers {
    std::function<void(std::string_view line)> onLine;  ///< without its end
    /// At the end of the input; false when it could not be opened.
    std::function<void(bool opened)> onEnd;
  };

  /// Reads a file or a named pipe, or standard input when the name is empty. The loop outlives the
  /// reader.
  LineReader(MessageLoop& loop, std::string name, Handlers handlers);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  /// Calls no handler from now on. The thread is left alone, since it may wait for input for ever:
  /// the process then has to end without the library's clean-up (std::_Exit).
  ~LineReader();

 private:
  struct State;

  std::shared_ptr<State> state_;
};

}  // namespace tarn::tool
