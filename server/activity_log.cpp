#include "server/activity_log.hpp"

#include <exception>
#include <thread>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "platform/utf8.hpp"

namespace tarn {

std::string LogLine(const UserLocale& locale, std::string_view alias, const PrintData& print) {
  const std::string decimal = locale.DecimalSeparator();
  std::string line;
  const auto quoted = [&line](std::string_view text) { line += '"' + Printable(text) + '"'; };
  const auto number = [&](double value) { line += GeneralNumberText(value, decimal); };

  quoted(locale.DateText());
  line += ',';
  quoted(locale.TimeText());
  line += ',';
  quoted(alias);
  line += ',';
  number(print.GrossWeightValue());
  line += ',';
  number(print.TareWeightValue());
  line += ',';
  number(print.NetWeightValue());
  line += ',';
  quoted(print.Units());
  return line;
}

void ActivityLog::Open(std::string name) {
  missing_ = std::move(name);
  stream_.reset();
  TryAgain();
}

void ActivityLog::Reopen(const std::string& name) {
  std::shared_ptr<TextStream> anew = files_.OpenForAppending(name);
  const auto former = std::exchange(stream_, nullptr);
  Stream(std::move(anew));
  if (!former) return;
  std::thread([former] {
    try {
      former->Close();
    } catch (const std::exception&) {
      // Its lines were handed to the system when they were written.
    }
  }).detach();
}

void ActivityLog::TryAgain() {
  if (missing_) Stream(files_.OpenForAppending(*missing_));
}

void ActivityLog::Stream(std::shared_ptr<TextStream> stream) {
  if (stream && storeEachLine_) stream->StoreEachLine();
  stream_ = std::move(stream);
  missing_.reset();
}

void ActivityLog::Write(const UserLocale& locale, std::string_view alias, const PrintData& print) {
  if (!enabled_) return;
  TryAgain();
  const auto stream = stream_;
  Required(stream, "The activity log is not open").WriteLine(LogLine(locale, alias, print));
}

void ActivityLog::Close() {
  missing_.reset();
  const auto stream = std::exchange(stream_, nullptr);
  if (stream) stream->Close();
}

}  // namespace tarn
