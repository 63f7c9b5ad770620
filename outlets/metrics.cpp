#include "outlets/metrics.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/utf8.hpp"

namespace tarn {
namespace {

constexpr double kMilliseconds = 1000;

/// Consecutive rows of one name are one metric. The other rows of a metric leave the help out.
struct CounterRow {
  std::string_view name;
  std::string_view help;
  std::uint64_t LineCounters::*member;
  std::string_view label = {};
  std::string_view value = {};
};
constexpr std::array kCounterRows = {
    CounterRow{"bytes_received_total", "Bytes that came over the line.", &LineCounters::bytesIn},
    CounterRow{"bytes_sent_total", "Bytes that went out over the line.", &LineCounters::bytesOut},
    CounterRow{"frames_total", "Whole frames, lines or messages of the terminal.",
               &LineCounters::frames},
    CounterRow{"rejected_frames_total", "Frames that were no reading, by the reason.",
               &LineCounters::rejectedLength, "reason", "length"},
    CounterRow{"rejected_frames_total", "", &LineCounters::rejectedParse, "reason", "parse"},
    CounterRow{"rejected_frames_total", "", &LineCounters::rejectedOverflow, "reason", "overflow"},
    CounterRow{"rejected_frames_total", "", &LineCounters::rejectedTimeout, "reason", "timeout"},
    CounterRow{"port_errors_total", "Errors of characters that the port has counted, by kind.",
               &LineCounters::parityErrors, "kind", "parity"},
    CounterRow{"port_errors_total", "", &LineCounters::framingErrors, "kind", "framing"},
    CounterRow{"port_errors_total", "", &LineCounters::overrunErrors, "kind", "overrun"},
    CounterRow{"reopens_total", "Links that broke and were connected again.",
               &LineCounters::reopenings},
    CounterRow{"commands_total", "Commands sent to the terminal.", &LineCounters::commandsSent},
    CounterRow{"commands_answered_total",
               "Commands that the terminal has answered, where its dialect has answers.",
               &LineCounters::commandsAnswered},
};
static_assert(kCounterRows.size() == kLineCounters.size(), "each counter of a line has a row");

using Value = std::optional<double>;

/// A row whose value is nothing leaves its scale out.
struct ScaleRow {
  std::string_view name;
  std::string_view type;
  std::string_view help;
  Value (*value)(const ScaleFigures& scale);
  bool hasUnit = false;
};

bool IsLive(const ScaleState& state) {
  return state.reading.quality == Quality::Good;
}

Value AgeOf(const ScaleState& state) {
  if (!state.enabled || !state.reading.age) return std::nullopt;
  return std::round(*state.reading.age) / kMilliseconds;
}

/// Nothing is better than an old weight, or one beyond the scale's range: it would be drawn and
/// added up like any other.
Value NetOf(const ScaleState& state) {
  if (!state.enabled || !IsLive(state) || !IsValidWeight(state.reading)) return std::nullopt;
  return ShownNumber(state.reading.net);
}

constexpr std::array kScaleRows = {
    ScaleRow{"enabled", "gauge", "Whether the scale is enabled.",
             [](const ScaleFigures& scale) -> Value { return scale.state.enabled ? 1 : 0; }},
    ScaleRow{"up", "gauge", "Whether the reading of an enabled scale is good: 1 yes, 0 no.",
             [](const ScaleFigures& scale) -> Value {
               if (!scale.state.enabled) return std::nullopt;
               return IsLive(scale.state) ? 1 : 0;
             }},
    ScaleRow{"reading_age_seconds", "gauge", "Time since the last byte of the latest reading.",
             [](const ScaleFigures& scale) { return AgeOf(scale.state); }},
    ScaleRow{"readings_per_second", "gauge", "How often readings come at present.",
             [](const ScaleFigures& scale) -> Value {
               if (!scale.state.enabled) return std::nullopt;
               return scale.state.readingsPerSecond;
             }},
    ScaleRow{"net_weight", "gauge", "The net weight, while it is live and a number.",
             [](const ScaleFigures& scale) { return NetOf(scale.state); }, true},
    ScaleRow{"weighings_total", "counter", "Print records and records of fields.",
             [](const ScaleFigures& scale) -> Value {
               return static_cast<double>(scale.weighings.kept);
             }},
    ScaleRow{"refused_weighings_total", "counter", "Weighings that could not be kept.",
             [](const ScaleFigures& scale) -> Value {
               return static_cast<double>(scale.weighings.refused);
             }},
};

/// A text of any bytes as the value of a label. Control characters that the format has no escape
/// for become U+FFFD, since some readers end a text at them.
std::string Escaped(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const char32_t c = TakeCodePoint(text);
    const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
    if (c == U'\n') {
      escaped += "\\n";
    } else {
      if (c == U'"' || c == U'\\') escaped += '\\';
      AppendCodePoint(escaped, isControl ? 0xFFFD : c);
    }
  }
  return escaped;
}

class MetricsWriter {
 public:
  explicit MetricsWriter(std::span<const ScaleFigures> scales) : scales_(scales) {
    for (const ScaleFigures& scale : scales) {
      labels_.push_back("scale=\"" + std::to_string(scale.state.scale) + "\",alias=\"" +
                        Escaped(scale.state.alias) + "\"");
    }
  }

