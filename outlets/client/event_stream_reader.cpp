#include "outlets/client/event_stream_reader.hpp"

#include <utility>
#include <vector>

namespace tarn {

void EventStreamReader::Take(std::string_view bytes) {
  std::vector<Event> complete;
  while (!bytes.empty()) {
    const auto end = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, end);
    lineTooLong_ = lineTooLong_ || line_.size() + piece.size() > kLongestEvent;
    if (!lineTooLong_) line_ += piece;
    if (end == bytes.npos) break;
    bytes.remove_prefix(end + 1);
    tooLong_ = tooLong_ || std::exchange(lineTooLong_, false);
    std::string line = std::exchange(line_, {});
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) {
      TakeLine(line);
      continue;
    }
    if (std::exchange(hasData_, false) && !tooLong_) complete.push_back(std::move(event_));
    event_ = {};
    tooLong_ = false;
  }
  const OnEvent onEvent = onEvent_;
  for (Event& event : complete) {
    if (event.name.empty()) event.name = "message";
    onEvent(event);
  }
}

/// "name: value"; a line that begins with a colon is a comment.
void EventStreamReader::TakeLine(std::string_view line) {
  const auto colon = line.find(':');
  const std::string_view name = line.substr(0, colon);
  std::string_view value = colon == line.npos ? std::string_view() : line.substr(colon + 1);
  if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
  if (name == "event") event_.name = value;
  if (name == "id") event_.id = value;
  if (name != "data") return;
  tooLong_ = tooLong_ || event_.data.size() + value.size() > kLongestEvent;
  if (tooLong_) return;
  if (std::exchange(hasData_, true)) event_.data += '\n';
  event_.data += value;
}

}  // namespace tarn
