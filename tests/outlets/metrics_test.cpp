// What monitoring systems get: figures and the answer whether all is well.
#include "outlets/metrics.hpp"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <set>

#include "outlets/health.hpp"
#include "outlets/http/monitoring.hpp"
#include "outlets/http/page_files.hpp"
#include "tests/fakes/fake_host.hpp"

namespace tarn {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

ScaleState Good(int number) {
  ScaleState state;
  state.scale = number;
  state.alias = "Gate";
  state.enabled = true;
  state.reading = {.gross = "12.50", .tare = "0.00", .net = "12.50", .units = "kg"};
  state.reading.quality = Quality::Good;
  state.reading.age = 250;
  return state;
}

std::string Metrics(const ScaleState& state) {
  const ScaleFigures scale{state, {.kept = 7, .refused = 1}};
  return MetricsText({&scale, 1}, {.version = "1.0.0"});
}

TEST(Metrics, LeaveOutWhatIsNotLive) {
  const std::string net = "tarnscale_net_weight{";
  const std::string age = "tarnscale_reading_age_seconds{";
  const std::string up = "tarnscale_up{scale=\"3\",alias=\"Gate\"} ";
  const struct {
    const char* name;
    std::function<void(ScaleState& state)> change;
    testing::Matcher<std::string> expected;
  } cases[] = {
      {"good", [](auto&) {},
       AllOf(HasSubstr(net + "scale=\"3\",alias=\"Gate\",unit=\"kg\"} 12.5\n"),
             HasSubstr(age + "scale=\"3\",alias=\"Gate\"} 0.25\n"), HasSubstr(up + "1\n"))},
      {"decimal comma", [](auto& s) { s.reading.net = "-0,5"; }, HasSubstr("unit=\"kg\"} -0.5\n")},
      {"stale", [](auto& s) { s.reading.quality = Quality::Stale; },
       AllOf(Not(HasSubstr(net)), HasSubstr(age), HasSubstr(up + "0\n"))},
      {"no quality", [](auto& s) { s.reading.quality.reset(); }, Not(HasSubstr(net))},
      {"no number", [](auto& s) { s.reading.net = "*******"; },
       AllOf(Not(HasSubstr(net)), HasSubstr(up + "1\n"))},
      {"over", [](auto& s) { s.reading.outOfRange = true; }, Not(HasSubstr(net))},
      {"no reading yet", [](auto& s) { s.reading.age.reset(); }, Not(HasSubstr(age))},
      {"disabled", [](auto& s) { s.enabled = false; },
       AllOf(Not(HasSubstr(up)), Not(HasSubstr(net)), Not(HasSubstr(age)),
             HasSubstr("tarnscale_enabled{scale=\"3\",alias=\"Gate\"} 0\n"),
             HasSubstr("tarnscale_weighings_total{scale=\"3\",alias=\"Gate\"} 7\n"))},
      {"any alias", [](auto& s) { s.alias = "a\"b\\c\nd\re\xFF"; },
       HasSubstr(R"(tarnscale_up{scale="3",alias="a\"b\\c\nd)"
                 "\uFFFDe\uFFFD\"} 1\n")},
      {"counters", [](auto& s) { s.counters = {.rejectedParse = 1ULL << 63U, .overrunErrors = 2}; },
       AllOf(HasSubstr("alias=\"Gate\",reason=\"parse\"} 9223372036854775808\n"),
             HasSubstr("alias=\"Gate\",kind=\"overrun\"} 2\n"))}};
  for (const auto& c : cases) {
    ScaleState state = Good(3);
    c.change(state);
    EXPECT_THAT(Metrics(state), c.expected) << c.name;
  }
}

class OneScale : public ScaleSource {
 public:
  std::vector<int> Scales() const override { return {3}; }
  std::optional<ScaleState> State(int scale) const override {
    return scale == 3 ? std::optional(state) : std::nullopt;
  }
  void Give(int /*scale*/, const ScaleCommand& /*command*/, double /*tare*/,
            const OnDone& /*done*/) override {}

  void Become(Quality quality, ConditionReason reason = ConditionReason::None) {
    state.enabled = reason != ConditionReason::Disabled;
    state.reading.quality = quality;
    state.reading.reason = ReasonName(reason);
    ScaleEvent event;
    event.kind = ScaleEvent::Kind::Condition;
    event.scale = 3;
    event.reading = state.reading;
    Happened.Raise(event);
  }

