// Cuts a stream of server-sent events into events.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tarn {

class EventStreamReader {
 public:
  static constexpr std::size_t kLongestEvent = 1U << 20U;  ///< bytes; a longer one is dropped

  struct Event {
    std::string name;  ///< "message" where the stream names none
    std::string id;    ///< empty where it has none
    std::string data;  ///< its lines with "\n" between them
  };
  /// May destroy the reader.
  using OnEvent = std::function<void(const Event& event)>;

  explicit EventStreamReader(OnEvent onEvent) : onEvent_(std::move(onEvent)) {}

  /// Takes a piece of the stream, cut anywhere.
  void Take(std::string_view bytes);

 private:
  void TakeLine(std::string_view line);

  OnEvent onEvent_;
  std::string line_;  ///< the beginning of a line whose end has not come yet
  bool lineTooLong_ = false;
  Event event_;
  bool hasData_ = false;
  bool tooLong_ = false;  ///< the event
};

}  // namespace tarn
