#include "tools/tarnscale/outlets.hpp"

#include <chrono>
#include <utility>

#include "platform/utf8.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/journal_commands.hpp"

namespace tarn::tool {
namespace {

std::unique_ptr<WeighingBook> MakeBook(Program& program, const OutletOptions& options) {
  if (!options.journal.empty()) return OpenJournal(program, options);
  if (options.journalDays > 0) throw UsageError("--journal-days goes with --journal");
  return std::make_unique<RecentWeighings>();
}

}  // namespace

Outlets::Outlets(Program& program, TarnScaleServer& server, const OutletOptions& options)
    : source_(server, std::chrono::system_clock::now),
      book_(MakeBook(program, options)),
      onEvent_(
          source_.Happened.Subscribe([this](const ScaleEvent& event) { book_->Enter(event); })) {
  onRefused_ = book_->Refused.Subscribe(
      [this, &program, &server](const ScaleEvent& event, const std::string& reason) {
        program.Host().Trace("not kept: " + EventWords(event) + ": " + Printable(reason));
        if (std::exchange(isRefusing_, true)) return;
        server.InfoMessage.Raise("Weighings are refused: " + reason, TarnScaleServer::kCritical);
      });
  onEntered_ = book_->Entered.Subscribe([this, &server](const Weighing&) {
    if (!std::exchange(isRefusing_, false)) return;
    server.InfoMessage.Raise("Weighings are kept again", TarnScaleServer::kExclamation);
  });
}

}  // namespace tarn::tool
