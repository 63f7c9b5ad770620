// The receive side against every way in which a line may cut its bytes.
#include "platform/receive_buffer.hpp"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/serial_port.hpp"
#include "tests/fakes/fake_host.hpp"

namespace tarn {
namespace {

constexpr std::int16_t kThreshold = 16;
constexpr double kDelays[] = {0, 1, 5, 16, 30};  // milliseconds; an adapter's packets come every 16

/// So many milliseconds pass at each of these positions.
using Pauses = std::map<std::size_t, double>;

/// Reads as the continuous protocol does: in each event, frames that end at a CR for as long as a
/// frame's worth waits, and nothing kept for the next event.
std::vector<std::string> FramesOf(FakeLoop& loop, std::string_view stream, const Pauses& pauses) {
  std::vector<std::string> frames;
  std::unique_ptr<ReceiveBuffer> buffer;
  buffer = std::make_unique<ReceiveBuffer>(loop, [&] {
    std::string text;
    do {
      for (int i = 0; i < 100; ++i) {
        const auto c = buffer->Read();
        if (!c) break;
        text = *c == '\x02' ? "" : text + *c;
        if (*c == '\r') break;
      }
      if (text.size() == kThreshold) frames.push_back(text);
    } while (buffer->Readable() >= kThreshold);
  });
  buffer->Threshold(kThreshold);
  buffer->EndCharacter('\r');
  std::size_t start = 0;
  for (const auto& [position, milliseconds] : pauses) {
    buffer->Arrived(stream.substr(start, position - start));
    loop.Advance(milliseconds);
    start = position;
  }
  buffer->Arrived(stream.substr(start));
  loop.Advance(1000);
  return frames;
}

class ReceiveBufferTest : public ::testing::Test {
 protected:
  FakeLoop loop{[](std::string_view) {}};
};

/// Behind each CR nothing, a checksum, or one that looks like an end or a start of a frame.
class EveryCut : public ReceiveBufferTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(EveryCut, LosesNoFrame) {
  std::vector<std::string> frames;
  std::string stream;
  for (const char mark : {'a', 'b', 'c'}) {
    frames.push_back(mark + std::string("-000456700089") + mark + '\r');
    stream += '\x02' + frames.back() + GetParam();
  }
  const std::size_t length = stream.size() / 3;
  for (const double framePause : {-1, 5, 100}) {  // negative: the stream comes in one go
    const Pauses between =
        framePause < 0 ? Pauses() : Pauses{{length, framePause}, {2 * length, framePause}};
    for (const double delay : kDelays) {
      Pauses eachByte = between;
      for (std::size_t i = 1; i < stream.size(); ++i) eachByte[i] += delay;
      EXPECT_EQ(FramesOf(loop, stream, eachByte), frames) << delay << " ms each byte";
    }
    for (std::size_t first = 1; first < stream.size(); ++first) {
      for (std::size_t second = first; second < stream.size(); ++second) {
        for (const double firstDelay : kDelays) {
          for (const double secondDelay : kDelays) {
            Pauses pauses = between;
            pauses[first] += firstDelay;
            if (second != first) pauses[second] += secondDelay;
            ASSERT_EQ(FramesOf(loop, stream, pauses), frames)
                << "cut at " << first << " for " << firstDelay << " ms and at " << second << " for "
                << secondDelay << " ms, frames " << framePause << " ms apart";
            if (second == first) break;
          }
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Trailers, EveryCut, ::testing::Values("", "k", "\r", "\x02"));

// Pieces of one frame's length that each end inside a frame: something is held back all the time,
// but never the same bytes.
TEST_F(ReceiveBufferTest, LosesNoFrameOfALineThatIsNeverQuiet) {
  std::string bytes;
  for (int i = 0; i < 300; ++i)
    bytes +=
        "\x02"
        "a-000456700089a\r";
  Pauses pauses;
  for (std::size_t i = 16; i < bytes.size(); i += 17) pauses[i] = 17;
  EXPECT_EQ(FramesOf(loop, bytes, pauses).size(), 300U);
}

TEST_F(ReceiveBufferTest, GarbageIsShownOnceTheLineIsQuietOrAfterALongWhile) {
  const struct {
    double characterTime;
    int more;  ///< bytes behind the first 15, 10 ms apart
    double shownAt;
  } cases[] = {
      {1, 0, -1},  // less than a threshold's worth
      {1, 1, ReceiveBuffer::kQuietFloor},
      {90, 1, 4 * 90},
      {1, 200, ReceiveBuffer::kQuietFloor * ReceiveBuffer::kHoldFactor},
  };
  for (const auto& c : cases) {
    const double start = loop.Now();
    double shownAt = -1;
    ReceiveBuffer buffer(loop, [&] {
      if (shownAt < 0) shownAt = loop.Now() - start;
    });
    buffer.Threshold(kThreshold);
    buffer.EndCharacter('\r');
    buffer.CharacterTime(c.characterTime);
    buffer.Arrived(std::string(15, 'x'));
    for (int i = 0; i < c.more; ++i) {
      if (i > 0) loop.Advance(10);
      buffer.Arrived("x");
    }
    loop.Advance(5000);
    EXPECT_EQ(shownAt, c.shownAt) << c.more;
  }
}

TEST_F(ReceiveBufferTest, KeepsTheNewestBytesWhenNobodyReads) {
  for (const bool withEnd : {false, true}) {
    ReceiveBuffer buffer(loop, [] {});
    if (withEnd) buffer.EndCharacter('\r');
    for (int i = 0; i < 50; ++i) {
      buffer.Arrived(std::string(SerialPort::kMaxWaitingInput / 20 + 1, 'x'));
    }
    buffer.Arrived("new\r");
    EXPECT_EQ(buffer.Readable(), static_cast<std::int32_t>(SerialPort::kMaxWaitingInput));
    std::string last;
    while (const auto c = buffer.Read()) last += *c;
    EXPECT_TRUE(last.ends_with("xnew\r"));
  }
}

TEST_F(ReceiveBufferTest, AHandlerMayFailDeliverMoreOrDestroyTheBuffer) {
  std::string taken;
  int depth = 0;
  ReceiveBuffer failing(loop, [&] {
    EXPECT_EQ(++depth, 1);
    taken += *failing.Read();
    if (taken.size() == 2) failing.Arrived("more");
    --depth;
    if (taken == "a") throw std::runtime_error("first");
  });
  EXPECT_THROW(failing.Arrived("abc"), std::runtime_error);
  EXPECT_EQ(taken, "abcmore") << "the first failure does not cost the bytes behind it";

  for (const char* bytes : {"garbage", "frame\rmore\r"}) {
    int events = 0;
    std::unique_ptr<ReceiveBuffer> buffer;
    buffer = std::make_unique<ReceiveBuffer>(loop, [&] {
      ++events;
      buffer.reset();
    });
    buffer->EndCharacter('\r');
    buffer->Arrived(bytes);
    loop.Advance(1000);
    EXPECT_EQ(events, 1);
  }
}

TEST_F(ReceiveBufferTest, ClearForgetsWhatIsHeldBack) {
  int events = 0;
  ReceiveBuffer buffer(loop, [&] { ++events; });
  buffer.EndCharacter('\r');
  buffer.Arrived("half a fra");
  buffer.Clear();
  loop.Advance(1000);
  EXPECT_EQ(events, 0);
  buffer.Arrived("me\r");
  EXPECT_EQ(buffer.Readable(), 3);
}

}  // namespace
}  // namespace tarn
