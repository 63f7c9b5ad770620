#include "tools/tarnscale/monitor_view.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string_view>

#include "base/number_text.hpp"
#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {
namespace {

constexpr std::size_t kLeastEvents = 3;
constexpr std::size_t kShortestAlias = 5;
constexpr std::size_t kLongestAlias = 20;
constexpr std::string_view kKeys =
    "? help  q quit  j/k row  z zero  t tare  c clear  s preset tare  p print";

struct Column {
  std::string_view title;
  std::size_t width;
  Align align;
  int keep;  ///< the column with the lowest number goes first when the screen is narrow
  std::string (*text)(const MonitorRow& row);
};

/// Without a weight there is no range either.
std::string State(const MonitorRow& row) {
  if (!row.condition.empty()) return row.condition;
  Reading reading = row.reading;
  if (reading.net == "N/A") reading.outOfRange = false;
  return StateText(reading);
}

std::string Lamps(const MonitorRow& row) {
  return std::string(row.activityLed ? "active" : "      ") + (row.errorLed ? " ERR" : "    ");
}

std::string Rate(const MonitorRow& row) {
  const double rounded = RoundHalfEven(row.readingsPerSecond * 10) / 10;
  return rounded == 0 ? "" : FormatNumber(rounded, "0.0");
}

/// In parentheses where it is not live: an old weight must never be taken for the present one.
std::string Shown(const MonitorRow& row, const std::string& weight) {
  const bool isText = weight.empty() || weight == kNoDataText || weight == "N/A";
  return isText || !row.reading.IsOld() ? weight : "(" + weight + ")";
}

constexpr std::array kColumns = {
    Column{"#", 2, Align::Right, 10, [](const MonitorRow& r) { return std::to_string(r.number); }},
    Column{"Alias", kShortestAlias, Align::Left, 8, [](const MonitorRow& r) { return r.alias; }},
    Column{"Connection", 18, Align::Left, 2, [](const MonitorRow& r) { return r.connection; }},
    Column{"Protocol", 21, Align::Left, 1, [](const MonitorRow& r) { return r.protocol; }},
    Column{"Gross", 9, Align::Right, 6,
           [](const MonitorRow& r) { return Shown(r, r.reading.gross); }},
    Column{"Tare", 9, Align::Right, 5,
           [](const MonitorRow& r) { return Shown(r, r.reading.tare); }},
    Column{"Net", 9, Align::Right, 9, [](const MonitorRow& r) { return Shown(r, r.reading.net); }},
    Column{"unit", 4, Align::Left, 7, [](const MonitorRow& r) { return r.reading.units; }},
    Column{"State", 13, Align::Left, 9, State},
    Column{"Lamps", 10, Align::Left, 4, Lamps},
    Column{"/s", 6, Align::Right, 3, Rate},
};

/// In front of the first column stands the mark of the selected row, between two columns a blank.
std::size_t TableWidth(const std::vector<Column>& columns) {
  std::size_t width = 0;
  for (const Column& column : columns) width += 1 + column.width;
  return width;
}

std::size_t AliasWidth(const std::vector<MonitorRow>& rows) {
  std::size_t width = kShortestAlias;
  for (const MonitorRow& row : rows) width = std::max(width, DisplayWidth(row.alias));
  return std::min(width, kLongestAlias);
}

std::vector<Column> ColumnsFor(const std::vector<MonitorRow>& rows, std::size_t screenWidth) {
  std::vector<Column> columns(kColumns.begin(), kColumns.end());
  for (Column& column : columns) {
    if (column.title == "Alias") column.width = AliasWidth(rows);
  }
  const auto leastNeeded = [](const Column& a, const Column& b) { return a.keep < b.keep; };
  while (columns.size() > 1 && TableWidth(columns) > screenWidth) {
    columns.erase(std::min_element(columns.begin(), columns.end(), leastNeeded));
  }
  return columns;
}

template <class CellText>
std::string TableLine(const std::vector<Column>& columns, bool selected, CellText cellText) {
  std::string line;
  for (const Column& column : columns) {
    line += line.empty() && selected ? '>' : ' ';
    line += Fit(Printable(cellText(column)), column.width, column.align);
  }
  return line;
}

/// The first row that is shown so that the selected one is among them.
std::size_t FirstRow(const MonitorSnapshot& snapshot, std::size_t shown) {
  const std::size_t count = snapshot.rows.size();
  if (count <= shown) return 0;
  const std::size_t half = shown / 2;
  const std::size_t first = snapshot.selected > half ? snapshot.selected - half : 0;
  return std::min(first, count - shown);
}

class MonitorDrawing {
 public:
  MonitorDrawing(const MonitorSnapshot& snapshot, Console::Size size)
      : snapshot_(snapshot),
        width_(static_cast<std::size_t>(std::max(size.columns, 1))),
        height_(static_cast<std::size_t>(std::max(size.rows, 1))) {}

  Drawing Draw() {
    const std::string last = snapshot_.prompt.empty() ? std::string(kKeys) : snapshot_.prompt;
    if (!snapshot_.help.empty()) {
      DrawHelp();
      Add("any key goes back");
      return std::move(drawing_);
    }
    if (height_ > 3) {
      Add("");
      DrawTable();
      DrawDetail();
      DrawEvents();
      drawing_.lines.front() = Cut(Title());
    }
    Add(Printable(last));
    return std::move(drawing_);
  }