  ScaleState state = Good(3);
};

TEST(Health, IsLostWhenAFaultOutlastsTheGraceAndWhateverItsReasonBecomes) {
  using enum ConditionReason;
  FakeHost host;
  OneScale source;
  HealthWatch watch(host.loop, source);
  const auto after = [&](double milliseconds) {
    host.loop.Advance(milliseconds);
    return IsHealthy(watch.Faults(), 30'000) ? "healthy" : "unhealthy";
  };
  EXPECT_EQ(after(60'000), std::string("healthy"));
  source.state.reading.quality = Quality::Stale;
  EXPECT_EQ(after(60'000), std::string("healthy")) << "without an event it counts from now on";
  EXPECT_EQ(after(30'000), std::string("unhealthy"));
  source.state.enabled = false;
  EXPECT_EQ(after(0), std::string("healthy"));
  const struct {
    Quality quality;
    ConditionReason reason;
    std::string at29;
    std::string at30;
  } steps[] = {{Quality::Stale, NoByte, "healthy", "unhealthy"},
               {Quality::Error, PortGone, "unhealthy", "unhealthy"},
               {Quality::Good, None, "healthy", "healthy"},
               {Quality::Error, PortGone, "healthy", "unhealthy"},
               {Quality::Off, Disabled, "healthy", "healthy"},
               {Quality::Stale, Waiting, "healthy", "unhealthy"}};
  for (const auto& step : steps) {
    source.Become(step.quality, step.reason);
    EXPECT_EQ(after(29'999), step.at29) << ReasonName(step.reason);
    EXPECT_EQ(after(1), step.at30) << ReasonName(step.reason);
  }
  EXPECT_EQ(HealthJson(watch.Faults(), 30'000),
            R"({"status":"unhealthy","graceSeconds":30.0,"scales":[{"scale":3,"alias":"Gate",)"
            R"("quality":"stale","reason":"","reasonCode":"Waiting","sinceSeconds":30.0}]})");
}

TEST(TimerDelay, IsTheLongestOfTheLastMinute) {
  FakeHost host;
  http::TimerDelay delay(host.loop);
  host.loop.Advance(10'000);
  EXPECT_EQ(delay.Longest(), 0);
  host.loop.ComeLate(1450);
  host.loop.Advance(1000);
  EXPECT_EQ(delay.Longest(), 450);
  EXPECT_EQ(delay.Latest(), 0) << "the next one comes in time again";
  host.loop.Advance(60'000);
  EXPECT_EQ(delay.Longest(), 450);
  host.loop.Advance(60'000);
  EXPECT_EQ(delay.Longest(), 0);
}

TEST(Description, HasEveryRouteAndNoOther) {
  FakeHost host;
  OneScale source;
  RecentWeighings book;
  AuditLog audit(
      host, [] { return WallTime(); }, "");
  http::Api api({host.loop, source, book, audit, [] { return WallTime(); }, {}});
  const http::Monitoring monitoring(
      api, {host.loop, source, book, [] { return std::size_t{0}; }, "1.0.0", 0});
  std::set<std::string> routes;
  for (const auto& route : api.Routes()) routes.insert(route.method + " " + route.path);
  std::set<std::string> described;
  for (const http::PageFile& file : http::PageFiles()) {
    const bool isDescription = file.path == "/api/openapi.json";
    if (!isDescription && file.path != "/") routes.erase("GET " + std::string(file.path));
    if (!isDescription) continue;
    const auto document = nlohmann::json::parse(file.bytes);
    for (const auto& [path, operations] : document.at("paths").items()) {
      const std::string method = operations.contains("get") ? "GET " : "POST ";
      const auto mark = path.find("{command}");
      if (mark == path.npos) described.insert(method + path);
      if (mark == path.npos) continue;
      for (const auto& command : operations.at("parameters").at(1).at("schema").at("enum"))
        described.insert(method + path.substr(0, mark) + command.get<std::string>());
    }
  }
  EXPECT_EQ(routes, described);
}

}  // namespace
}  // namespace tarn
