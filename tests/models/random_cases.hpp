// Random cases for the models. A model does what a part of the system is for, slowly and word by
// word; its test plays the same random story to the model and to the system and compares all that
// the two have shown.
//
// A case depends on nothing but its seed and its number, so what fails once can be repeated:
//   TARN_MODEL_SEED=s    another sequence of cases (1)
//   TARN_MODEL_TIMES=n   so many times the usual number of cases (1)
//   TARN_MODEL_CASE=k    this case alone
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>

namespace tarn {

/// Gives the same numbers with every compiler.
class Random {
 public:
  Random(std::uint64_t seed, std::uint64_t number)
      : engine_(seed * 0x9E3779B97F4A7C15U + number * 0xD1B54A32D192ED03U) {}

  /// 0 to count - 1.
  int Below(int count) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(count)); }
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
  std::mt19937_64 engine_;
};

/// Compares two stories line by line; a failure shows where they part and what came before.
inline void ExpectSameStory(const std::string& real, const std::string& modelled) {
  if (real == modelled) return;
  const auto parting = std::mismatch(real.begin(), real.end(), modelled.begin(), modelled.end());
  const auto at = static_cast<std::size_t>(parting.first - real.begin());
  const std::size_t line = real.rfind('\n', at - 1) + 1;
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

/// Plays the usual number of cases, up to the first in which an expectation fails. A case begins
/// with objects of its own.
inline void PlayRandomCases(std::uint64_t usual, const std::function<void(Random&)>& play) {
  const auto setting = [](const char* name) -> std::optional<std::uint64_t> {
    const char* const text = std::getenv(name);
    if (text == nullptr) return std::nullopt;
    return std::strtoull(text, nullptr, 10);
  };
  const std::uint64_t seed = setting("TARN_MODEL_SEED").value_or(1);
  const auto only = setting("TARN_MODEL_CASE");
  const std::uint64_t end = only ? *only + 1 : usual * setting("TARN_MODEL_TIMES").value_or(1);
  for (std::uint64_t number = only.value_or(0); number < end; ++number) {
    Random random(seed, number);
    play(random);
    if (!testing::Test::HasFailure()) continue;
    ADD_FAILURE() << "To repeat this case: TARN_MODEL_SEED=" << seed
                  << " TARN_MODEL_CASE=" << number;
    return;
  }
}

}  // namespace tarn
