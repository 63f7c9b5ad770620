// The messages of terminal variables, step by step.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <string>

namespace tarn {

/// A byte out of bounds, a text that is no number.
struct Fault {};

/// Bytes in place of texts: what a code page of one byte a character makes of them is the locale's.
class MessageModel {
 public:
  std::string request = std::string(239, '\0');
  std::string header = std::string(29, '\0');
  std::string data = std::string(1400, '\0');
  bool errorFlag = false;

  void Init(int command, const std::string& source, const std::string& destination) {
    request[1] = 100;
    request[2] = 0x01;
    request[3] = 0x10;
    request.replace(4, source.size(), source);
    request.replace(14, destination.size(), destination);
    request[24] = static_cast<char>(command);
    request[26] = 1;
  }
  void Put(char byte) {
    request[27] = 1;
    request[29] = byte;
  }
  int LoadReply(const std::string& received) {
    return Trapped(0, [&] {
      if (received.size() < 29) throw Fault();
      header = received.substr(0, 29);
      const int length = Byte(header[27]) + 256 * Byte(header[28]);
      if (received.size() < static_cast<std::size_t>(29 + length)) throw Fault();
      const auto room = static_cast<std::size_t>(std::min(length, 1400));
      data.replace(0, room, received, 29, room);
      if (length > 1400) throw Fault();
      return length;
    });
  }
  std::string ReplySource() const {
    const std::string source = header.substr(4, 10);
    return source.substr(0, source.find('\0'));
  }
  /// The bytes of an element that is wholly available.
  std::string Element(int index, int width, int available) {
    return Trapped(std::string(), [&] {
      if (index < 0 || width * index + width - 1 >= available) throw Fault();
      if (width * index + width > 1400) throw Fault();
      return data.substr(static_cast<std::size_t>(width * index), static_cast<std::size_t>(width));
    });
  }
  /// Up to a 0 byte where one ends it.
  std::string Bytes(int count, int available, bool zeroEnds, bool fills) {
    return Trapped(std::string(), [&] {
      if (count < 0 || count > available) throw Fault();
      std::string bytes;
      for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        if (i >= 1400) throw Fault();
        if (zeroEnds && data[i] == 0) break;
        bytes += data[i];
      }
      if (fills) bytes.resize(static_cast<std::size_t>(count));
      return bytes;
    });
  }
  int LongText(int index, int available) {
    std::string field = Element(index, 13, available);
    return field.empty() ? 0 : Trapped(0, [&] {
      std::string text = field.substr(0, field.find('\0'));
      while (text.starts_with(' ')) text.erase(0, 1);
      while (text.ends_with(' ')) text.pop_back();
      char* end = nullptr;
      const double number = std::strtod(text.c_str(), &end);
      if (text.empty() || *end != '\0') throw Fault();
      const double rounded = std::nearbyint(number);
      if (rounded < -2147483648.0 || rounded > 2147483647.0) throw Fault();
      return static_cast<int>(rounded);
    });
  }

 private:
  static int Byte(char c) { return static_cast<unsigned char>(c); }
  template <class Result, class Work>
  Result Trapped(const Result& empty, const Work& work) {
    try {
      return work();
    } catch (const Fault&) {
      errorFlag = true;
      return empty;
    }
  }
};

}  // namespace tarn
