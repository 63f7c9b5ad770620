// The journal over a folder in memory that loses power, is full, or gives back something else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "outlets/journal/journal.hpp"
#include "outlets/journal/journal_check.hpp"
#include "outlets/journal/journal_store.hpp"
#include "platform/native_host.hpp"
#include "tests/fakes/memory_folder.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr std::chrono::hours kDay{24};
const WallTime kNoon = std::chrono::sys_days(std::chrono::year{2026} / 6 / 1) + kDay / 2;

Weighing Sample(const std::string& net, WallTime time = kNoon) {
  Weighing weighing{
      .time = time, .scale = 3, .alias = "Line\t\"3\"\n4\tforged", .reading = {}, .fields = {}};
  weighing.reading.gross = weighing.reading.net = net;
  weighing.reading.units = "kg";
  weighing.fields = {{"Id", "a;b=c"}, {"Id", "\\x41 \xC3\xA4\xFF\r\n"}};
  weighing.origin = PrintOrigin::Detection;
  return weighing;
}

class JournalTest : public ::testing::Test {
 protected:
  std::unique_ptr<JournalStore> Open(std::size_t days = 0) {
    return std::make_unique<JournalStore>(
        std::make_unique<MemoryFolder>(disk),
        JournalStore::Options{.clock = [] { return kNoon; }, .days = days});
  }
  JournalCheck Check(std::vector<Weighing>* weighings = nullptr) {
    MemoryFolder folder(disk);
    return CheckJournal(folder, {.weighing = [=](const Weighing& w) {
                          if (weighings != nullptr) weighings->push_back(w);
                        }});
  }
  static std::vector<std::uint64_t> Numbers(const std::vector<Weighing>& weighings) {
    std::vector<std::uint64_t> numbers;
    for (const Weighing& weighing : weighings) numbers.push_back(weighing.number);
    return numbers;
  }
  /// What is wrong, as "FILE:LINE WORDS"; empty while nothing is.
  std::string Fault() {
    const auto fault = Check().fault;
    if (!fault) return "";
    return fault->file + ":" + std::to_string(fault->line) + " " + fault->words;
  }

  MemoryDisk disk;
};

TEST_F(JournalTest, KeepsWhatItTookOverDaysRestartsAndClocksThatGoBack) {
  std::vector<Weighing> taken;
  for (const int day : {0, 0, 2, 1, 2, 3}) {
    const auto store = Open();
    const auto result = store->Append({Sample("12.50", kNoon + day * kDay), Sample("Error")});
    EXPECT_EQ(result.refused, 0U);
    taken.insert(taken.end(), result.kept.begin(), result.kept.end());
  }
  std::vector<Weighing> read;
  const JournalCheck check = Check(&read);
  EXPECT_FALSE(check.fault) << Fault();
  EXPECT_EQ(check.files, 3U);
  EXPECT_EQ(check.end.number, 12U);
  ASSERT_EQ(read.size(), taken.size());
  for (std::size_t i = 0; i < read.size(); ++i)
    EXPECT_EQ(WeighingJson(read[i]), WeighingJson(taken[i]));
  EXPECT_EQ(read[3].fields[1].value, taken[3].fields[1].value);
  for (const auto& [name, bytes] : disk.files) EXPECT_EQ(bytes.find('\r'), bytes.npos);

  // A file that goes away, whichever it is, is missed by the next.
  const auto whole = disk.files;
  disk.files.erase("2026-06-03.tsv");
  EXPECT_THAT(Fault(), HasSubstr("2026-06-04.tsv:1 the file before it ends with number 4"));
  disk.files = whole;
  disk.files["2026-06-05.tsv"] = disk.files["2026-06-04.tsv"];
  EXPECT_THAT(Fault(), HasSubstr("2026-06-05.tsv:1 the file was written under another name"));
}

TEST_F(JournalTest, ShowsEveryByteThatIsFlipped) {
  Open()->Append({Sample("1"), Sample("2")});
  disk.space = 150;
  auto store = Open();
  store->Append({Sample("3")});
  disk.space.reset();
  store->Append({Sample("4"), Sample("5")});  // behind a mark
  store->Append({Sample("6", kNoon + kDay)});
  ASSERT_EQ(Fault(), "");
  ASSERT_EQ(Check().marks, 1U);
  for (auto& [name, bytes] : disk.files) {
    std::uint64_t line = 1;
    for (char& byte : bytes) {
      const char before = byte;
      for (const int bit : {0x01, 0x04, 0x20, 0x80}) {
        byte = static_cast<char>(before ^ bit);
        const auto fault = Check().fault;
        ASSERT_TRUE(fault) << name << " line " << line;
        ASSERT_EQ(fault->file, name);
        ASSERT_LE(fault->line, line);
        ASSERT_GE(fault->line + 1, line);  // the piece before a mark belongs to its line
      }
      byte = before;
      if (byte == '\n') ++line;
    }
  }
}

