#include "tools/tarnscale/line_guess.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <string>

#include "scale/dialects.hpp"

namespace tarn::tool {
namespace {

/// As a line of that parity sends it, read with eight bits: a letter as in line settings.
std::string Sent(const std::string& text, char parity) {
  std::string bytes;
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    const bool odd = std::popcount(byte) % 2 != 0;
    const bool set = parity == 'm' || (parity == 'e' && odd) || (parity == 'o' && !odd);
    bytes += static_cast<char>(byte | (set ? 0x80U : 0U));
  }
  return bytes;
}

TEST(LineGuess, FindsEachDialectUnderEachParity) {
  const struct {
    const char* word;
    std::string frame;
  } cases[] = {{"standard", "\x02+0 001234000100\r"}, {"standard", "\x02,8   1234     0\r\x1E"},
               {"short", "\x02+( 001234\r"},          {"sir", "S D     123.4 kg\r\n"},
               {"sir", "S S  -0.4 lb\r\n"},           {"cardinal", "\r 123.4  mkg     \x03"},
               {"fairbanks", "   123.4 kg  g\r\n"},   {"gse550", "\x02M    123.4 kg        \r\n"},
               {"ricelake", "\x02- 12.50L  G\r\n"},   {"wi120", "   123.4 kg    \r\n"}};
  const std::pair<char, std::string_view> framings[] = {{'n', "parity=none databits=8 stopbits=1"},
                                                        {'e', "parity=even databits=7 stopbits=2"},
                                                        {'o', "parity=odd databits=7 stopbits=2"},
                                                        {'m', "parity=none databits=7 stopbits=2"}};
  for (const auto& c : cases) {
    for (const auto& [parity, framing] : framings) {
      // The line was opened in the middle of a frame.
      std::string text = c.frame.substr(c.frame.size() / 2);
      for (int i = 0; i < 5; ++i) text += c.frame;
      const LineGuess guess = GuessOf(Sent(text, parity));
      EXPECT_EQ(FindDialect(guess.found.type)->word, std::string_view(c.word)) << parity;
      EXPECT_EQ(guess.framing, framing) << c.word;
      EXPECT_TRUE(guess.IsSure()) << c.word;
      EXPECT_FALSE(GuessOf(Sent(c.frame, parity)).IsSure()) << "one frame may be chance";
    }
  }
}

TEST(LineGuess, FindsNothingInNoise) {
  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    std::string noise;
    for (int n = 0; n < 1000; ++n) noise += static_cast<char>(random() >> (i % 2 == 0 ? 24U : 25U));
    EXPECT_FALSE(GuessOf(noise)) << i;
  }
  EXPECT_FALSE(GuessOf(""));
  EXPECT_FALSE(GuessOf("a text without any weight\r\n\r\n\x02\r"));
}

}  // namespace
}  // namespace tarn::tool
