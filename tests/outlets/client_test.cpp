// What one tarnscale knows of another: the stream of events, cut anywhere, and what becomes of the
// scales when the connection breaks.
#include "outlets/client/remote_source.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/fakes/fake_host.hpp"

namespace tarn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(EventStreamReader, FindsTheSameEventsHoweverTheStreamIsCut) {
  const std::string tooLong(EventStreamReader::kLongestEvent + 1, 'x');
  const std::string stream =
      "retry: 2000\n\n: a comment\nevent: weight\r\ndata: {\"a\":1}\n\n"
      "id: 7\ndata:two\ndata: lines\n\nevent: nothing\n\ndata: cut off";
  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    std::vector<std::string> seen;
    EventStreamReader reader(
        [&](const auto& event) { seen.push_back(event.name + event.id + event.data); });
    reader.Take(stream.substr(0, cut));
    reader.Take(stream.substr(cut));
    ASSERT_THAT(seen, ElementsAre("weight{\"a\":1}", "message7two\nlines")) << cut;
    if (cut > 0) continue;
    reader.Take("\n\ndata: " + tooLong + "\n\ndata: next\n\n");
    EXPECT_THAT(seen.back(), "messagenext");
    EXPECT_EQ(seen.size(), 4U);
  }
}

/// Answers when the test says so.
class FakeHttp final : public HttpClient {
 public:
  struct Call {
    std::string what;
    OnBytes onBytes;
    OnReply onReply;
  };
  explicit FakeHttp(std::vector<Call>& calls) : calls_(calls) {}

  std::unique_ptr<HttpTransfer> Get(const std::string& path, OnReply onReply) override {
    return Begin({"GET " + path, {}, std::move(onReply)});
  }
  std::unique_ptr<HttpTransfer> Post(const std::string& path, std::string body,
                                     OnReply onReply) override {
    return Begin({"POST " + path + " " + body, {}, std::move(onReply)});
  }
  std::unique_ptr<HttpTransfer> Stream(const std::string& path, OnBytes onBytes,
                                       OnReply onEnd) override {
    return Begin({"STREAM " + path, std::move(onBytes), std::move(onEnd)});
  }

 private:
  std::unique_ptr<HttpTransfer> Begin(Call call) {
    calls_.push_back(std::move(call));
    return std::make_unique<HttpTransfer>();
  }
  std::vector<Call>& calls_;
};

TEST(RemoteSource, ShowsNoWeightAsLiveWithoutItsServerAndComesBack) {
  FakeHost host;
  std::vector<FakeHttp::Call> calls;
  ScaleState known;
  known.scale = 3;
  known.alias = "Gate";
  known.enabled = true;
  known.reading = {.gross = "12.50", .tare = "0.00", .net = "12.50", .units = "kg"};
  known.reading.quality = Quality::Good;
  known.reading.age = 40;
  const HttpReply scales{.status = 200, .body = "[" + WeightJson(known) + "]", .error = {}};
  const auto answer = [&calls](const HttpReply& reply) {
    const auto onReply = calls.back().onReply;
    onReply(reply);
  };
  RemoteSource source(host.loop, std::make_unique<FakeHttp>(calls), [] { return WallTime(); });
  int happened = 0;
  const auto onEvent = source.Happened.Subscribe([&](const ScaleEvent&) { ++happened; });
  ASSERT_EQ(calls.back().what, "GET /api/scales");
  answer(scales);
  ASSERT_EQ(calls.back().what, "STREAM /api/events?as=run");
  EXPECT_TRUE(source.IsConnected());
  EXPECT_THAT(source.Scales(), ElementsAre(3));
  host.loop.Advance(60);
  EXPECT_EQ(source.State(3)->reading.age, 100);

  ScaleEvent event;
  event.scale = 3;
  event.reading = known.reading;
  event.reading.net = "13.00";
  calls.back().onBytes("data: " + EventJson(event) + "\n\ndata: no event\n\n");
  EXPECT_EQ(happened, 1);
  EXPECT_EQ(source.State(3)->reading.net, "13.00");
  EXPECT_FALSE(source.State(3)->reading.IsOld());

  // The words of an error reply reach the operator, and so does a lost connection.
  CommandResult result;
  const auto take = [&](const CommandResult& r) { result = r; };
  source.Give(3, *FindCommand("SetTare"), 2.5, take);
  EXPECT_EQ(calls.back().what, "POST /api/scales/3/preset-tare {\"tare\":2.5}");
  answer({.status = 409, .body = R"({"error":"it is disabled"})", .error = {}});
  EXPECT_EQ(result.status, CommandResult::Status::Refused);
  EXPECT_EQ(result.words, "it is disabled");

  const auto end = calls[1].onReply;
  end({.status = 0, .body = {}, .error = "gone"});
  EXPECT_FALSE(source.IsConnected());
  EXPECT_TRUE(source.State(3)->reading.IsOld());
  EXPECT_THAT(source.State(3)->reading.conditionWords, HasSubstr("any more"));
  // It tries again after 1, 2, 4 ... 30 s.
  for (const int pause : {1, 2, 4, 8, 16, 30, 30}) {
    const std::size_t before = calls.size();
    host.loop.Advance(pause * 1000 - 1);
    EXPECT_EQ(calls.size(), before) << pause;
    host.loop.Advance(1);
    ASSERT_EQ(calls.size(), before + 1) << pause;
    answer({.status = 200, .body = "[{}]", .error = {}});
  }
  host.loop.Advance(30'000);
  answer(scales);
  EXPECT_FALSE(source.State(3)->reading.IsOld());
}

}  // namespace
}  // namespace tarn