TEST_F(JournalTest, MendsATruncationAtEveryLength) {
  {
    const auto store = Open();
    store->Append({Sample("1"), Sample("2")});
    store->Append({Sample("3", kNoon + kDay), Sample("4")});
  }
  const auto whole = disk.files;
  for (const auto& [name, bytes] : whole) {
    const bool isOld = name == whole.begin()->first;
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      disk.files = whole;
      if (isOld) disk.files.erase(whole.rbegin()->first);
      disk.files[name].resize(length);
      std::vector<Weighing> left;
      Check(&left);
      const auto first = left.size();
      for (int i = 0; i < 2; ++i)
        ASSERT_EQ(Open()->Append({Sample("5", kNoon + kDay)}).refused, 0U) << length;
      ASSERT_EQ(Fault(), "") << name << " cut off after " << length;
      left.clear();
      Check(&left);
      ASSERT_EQ(left.size(), first + 2);
      for (std::size_t i = 0; i < left.size(); ++i) ASSERT_EQ(left[i].number, i + 1);
      ASSERT_TRUE(disk.files[name].starts_with(bytes.substr(0, length)));
    }
  }
}

TEST_F(JournalTest, RefusesWhatTheDiskDoesNotTakeAndGoesOn) {
  Open()->Append({Sample("1")});
  const auto whole = disk.files;
  // How many bytes are free decides how many of three weighings are kept.
  for (std::size_t space = 0; space < 900; space += 7) {
    disk.files = whole;
    disk.space = space;
    const auto store = Open();
    const auto result = store->Append({Sample("2"), Sample("3"), Sample("4")});
    ASSERT_EQ(result.kept.size() + result.refused, 3U) << space;
    if (result.refused > 0) {
      ASSERT_EQ(result.reason, "the disk is full");
    }
    disk.space.reset();
    const auto next = store->Append({Sample("5")});
    ASSERT_EQ(next.refused, 0U);
    ASSERT_EQ(next.kept.back().number, 2 + result.kept.size()) << space;
    ASSERT_EQ(Fault(), "") << space;
    ASSERT_EQ(Check().end.number, store->Latest());
  }
}

TEST_F(JournalTest, WhatWasRefusedButIsThereAfterAllIsHandedOnLater) {
  const auto store = Open();
  store->Append({Sample("1")});
  disk.failStore = true;
  EXPECT_EQ(store->Append({Sample("2")}).refused, 1U);
  EXPECT_EQ(store->Append({Sample("lost")}).reason, "broken");
  disk.failStore = false;
  EXPECT_THAT(Numbers(store->Append({Sample("3")}).kept), ElementsAre(2, 3));
  disk.lies = true;
  EXPECT_THAT(store->Append({Sample("lost")}).reason, HasSubstr("what was not written"));
  disk.lies = false;
  // Two whole lines stand there, that of the weighing and its mark, so two numbers are spent.
  EXPECT_THAT(Numbers(store->Append({Sample("6")}).kept), ElementsAre(6));
  EXPECT_EQ(Fault(), "");
  EXPECT_EQ(Check().marks, 1U);
}

TEST_F(JournalTest, FetchesFromAnyNumberAcrossFiles) {
  const auto store = Open();
  for (int day = 0; day < 4; ++day) {
    std::vector<Weighing> batch(25, Sample("1", kNoon + day * kDay));
    store->Append(std::move(batch));
  }
  for (const std::size_t most : {1U, 7U, 25U, 1000U}) {
    std::uint64_t after = 0;
    while (true) {
      const auto some = store->Fetch(after, most);
      if (some.empty()) break;
      ASSERT_EQ(some.front().number, after + 1);
      ASSERT_EQ(some.size(), std::min<std::size_t>(most, 100 - after));
      after = some.back().number;
    }
    ASSERT_EQ(after, 100U);
  }
  EXPECT_THAT(Numbers(Open()->Fetch(24, 3)), ElementsAre(25, 26, 27));
}

TEST_F(JournalTest, RemovesOldFilesThatNobodyNeedsAndNeverUsesANumberTwice) {
  auto store = Open(2);
  store->Acknowledge({{"broker", 0}});
  for (int day = 0; day < 5; ++day) store->Append({Sample("1", kNoon + day * kDay)});
  const auto files = [this] {
    MemoryFolder folder(disk);
    return JournalFiles(folder).size();
  };
  EXPECT_EQ(files(), 5U);
  store->Acknowledge({{"broker", 1}});
  EXPECT_EQ(files(), 4U);
  store->Acknowledge({{"broker", 5}});
  EXPECT_EQ(files(), 2U);
  EXPECT_EQ(Fault(), "");
  EXPECT_EQ(Check().firstBefore, 3U);
  EXPECT_THAT(Numbers(store->Fetch(0, 10)), ElementsAre(4, 5));

  // Somebody takes away the end of the journal, or all of it.
  disk.files.erase("2026-06-05.tsv");
  EXPECT_THAT(Fault(), HasSubstr("'broker' has got everything up to number 5"));
  EXPECT_EQ(Open()->Append({Sample("1", kNoon + 5 * kDay)}).kept.front().number, 6U);
  EXPECT_EQ(Fault(), "");
  std::erase_if(disk.files, [](const auto& file) { return file.first.ends_with(".tsv"); });
  EXPECT_EQ(Open()->Append({Sample("1")}).kept.front().number, 6U);
  EXPECT_EQ(Fault(), "");
}

