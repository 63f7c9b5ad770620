// A terminal's variables behind a fake socket, and requests and replies as short texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/little_endian.hpp"
#include "shareddata/message_layout.hpp"
#include "tests/fakes/fake_socket.hpp"
#include "tests/support/shared_data.hpp"

namespace tarn {

template <class Number>
std::string Wire(Number value) {
  const auto bytes = LittleEndian(value);
  return {bytes.data(), bytes.size()};
}

/// From scale 1's node.
inline std::string ReplyOf(std::string_view name, std::uint8_t sequence, std::string_view data) {
  return Reply("/k1/" + std::string(name), data, sequence);
}

struct Request {
  explicit Request(std::string_view bytes)
      : header(HeaderOf(bytes)),
        name(FieldText(header.destination).substr(4)),
        data(bytes.substr(kMessageHeaderLength, DataLength(header))) {}

  bool IsRead() const { return header.command == kReadCommand; }
  /// "?ce120" a polling read, "?2:ce120" another read, "!t_69f=1" and "!3:abc=.." writes.
  std::string Text() const {
    std::string text = IsRead() ? "?" : "!";
    if (header.sequenceNumber != 1) text += std::to_string(header.sequenceNumber) + ":";
    text += name;
    if (IsRead()) return text;
    text += '=';
    for (const char c : data) text += std::to_string(static_cast<unsigned char>(c)) + ".";
    text.pop_back();
    return text;
  }

  MessageHeaderStruct header;
  std::string name;
  std::string data;
};

/// Answers what the socket has sent since the last time, until nothing more is sent.
class FakeTerminal {
 public:
  explicit FakeTerminal(std::shared_ptr<FakeSocket> socket) : socket_(std::move(socket)) {}

  std::map<std::string, std::string> variables;  ///< a missing one is not answered

  /// The requests since the last time, as texts.
  std::string Requests() {
    std::string texts;
    for (; noted_ < socket_->sent.size(); ++noted_) {
      texts += (texts.empty() ? "" : " ") + Request(socket_->sent[noted_]).Text();
    }
    return texts;
  }

  void Serve() {
    for (; served_ < socket_->sent.size(); ++served_) {
      const Request request(socket_->sent[served_]);
      const auto found = variables.find(request.name);
      if (found == variables.end()) continue;
      if (!request.IsRead()) found->second = request.data;
      socket_->Deliver(ReplyOf(request.name, request.header.sequenceNumber,
                               request.IsRead() ? found->second : std::string()));
    }
  }

 private:
  std::shared_ptr<FakeSocket> socket_;
  std::size_t noted_ = 0;
  std::size_t served_ = 0;
};

}  // namespace tarn
