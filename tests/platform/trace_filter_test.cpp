#include "platform/trace_filter.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn {
namespace {

TEST(TraceFilter, AFaultThatRepeatsShowsOnceAndAgainAfterAWhile) {
  std::vector<std::string> traces;
  TraceFilter filter([&](std::string_view text) { traces.emplace_back(text); });
  for (int reading = 0; reading < 1000; ++reading) filter("the disk is full", reading * 100.0);
  filter("the port went away", 5000);
  EXPECT_EQ(traces, (std::vector<std::string>{"the disk is full", "the port went away"}));
  filter("the disk is full", TraceFilter::kQuietTime + 1);
  EXPECT_EQ(traces.size(), 3U);
}

TEST(TraceFilter, RemembersABoundedNumberOfTexts) {
  std::size_t traced = 0;
  TraceFilter filter([&](std::string_view) { ++traced; });
  for (std::size_t i = 0; i <= TraceFilter::kRemembered; ++i) filter(std::to_string(i), 0);
  for (int again = 0; again < 2; ++again) filter("0", 0);  // forgotten when the table was full
  EXPECT_EQ(traced, TraceFilter::kRemembered + 2);
}

}  // namespace
}  // namespace tarn
