#include "tools/tarnsim/template_terminal.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace tarn::sim {
namespace {

constexpr std::uint64_t kTemplateStream = 5;  // no other part of this terminal uses it

/// Returns true when something that is due every `period` is due. Missed times are skipped.
bool TakeDue(double& next, double period, double now) {
  if (period <= 0 || now < next) return false;
  next += period * (std::floor((now - next) / period) + 1);
  return true;
}

}  // namespace

TemplateTerminal::TemplateTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
                                   std::unique_ptr<PacedLine> line)
    : LineTerminal(std::move(indicator), std::move(line)),
      options_(options),
      random_(options.seed, kTemplateStream),
      nextPrint_(options.printEvery),
      nextKeepAlive_(options.keepAlive),
      printSubscription_(Scale().PrintPressed.Subscribe([this] { Print(); })) {}

void TemplateTerminal::Tick(double now) {
  LineTerminal::Tick(now);
  if (TakeDue(nextPrint_, options_.printEvery, now)) Press({TerminalCommand::Key::Print});
  if (TakeDue(nextKeepAlive_, options_.keepAlive, now)) QueueKeepAlive();
}

/// The demand may come in pieces, and several in one.
void TemplateTerminal::Receive(std::string_view bytes) {
  for (const char c : bytes) {
    demandTail_ += c;
    if (demandTail_.size() > options_.demand.size()) demandTail_.erase(0, 1);
    if (options_.demand.empty() || demandTail_ != options_.demand) continue;
    demandTail_.clear();
    Noted.Raise("a record is demanded");
    Press({TerminalCommand::Key::Print});
  }
}

void TemplateTerminal::Print() {
  const std::size_t all = options_.layout.fields.size();
  if (pieces_.size() > kMostWaiting * all) return Noted.Raise("refused: too many records wait");
  const bool shorter = random_.Chance(options_.shortRecords) && all > 1;
  const std::size_t count = shorter ? 1 + random_.Below(all - 1) : all;
  const auto record = BuildTemplateRecord(options_.layout, Scale().Present(), ++prints_, count);
  std::string whole;
  for (const std::string& piece : record) whole += piece;
  if (options_.fieldDelay <= 0) return pieces_.push_back({std::move(whole), Now(), 0});
  for (std::size_t i = 0; i < record.size(); ++i) {
    pieces_.push_back({record[i], Now(), i == 0 ? 0 : options_.fieldDelay});
  }
}

/// A terminal that prints with pauses sends it between the pieces of a record, as real ones do.
void TemplateTerminal::QueueKeepAlive() {
  if (!pieces_.empty()) {
    if (pieces_.front().bytes == kKeepAliveText) return;
    pieces_.front().delay = std::max(0.0, sentAt_ + pieces_.front().delay - Now());
  }
  pieces_.push_front({std::string(kKeepAliveText), Now(), 0});
}

double TemplateTerminal::NextStart(double earliest) {
  if (pieces_.empty()) return kNever;
  const Piece& next = pieces_.front();
  return std::max({earliest, next.queued, sentAt_ + next.delay});
}

std::string TemplateTerminal::NextFrame(double start) {
  sentAt_ = start;
  const Piece piece = std::move(pieces_.front());
  pieces_.pop_front();
  return piece.bytes;
}

}  // namespace tarn::sim
