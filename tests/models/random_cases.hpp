// What a random case draws from, and how two stories are compared.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace tarn {

/// Gives the same numbers with every compiler.
class Random {
 public:
  Random(std::uint64_t seed, std::uint64_t number)
      : engine_(seed * 0x9E3779B97F4A7C15U + number * 0xD1B54A32D192ED03U) {}
  /// Draws from a fuzzer's bytes, and throws Ended where these end: the story ends there, so that a
  /// short input costs little.
  explicit Random(std::string_view bytes) : isFuzzed_(true), bytes_(bytes) {}
  struct Ended {};

  /// 0 to count - 1.
  int Below(int count) {
    if (!isFuzzed_) return static_cast<int>(engine_() % static_cast<std::uint64_t>(count));
    if (bytes_.empty()) throw Ended();
    int drawn = 0;
    for (int range = 1; range < count && !bytes_.empty(); range *= 256) {
      drawn = drawn * 256 + static_cast<unsigned char>(bytes_.front());
      bytes_.remove_prefix(1);
    }
    return drawn % count;
  }
  std::size_t Size(int count) { return static_cast<std::size_t>(Below(count)); }
  bool Chance(int percent) { return Below(100) < percent; }
  template <class Choices>
  const auto& OneOf(const Choices& choices) {
    return choices[Size(static_cast<int>(std::size(choices)))];
  }
  char Byte() { return static_cast<char>(Below(256)); }
  std::string Noise(int longest) {
    std::string bytes = Text(" ", longest);
    for (char& c : bytes) c = Byte();
    return bytes;
  }
  /// 0 to `longest` characters of `alphabet`.
  std::string Text(const std::string& alphabet, int longest) {
    std::string text(Size(longest + 1), ' ');
    for (char& c : text) c = OneOf(alphabet);
    return text;
  }

 private:
  bool isFuzzed_ = false;
  std::mt19937_64 engine_;
  std::string_view bytes_;
};

/// Compares two stories line by line; a failure shows where they part and what came before.
inline void ExpectSameStory(const std::string& real, const std::string& modelled) {
  if (real == modelled) return;
  const auto parting = std::mismatch(real.begin(), real.end(), modelled.begin(), modelled.end());
  const auto at = static_cast<std::size_t>(parting.first - real.begin());
  const std::size_t line = at == 0 ? 0 : real.rfind('\n', at - 1) + 1;
  const std::size_t before = line < 6000 ? 0 : real.find('\n', line - 6000) + 1;
  const auto shown = [](const std::string& text) {
    std::string lines;
    for (const char c : text) {
      const bool plain = c == '\n' || (c >= ' ' && c <= '~');
      lines += plain ? std::string(1, c) : "<" + std::to_string(c & 0xFF) + ">";
    }
    return lines;
  };
  ADD_FAILURE() << "They part here:\n"
                << shown(real.substr(before, line - before)) << "\n-- really:\n"
                << shown(real.substr(line, 1000)) << "\n-- by the model:\n"
                << shown(modelled.substr(line, 1000));
}

}  // namespace tarn
