// What the trace lets pass.
#include "platform/trace_filter.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tarn {
namespace {

using ::testing::ElementsAre;

class TraceFilterTest : public ::testing::Test {
 protected:
  std::vector<std::string> traces;
  TraceFilter filter{[this](std::string_view text) { traces.emplace_back(text); }};
};

TEST_F(TraceFilterTest, AFaultThatRepeatsShowsOnceAndAgainAfterAWhile) {
  for (int reading = 0; reading < 1000; ++reading) filter("the disk is full", reading * 100.0);
  filter("no\r\nforged \x1b[2J\xC2\x9Bline", 5000);
  EXPECT_THAT(traces, ElementsAre("the disk is full", "no??forged ?[2J?line"));
  filter("the disk is full", TraceFilter::kQuietTime + 1);
  EXPECT_EQ(traces.size(), 3U);
  for (int i = 0; i < 2; ++i) filter.News("the port is back", TraceFilter::kQuietTime + 2);
  EXPECT_EQ(traces.size(), 5U);
}

TEST_F(TraceFilterTest, TextsThatDifferAreBoundedByTheMinuteAndInMemory) {
  for (int length = 0; length < 6000; ++length) filter(std::to_string(length), length);
  EXPECT_EQ(traces.size(), static_cast<std::size_t>(TraceFilter::kLinesPerMinute));
  traces.clear();
  filter(std::string(100'000, 'x'), 60'000);
  filter("0", 60'001);
  EXPECT_THAT(traces, ElementsAre("5900 lines were left out here, there were too many in a minute",
                                  std::string(TraceFilter::kLongestText, 'x')));
  for (int i = 0; i < 300; ++i) filter("other " + std::to_string(i), 200'000.0 + i * 1000);
  filter("0", 600'000);
  EXPECT_EQ(traces.back(), "0") << "forgotten when the table was full";
}

}  // namespace
}  // namespace tarn