 private:
  std::string Cut(const std::string& line) const {
    return DisplayWidth(line) > width_ ? Fit(line, width_) : line;
  }
  void Add(const std::string& line) { drawing_.lines.push_back(Cut(line)); }

  void DrawHelp() {
    for (const std::string& line : snapshot_.help) {
      if (drawing_.lines.size() + 1 < height_) Add(line);
    }
    while (drawing_.lines.size() + 1 < height_) Add("");
  }

  /// How many rows are to be seen, and how many scales are in trouble, seen or not.
  std::string Title() const {
    const std::size_t count = snapshot_.rows.size();
    const auto errors = std::count_if(snapshot_.rows.begin(), snapshot_.rows.end(),
                                      [](const MonitorRow& row) { return row.errorLed; });
    std::string text = Printable(snapshot_.title) + "   ";
    if (shown_ < count) text += std::to_string(shown_) + " of ";
    text += std::to_string(count) + (count == 1 ? " scale" : " scales");
    if (errors > 0) text += ", " + std::to_string(errors) + " with errors";
    return text;
  }

  void DrawTable() {
    const auto columns = ColumnsFor(snapshot_.rows, width_);
    Add(TableLine(columns, false, [](const Column& c) { return std::string(c.title); }));
    // Title, table, an empty line, the detail and another one, events, keys.
    const std::size_t detail = snapshot_.detail.empty() ? 0 : snapshot_.detail.size() + 1;
    const std::size_t others = 3 + detail + std::min(kLeastEvents, height_ / 4);
    const std::size_t room = height_ > others ? height_ - others : 1;
    const std::size_t shown = std::min(snapshot_.rows.size(), room);
    const std::size_t first = FirstRow(snapshot_, shown);
    shown_ = shown;
    for (std::size_t i = first; i < first + shown; ++i) {
      const bool selected = i == snapshot_.selected;
      if (selected) drawing_.selectedLine = drawing_.lines.size();
      const MonitorRow& row = snapshot_.rows[i];
      Add(TableLine(columns, selected, [&row](const Column& c) { return c.text(row); }));
    }
  }

  void DrawDetail() {
    if (snapshot_.detail.empty() || drawing_.lines.size() + 1 >= height_) return;
    Add("");
    for (const std::string& text : snapshot_.detail) {
      for (const std::string& line : Wrapped(text)) {
        if (drawing_.lines.size() + 1 < height_) Add(line);
      }
    }
  }

  /// A text on as many lines as it needs, those behind the first one indented.
  std::vector<std::string> Wrapped(const std::string& text) const {
    constexpr std::size_t kIndent = 10;  // behind the time of day
    std::vector<std::string> lines;
    std::string rest = Printable(text);
    while (DisplayWidth(rest) > width_ && width_ > 2 * kIndent) {
      const std::string line = Fit(rest, width_);
      const auto blank = line.rfind(' ');
      const std::size_t end = blank == line.npos || blank < line.size() / 2 ? line.size() : blank;
      lines.push_back(rest.substr(0, end));
      rest.erase(0, end);
      rest = std::string(kIndent, ' ') +
             rest.substr(std::min(rest.find_first_not_of(' '), rest.size()));
    }
    lines.push_back(rest);
    return lines;
  }

  /// The newest texts that find room, oldest first; of the first one perhaps only its beginning.
  std::vector<std::string> Newest(const std::vector<std::string>& texts, std::size_t count,
                                  std::size_t room) const {
    std::vector<std::string> lines;
    for (; count > 0 && lines.size() < room; --count) {
      auto wrapped = Wrapped(texts[count - 1]);
      wrapped.resize(std::min(wrapped.size(), room - lines.size()));
      lines.insert(lines.begin(), wrapped.begin(), wrapped.end());
    }
    return lines;
  }

  /// Fills the screen down to the last line, the newest event at the bottom of those shown.
  void DrawEvents() {
    const std::size_t room =
        height_ - 1 > drawing_.lines.size() ? height_ - 1 - drawing_.lines.size() : 0;
    if (room == 0) return;
    const std::size_t back = std::min(snapshot_.eventsBack, snapshot_.events.size());
    Add(back == 0 ? "" : "  (" + std::to_string(back) + " newer: press ])");
    const auto passing = Newest(snapshot_.passing, snapshot_.passing.size(), (room - 1) / 2);
    const auto events =
        Newest(snapshot_.events, snapshot_.events.size() - back, room - 1 - passing.size());
    for (const std::string& line : passing) Add(line);
    for (const std::string& line : events) Add(line);
    while (drawing_.lines.size() < height_ - 1) Add("");
  }

  const MonitorSnapshot& snapshot_;
  std::size_t width_;
  std::size_t height_;
  std::size_t shown_ = 0;  ///< rows
  Drawing drawing_;
};

}  // namespace

Drawing DrawMonitor(const MonitorSnapshot& snapshot, Console::Size size) {
  return MonitorDrawing(snapshot, size).Draw();
}

}  // namespace tarn::tool
