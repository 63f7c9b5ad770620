// The receive side against every way in which a line may cut its bytes.
#include "platform/receive_buffer.hpp"

#include <gmock/gmock.h>
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

using ::testing::ElementsAre;

constexpr std::int16_t kThreshold = 16;
constexpr double kDelays[] = {0, 1, 5, 16, 30};  // milliseconds; an adapter's packets come every 16

/// Reads as the continuous protocol does: in each event, frames that end at a CR for as long as a
/// frame's worth waits, and nothing kept for the next event.
class Reader {
 public:
  explicit Reader(FakeLoop& loop) : loop_(loop) {
    buffer.Threshold(kThreshold);
    buffer.EndCharacter('\r');
  }

  /// Hands the stream over in pieces: at each of these positions so many milliseconds pass.
  void Feed(std::string_view stream, const std::map<std::size_t, double>& pauses) {
    std::size_t start = 0;
    for (const auto& [position, milliseconds] : pauses) {
      buffer.Arrived(stream.substr(start, position - start));
      loop_.Advance(milliseconds);
      start = position;
    }
    buffer.Arrived(stream.substr(start));
    loop_.Advance(1000);
  }

  std::vector<std::string> frames;

 private:
  void OnReceive() {
    std::string text;
    do {
      for (int i = 0; i < 100; ++i) {
        const auto c = buffer.Read();
        if (!c) break;
        text = *c == '\x02' ? "" : text + *c;
        if (*c == '\r') break;
      }
      if (text.size() == kThreshold) frames.push_back(text);
    } while (buffer.Readable() >= kThreshold);
  }

  FakeLoop& loop_;

 public:
  ReceiveBuffer buffer{loop_, [this] { OnReceive(); }};
};

class ReceiveBufferTest : public ::testing::Test {
 protected:
  FakeLoop loop{[](std::string_view) {}};
};

/// Frames that differ, with what follows each one's CR.
struct Stream {
  explicit Stream(std::string_view trailer) {
    for (const char mark : {'a', 'b', 'c'}) {
      const std::string text = mark + std::string("-000456700089") + mark + '\r';
      frames.push_back(text);
      bytes += '\x02' + text + std::string(trailer);
      ends.push_back(bytes.size());
    }
    ends.pop_back();
  }

  std::vector<std::string> frames;
  std::string bytes;
  std::vector<std::size_t> ends;  ///< of all frames but the last
};

/// Without a checksum, with one, and with ones that look like an end or a start of a frame.
const std::string kTrailers[] = {"", "k", "\r", "\x02"};
/// Milliseconds between frames; negative for a stream that comes in one go.
constexpr double kFramePauses[] = {-1, 5, 100};

std::map<std::size_t, double> FramePauses(const Stream& stream, double pause) {
  std::map<std::size_t, double> pauses;
  for (const std::size_t end : stream.ends) {
    if (pause >= 0) pauses[end] = pause;
  }
  return pauses;
}

class EveryCut : public ReceiveBufferTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(EveryCut, LosesNoFrameOfAStreamCutAtTwoPoints) {
  const Stream stream(GetParam());
  for (const double framePause : kFramePauses) {
    for (std::size_t first = 1; first < stream.bytes.size(); ++first) {
      for (std::size_t second = first; second < stream.bytes.size(); ++second) {
        for (const double firstDelay : kDelays) {
          for (const double secondDelay : kDelays) {
            auto pauses = FramePauses(stream, framePause);
            pauses[first] += firstDelay;
            if (second != first) pauses[second] += secondDelay;
            Reader reader(loop);
            reader.Feed(stream.bytes, pauses);
            ASSERT_EQ(reader.frames, stream.frames)
                << "cut at " << first << " for " << firstDelay << " ms and at " << second << " for "
                << secondDelay << " ms, frames " << framePause << " ms apart";
            if (second == first) break;
          }
        }
      }
    }
  }
}

TEST_P(EveryCut, LosesNoFrameOfAStreamThatComesByteByByte) {
  const Stream stream(GetParam());
  for (const double framePause : kFramePauses) {
    for (const double delay : kDelays) {
      auto pauses = FramePauses(stream, framePause);
      for (std::size_t i = 1; i < stream.bytes.size(); ++i) pauses[i] += delay;
      Reader reader(loop);
      reader.Feed(stream.bytes, pauses);
      EXPECT_EQ(reader.frames, stream.frames)
          << delay << " ms, frames " << framePause << " ms apart";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Trailers, EveryCut, ::testing::ValuesIn(kTrailers));

// Pieces of one frame's length that each end inside a frame: something is held back all the time,
// but never the same bytes.
TEST_F(ReceiveBufferTest, LosesNoFrameOfALineThatIsNeverQuiet) {
  const Stream stream("");
  std::string bytes;
  for (int i = 0; i < 100; ++i) bytes += stream.bytes;
  Reader reader(loop);
  std::map<std::size_t, double> pauses;
  for (std::size_t i = 16; i < bytes.size(); i += 17) pauses[i] = 17;
  reader.Feed(bytes, pauses);
  EXPECT_EQ(reader.frames.size(), 300U);
}

// A buffer that has nothing to show but garbage, and when it shows it.
class Garbage : public ReceiveBufferTest {
 protected:
  Garbage() {
    buffer.Threshold(kThreshold);
    buffer.EndCharacter('\r');
    buffer.Arrived(std::string(15, 'x'));
  }

  double shownAt = -1;
  ReceiveBuffer buffer{loop, [this] {
                         if (shownAt < 0) shownAt = loop.Now();
                       }};
};

TEST_F(Garbage, ShowsOnceTheLineIsQuiet) {
  loop.Advance(5000);
  EXPECT_EQ(shownAt, -1) << "less than a threshold's worth";
  buffer.Arrived("x");
  loop.Advance(5000);
  EXPECT_EQ(shownAt, 5000 + ReceiveBuffer::kQuietFloor);
  EXPECT_EQ(buffer.Readable(), 16);
}

TEST_F(Garbage, ShowsLaterOnASlowLine) {
  buffer.CharacterTime(90);
  buffer.Arrived("x");
  loop.Advance(5000);
  EXPECT_EQ(shownAt, 4 * 90);
}

TEST_F(Garbage, ShowsAlsoWhenItNeverPauses) {
  for (int i = 0; i < 100; ++i) {
    buffer.Arrived("x");
    loop.Advance(10);
  }
  EXPECT_EQ(shownAt, ReceiveBuffer::kQuietFloor * ReceiveBuffer::kHoldFactor);
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

TEST_F(ReceiveBufferTest, WhatArrivedInsideAHandlerThatTookNothingIsAnnouncedBehindIt) {
  int events = 0;
  int depth = 0;
  ReceiveBuffer buffer(loop, [&] {
    EXPECT_EQ(++depth, 1);
    if (++events == 1) buffer.Arrived("more");
    --depth;
  });
  buffer.Arrived("some");
  EXPECT_EQ(events, 2);
}

TEST_F(ReceiveBufferTest, AHandlerThatFailsDoesNotCostTheFramesBehind) {
  std::string taken;
  ReceiveBuffer buffer(loop, [&] {
    taken += *buffer.Read();
    if (taken == "a") throw std::runtime_error("first");
  });
  EXPECT_THROW(buffer.Arrived("abc"), std::runtime_error);
  EXPECT_EQ(taken, "abc");
  buffer.Arrived("d");
  EXPECT_EQ(taken, "abcd");
}

TEST_F(ReceiveBufferTest, MayBeDestroyedInsideItsAnnouncement) {
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