  void Add(const CounterRow& row) {
    if (!row.help.empty()) Begin("tarnscale_", row.name, "counter", row.help);
    const std::string more =
        row.label.empty() ? ""
                          : "," + std::string(row.label) + "=\"" + std::string(row.value) + "\"";
    for (std::size_t i = 0; i < scales_.size(); ++i)
      AddSample(labels_[i] + more, scales_[i].state.counters.*row.member);
  }

  void Add(const ScaleRow& row) {
    Begin("tarnscale_", row.name, row.type, row.help);
    for (std::size_t i = 0; i < scales_.size(); ++i) {
      const Value value = row.value(scales_[i]);
      if (!value) continue;
      const std::string unit = Escaped(scales_[i].state.reading.units);
      AddSample(labels_[i] + (row.hasUnit ? ",unit=\"" + unit + "\"" : ""), *value);
    }
  }

  void Begin(std::string_view prefix, std::string_view name, std::string_view type,
             std::string_view help) {
    name_ = std::string(prefix) + std::string(name);
    text_ += "# HELP " + name_ + " " + std::string(help) + "\n";
    text_ += "# TYPE " + name_ + " " + std::string(type) + "\n";
  }

  template <class Number>
  void AddSample(std::string_view labels, Number value) {
    text_ += name_;
    if (!labels.empty()) text_.append("{").append(labels).append("}");
    text_ += ' ';
    std::array<char, 32> digits{};
    text_.append(digits.data(),
                 std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
    text_ += '\n';
  }

  template <class Number>
  void AddOne(std::string_view name, std::string_view type, std::string_view help,
              const std::optional<Number>& value) {
    if (!value) return;
    Begin("", name, type, help);
    AddSample("", *value);
  }

  std::string Take() { return std::move(text_); }

 private:
  std::span<const ScaleFigures> scales_;
  std::vector<std::string> labels_;
  std::string name_;
  std::string text_;
};

void AddProgram(MetricsWriter& writer, const ProgramFigures& program) {
  writer.Begin("tarnscale_", "clients", "gauge", "Connections of readers, by what they hold.");
  writer.AddSample("kind=\"events\"", program.eventReaders);
  writer.AddSample("kind=\"requests\"",
                   program.connections - std::min(program.connections, program.eventReaders));
  writer.Begin("tarnscale_", "timer_delay_seconds", "gauge",
               "The longest delay of a timer in the last minute.");
  writer.AddSample("", std::round(program.timerDelay) / kMilliseconds);
  writer.Begin("tarnscale_", "build_info", "gauge", "Always 1; the label says which version runs.");
  writer.AddSample("version=\"" + Escaped(program.version) + "\"", 1);
  const ProcessFacts& facts = program.process;
  writer.AddOne("process_cpu_seconds_total", "counter", "Processor time of all threads.",
                facts.cpuSeconds);
  writer.AddOne("process_resident_memory_bytes", "gauge", "Memory in use.", facts.residentBytes);
  writer.AddOne("process_open_fds", "gauge", "Open files, ports and sockets.",
                facts.openDescriptors);
  writer.AddOne("process_start_time_seconds", "gauge", "When the program started, since 1970.",
                facts.startedAt);
}

}  // namespace

std::string MetricsText(std::span<const ScaleFigures> scales, const ProgramFigures& program) {
  MetricsWriter writer(scales);
  for (const ScaleRow& row : kScaleRows) writer.Add(row);
  for (const CounterRow& row : kCounterRows) writer.Add(row);
  AddProgram(writer, program);
  return writer.Take();
}

}  // namespace tarn