TEST_F(JournalTest, GoesOnBehindALineThatWasChanged) {
  Open()->Append({Sample("1"), Sample("2"), Sample("3")});
  std::string& bytes = disk.files["2026-06-01.tsv"];
  bytes[bytes.find("\n2\t") + 5] ^= 1;
  const auto store = Open();
  EXPECT_EQ(store->Append({Sample("4")}).kept.front().number, 4U);
  EXPECT_THAT(store->TakeNotes(),
              ElementsAre(HasSubstr("2026-06-01.tsv, line 4: it does not follow")));
  EXPECT_THAT(Fault(), HasSubstr("2026-06-01.tsv:4 "));

  // The last line may have been handed on, so its number is spent.
  bytes[bytes.rfind("\n4\t") + 5] ^= 1;
  EXPECT_EQ(Open()->Append({Sample("5")}).kept.front().number, 5U);
}

/// The book on a loop that turns until the thread has done its work.
TEST_F(JournalTest, HandsOnInOrderWhatIsStored) {
  const auto host = CreateNativeHost({});
  MessageLoop& loop = host->Loop();
  const auto wait = [&](const auto& condition) { return loop.RunUntil(condition, 60000); };
  ScaleEvent event;
  event.kind = ScaleEvent::Kind::PrintRecord;
  event.time = kNoon;
  event.scale = 1;
  std::vector<std::uint64_t> entered;
  std::vector<std::string> refused;
  std::optional<std::vector<std::uint64_t>> fetched;
  const auto fetch = [&](const Journal& journal, std::uint64_t after) {
    fetched.reset();
    journal.Fetch(after, 2, [&](const std::vector<Weighing>& w) { fetched = Numbers(w); });
    EXPECT_TRUE(wait([&] { return fetched.has_value(); }));
    return *fetched;
  };
  {
    Journal journal(loop, Open(), [](std::string_view) {});
    const auto onEntered = journal.Entered.Subscribe([&](const Weighing& weighing) {
      entered.push_back(weighing.number);
      const std::lock_guard lock(MemoryDisk::mutex);
      EXPECT_THAT(disk.files.begin()->second, HasSubstr("\n" + std::to_string(weighing.number)));
      EXPECT_EQ(journal.Latest(), weighing.number);
    });
    const auto onRefused = journal.Refused.Subscribe(
        [&](const ScaleEvent&, const std::string& reason) { refused.push_back(reason); });
    for (int i = 0; i < 100; ++i) journal.Enter(event);
    EXPECT_TRUE(wait([&] { return entered.size() == 100; }));
    EXPECT_EQ(entered.front(), 1U);
    EXPECT_TRUE(std::is_sorted(entered.begin(), entered.end()));
    event.alias = std::string(kLongestJournalLine, 'x');
    journal.Enter(event);
    EXPECT_EQ(refused.size(), 1U);
    event.alias.clear();
    journal.Acknowledge("broker", 7);
    EXPECT_EQ(journal.Acknowledged("broker"), 7U);
    journal.Enter(event);  // written when the book goes
  }
  Journal journal(loop, Open(), [](std::string_view) {});
  EXPECT_EQ(journal.Latest(), 101U);
  EXPECT_EQ(journal.Acknowledged("broker"), 7U);
  EXPECT_THAT(fetch(journal, 99), ElementsAre(100, 101));
  EXPECT_THAT(fetch(journal, 101), ElementsAre());
  {
    const std::lock_guard lock(MemoryDisk::mutex);
    disk.space = 0;
  }
  const auto onRefused = journal.Refused.Subscribe(
      [&](const ScaleEvent&, const std::string& reason) { refused.push_back(reason); });
  for (std::size_t i = 0; i <= 2 * Journal::kMostWaiting; ++i) journal.Enter(event);
  EXPECT_TRUE(wait([&] { return refused.size() == 2 * Journal::kMostWaiting + 2; }));
  EXPECT_EQ(refused[1], "the disk has not stored those before it yet");
  EXPECT_EQ(refused.back(), "the disk is full");
}

}  // namespace
}  // namespace tarn
