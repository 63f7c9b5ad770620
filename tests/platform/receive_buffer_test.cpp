// The receive side of a port, read by a real protocol, against every way in which a line may cut
// its bytes.
#include "platform/receive_buffer.hpp"

#include <map>
#include <stdexcept>

#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

/// So many milliseconds pass at each of these positions.
using Pauses = std::map<std::size_t, double>;

class ReceiveBufferTest : public ScaleFixture {
 protected:
  /// A frame of the continuous output that shows 123.0 to 123.9 kg net.
  static std::string Frame(int tenths) {
    return "\x02+0 00123" + std::to_string(tenths) + "000100\r";
  }

  /// The last digits of the weights that a scale shows.
  std::string ReadingsOf(std::string_view stream, const Pauses& pauses) {
    readings.clear();
    std::size_t start = 0;
    for (const auto& [position, milliseconds] : pauses) {
      Port().Deliver(stream.substr(start, position - start));
      host.loop.Advance(milliseconds);
      start = position;
    }
    Port().Deliver(stream.substr(start));
    Port().ClearInput();
    return readings;
  }

  void SetUp() override {
    scale = NewSerialScale("TarnContinuousProtocol");
    scale->RunScale();
    scale->ActivityTimer()->TimeoutTime(1'000'000'000);  // silence is no event here
    subscription = scale->WeightData()->NewWeight.Subscribe([this] {
      const auto& record = *scale->WeightData();
      if (!record.NoDataError()) readings += record.NetWeight().back();
    });
  }

  std::shared_ptr<TarnScale> scale;
  std::string readings;
  Subscription subscription;
};

/// Behind each CR nothing, a checksum, or one that looks like an end or a start of a frame.
TEST_F(ReceiveBufferTest, NoCutLosesAFrame) {
  for (const std::string trailer : {"", "k", "\r", "\x02"}) {
    const std::string stream = Frame(1) + trailer + Frame(2) + trailer + Frame(3) + trailer;
    const std::size_t length = stream.size() / 3;
    for (const Pauses& between : {Pauses{}, Pauses{{length, 100}, {2 * length, 100}}}) {
      Pauses eachByte = between;
      for (std::size_t i = 1; i < stream.size(); ++i) eachByte[i] += 16;
      EXPECT_EQ(ReadingsOf(stream, eachByte), "123");
      for (std::size_t first = 1; first < stream.size(); ++first) {
        for (std::size_t second = first; second < stream.size(); ++second) {
          for (const double delay : {0, 16}) {  // an adapter's packets come every 16 ms
            Pauses pauses = between;
            pauses[first] += delay;
            pauses[second] += 16;
            ASSERT_EQ(ReadingsOf(stream, pauses), "123") << first << ", " << second;
          }
        }
      }
    }
  }
}

// Pieces of one frame's length that each end inside a frame: something is held back all the time,
// but never the same bytes.
TEST_F(ReceiveBufferTest, LosesNoFrameOfALineThatIsNeverQuiet) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) bytes += Frame(1);
  Pauses pauses;
  for (std::size_t i = 16; i < bytes.size(); i += 17) pauses[i] = 17;
  EXPECT_EQ(ReadingsOf(bytes, pauses), std::string(300, '1'));
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
    const double start = host.loop.Now();
    double shownAt = -1;
    ReceiveBuffer buffer(host.loop, [&] {
      if (shownAt < 0) shownAt = host.loop.Now() - start;
    });
    buffer.Threshold(16);
    buffer.EndCharacter('\r');
    buffer.CharacterTime(c.characterTime);
    buffer.Arrived("half a frame");
    buffer.Clear();
    buffer.Arrived(std::string(15, 'x'));
    for (int i = 0; i < c.more; ++i) {
      if (i > 0) host.loop.Advance(10);
      buffer.Arrived("x");
    }
    host.loop.Advance(5000);
    EXPECT_EQ(shownAt, c.shownAt) << c.more;
  }
}

TEST_F(ReceiveBufferTest, KeepsTheNewestBytesWhenNobodyReads) {
  for (const bool withEnd : {false, true}) {
    ReceiveBuffer buffer(host.loop, [] {});
    if (withEnd) buffer.EndCharacter('\r');
    for (int i = 0; i < 50; ++i) {
      buffer.Arrived(std::string(ReceiveBuffer::kMaxWaiting / 20 + 1, 'x'));
      EXPECT_GE(buffer.Readable(), 0);
    }
    buffer.Arrived("new\r");
    EXPECT_EQ(buffer.Readable(), static_cast<std::int32_t>(ReceiveBuffer::kMaxWaiting));
    std::string last;
    while (const auto c = buffer.Read()) last += *c;
    EXPECT_TRUE(last.ends_with("xnew\r"));
  }
}

TEST_F(ReceiveBufferTest, AHandlerMayFailDeliverMoreOrDestroyTheBuffer) {
  std::string taken;
  int depth = 0;
  ReceiveBuffer failing(host.loop, [&] {
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
    buffer = std::make_unique<ReceiveBuffer>(host.loop, [&] {
      ++events;
      buffer.reset();
    });
    buffer->EndCharacter('\r');
    buffer->Arrived(bytes);
    host.loop.Advance(1000);
    EXPECT_EQ(events, 1);
  }
}

}  // namespace
}  // namespace tarn
