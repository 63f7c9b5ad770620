// Weighings that a journal keeps a second, each with its answer from the disk, beside what the disk
// alone allows: the same bytes appended and stored, without numbers, sums and reading back.
//
// Usage: bench_journal FOLDER [SECONDS]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "outlets/journal/journal.hpp"
#include "outlets/journal/journal_check.hpp"
#include "outlets/journal/journal_store.hpp"
#include "platform/durable_folder.hpp"
#include "platform/native_host.hpp"

namespace {

using namespace tarn;
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

Weighing Sample() {
  Weighing weighing;
  weighing.time = std::chrono::system_clock::now();
  weighing.scale = 1;
  weighing.alias = "Line 1";
  weighing.reading.gross = "133.4";
  weighing.reading.tare = "10.0";
  weighing.reading.net = "123.4";
  weighing.reading.units = "kg";
  return weighing;
}

std::unique_ptr<JournalStore> Open(const std::string& folder) {
  return std::make_unique<JournalStore>(
      OpenDurableFolder(folder, FolderUse::Write),
      JournalStore::Options{.clock = std::chrono::system_clock::now, .days = 0});
}

/// Weighings a second, so many at once. Both sides take turns, so that both get the same disk.
void Compare(const std::string& folder, double seconds, std::size_t atOnce) {
  const auto store = Open(folder + "/journal");
  const auto plain = OpenDurableFolder(folder + "/plain", FolderUse::Write);
  plain->Replace("lines", "");
  Weighing sample = Sample();
  JournalWriter writer({});
  for (std::size_t i = 0; i < atOnce; ++i) writer.Add(sample);
  double kept = 0;
  double journalTime = 0;
  double plainTime = 0;
  while (journalTime + plainTime < seconds) {
    auto start = Clock::now();
    const auto result = store->Append(std::vector<Weighing>(atOnce, Sample()));
    journalTime += SecondsSince(start);
    if (result.refused > 0) {
      std::fprintf(stderr, "refused: %s\n", result.reason.c_str());
      std::exit(1);
    }
    kept += static_cast<double>(atOnce);
    start = Clock::now();
    plain->Append("lines", writer.Text());
    plain->Store("lines");
    plainTime += SecondsSince(start);
  }
  std::printf("%4zu at once: %8.0f weighings/s, the disk alone %8.0f/s (%.0f %%)\n", atOnce,
              kept / journalTime, kept / plainTime, 100 * plainTime / journalTime);
}

/// From the loop to the disk and back, with as many weighings waiting as may.
void Flood(const std::string& folder, double seconds) {
  const auto host = CreateNativeHost({});
  Journal journal(host->Loop(), Open(folder + "/journal"), [](std::string_view) {});
  ScaleEvent event;
  event.kind = ScaleEvent::Kind::PrintRecord;
  event.scale = 1;
  event.alias = "Line 1";
  event.reading = Sample().reading;
  event.time = std::chrono::system_clock::now();
  double entered = 0;
  const auto start = Clock::now();
  const auto onEntered = journal.Entered.Subscribe([&](const Weighing&) {
    ++entered;
    if (SecondsSince(start) < seconds)
      journal.Enter(event);
    else
      host->Loop().Quit();
  });
  for (std::size_t i = 0; i < Journal::kMostWaiting; ++i) journal.Enter(event);
  host->Loop().Run();
  std::printf("through the loop, the queue full: %.0f weighings/s\n",
              entered / SecondsSince(start));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("usage: bench_journal FOLDER [SECONDS]\n", stderr);
    return 2;
  }
  const std::string folder = (std::filesystem::path(argv[1]) / "bench_journal.folder").string();
  std::filesystem::create_directories(folder);
  const double seconds = argc > 2 ? std::atof(argv[2]) : 5;
  for (const std::size_t atOnce : {1U, 8U, 64U, 512U}) Compare(folder, seconds, atOnce);
  Flood(folder, seconds);
  const auto start = Clock::now();
  const auto check = CheckJournal(*OpenDurableFolder(folder + "/journal", FolderUse::Read), {});
  std::printf("verify: %.0f lines/s, %s\n",
              static_cast<double>(check.weighings) / SecondsSince(start),
              check.fault ? check.fault->words.c_str() : "no fault");
  std::filesystem::remove_all(folder);
  return check.fault ? 1 : 0;
}
