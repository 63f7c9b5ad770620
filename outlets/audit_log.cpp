#include "outlets/audit_log.hpp"

#include <chrono>
#include <fstream>
#include <stdexcept>

#include "platform/utf8.hpp"

namespace tarn {
namespace {

constexpr double kMinute = 60'000;

bool AppendTo(const std::string& file, std::string_view bytes) {
  std::ofstream stream(file, std::ios::app | std::ios::binary);
  stream << bytes;
  stream.close();
  return stream.good();
}

}  // namespace

AuditLog::AuditLog(Host& host, WallClock clock, const std::string& file)
    : host_(host), clock_(std::move(clock)), self_(std::make_shared<AuditLog*>(this)) {
  if (file.empty()) return;
  const std::string name = host.Files().AbsoluteName(file);
  if (!AppendTo(name, ""))
    throw std::runtime_error("the audit file " + name + " cannot be written");
  // The thread may outlive this, so it has its own copy of all but the loop, which outlives it.
  writer_.emplace([name, &loop = host.Loop(), self = std::weak_ptr(self_)](std::string_view bytes) {
    if (AppendTo(name, bytes)) return;
    loop.Post([name, self] {
      if (const auto log = self.lock())
        (*log)->host_.Trace("The audit file " + name + " cannot be written");
    });
  });
}

AuditLog::~AuditLog() {
  constexpr std::chrono::seconds kPatience{2};
  if (writer_) writer_->Finish(kPatience);
}

void AuditLog::Add(const Entry& entry) {
  Write(entry.peer + " scale " + std::to_string(entry.scale) + " " + entry.command + ": " +
        Printable(entry.result));
}

void AuditLog::AddDenied(const Entry& entry) {
  const double now = host_.Loop().Now();
  if (denied_ == 0 || now - minute_ >= kMinute) {
    const int left = denied_ - kMostDenied;
    if (left > 0) Write(std::to_string(left) + " more commands were not allowed");
    minute_ = now;
    denied_ = 0;
  }
  if (++denied_ <= kMostDenied) Add(entry);
}

void AuditLog::Write(std::string_view line) {
  const std::string text = UtcText(clock_()) + " " + std::string(line);
  if (!writer_)
    host_.TraceNews("audit: " + text);
  else if (!writer_->TryWrite(text + "\n", kMostWaiting))
    host_.Trace("A line of the audit is lost: its file takes nothing");
}

}  // namespace tarn
