// What is left of files when their writer dies: a child process saves a settings file, a value of
// the settings store and a line of a log, again and again, and is killed in the middle of it (kill
// -9), or its writes are torn (a limit on the size of files, which ends a write half way as a full
// disk does). Afterwards each file holds, whole, what was saved last or what was being saved then;
// a log has every line that was taken, and at most the last one of a writer is torn.
//
// Usage: endure_power_loss ROUNDS SEED
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/native_host.hpp"
#include "server/settings_file.hpp"
#include "tools/tarnsim/random.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;

enum Target : std::uint8_t { kSettingsFile, kStore, kLog, kTargets };

/// What the child reports, before and after it has saved something.
struct Report {
  Target target;
  bool done;
  long version;
};

constexpr std::size_t kLongest = 40000;

/// Of any length, and recognised by its number: a part of it, or parts of two, are neither.
std::string TextOf(long version) {
  const auto length = static_cast<std::size_t>(version) * 7919 % kLongest;
  return std::to_string(version) + " " + std::string(length, static_cast<char>('a' + version % 26));
}

/// The version whose text this is, else -1.
long VersionOf(const std::string& text) {
  const long version = std::atol(text.c_str());
  return text == TextOf(version) ? version : -1;
}

class Files {
 public:
  Files() : folder_(fs::temp_directory_path() / ("power-loss-" + std::to_string(::getpid()))) {
    fs::create_directories(folder_);
  }
  ~Files() { fs::remove_all(folder_); }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;

  std::string Name(const char* name) const { return (folder_ / name).string(); }
  std::unique_ptr<Host> MakeHost() const {
    HostOptions options;
    options.settingsPlace = Name("store.ini");
    return CreateNativeHost(options);
  }
  /// What a killed writer leaves beside its file; returns how many.
  int RemoveLeftOver() const {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      if (entry.path().extension() == ".tmp" && fs::remove(entry.path())) ++count;
    }
    return count;
  }

 private:
  fs::path folder_;
};

/// Saves until it dies. A refused write is an answer.
[[noreturn]] void Write(const Files& files, long version, int report) {
  const auto host = files.MakeHost();
  const auto save = [&](Target target, const std::function<void()>& action) {
    const auto tell = [&](bool done) {
      const Report what{target, done, version};
      if (::write(report, &what, sizeof what) != sizeof what) ::_exit(1);
    };
    tell(false);
    try {
      action();
      tell(true);
    } catch (const AutomationError&) {
      // Not saved; the next version may be shorter.
    }
  };
  std::shared_ptr<TextStream> log;
  save(kLog, [&] {
    log = host->Files().OpenForAppending(files.Name("plant.log"));
    log->StoreEachLine();
    log->WriteLine(std::to_string(version));
  });
  for (;;) {
    ++version;
    save(kSettingsFile, [&] {
      PropertyBag bag;
      bag.WriteText("Text", TextOf(version), "");
      WriteSettingsFile(host->Files(), files.Name("plant.scl"), bag);
    });
    save(kStore, [&] { host->Settings().Set("Settings", "LogFile", TextOf(version)); });
    save(kLog, [&] { log->WriteLine(std::to_string(version)); });
  }
}

/// The lines that end; what a torn one is followed by stands in a line with it.
std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0, end = 0; (end = text.find("\r\n", at)) != text.npos; at = end + 2) {
    lines.push_back(text.substr(at, end - at));
  }
  return lines;
}

class Rounds {
 public:
  explicit Rounds(std::uint64_t seed) : random_(seed, 1) {}

  bool Play(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      const bool torn = round % 2 == 1;
      PlayRound(torn);
      leftOver_ += files_.RemoveLeftOver();
      if (!Holds(torn)) {
        std::printf("FAILED in round %d, %s\n", round, torn ? "torn writes" : "killed");
        return false;
      }
    }
    std::printf("%d rounds: %ld saves, %ld refused, %d left over beside their file, all whole\n",
                rounds, saves_, begun_ - saves_, leftOver_);
    return true;
  }

 private:
  void PlayRound(bool torn) {
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) std::abort();
    const auto limit = static_cast<rlim_t>(random_.Below(kLongest));
    const pid_t child = ::fork();
    if (child == 0) {
      ::close(pipe[0]);
      ::signal(SIGXFSZ, SIG_IGN);
      const rlimit size{limit, limit};
      if (torn && ::setrlimit(RLIMIT_FSIZE, &size) != 0) ::_exit(1);
      Write(files_, version_, pipe[1]);
    }
    ::close(pipe[1]);
    Report what{};
    const auto next = [&] { return ::read(pipe[0], &what, sizeof what) == sizeof what; };
    bool more = next();  // it has begun
    ::usleep(static_cast<useconds_t>(random_.Between(0, 50000)));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    for (; more; more = next()) {
      (what.done ? done_ : reached_)[what.target] = what.version;
      version_ = std::max(version_, what.version);
      ++(what.done ? saves_ : begun_);
      if (what.done && what.target == kLog) logged_.push_back(std::to_string(what.version));
    }
    ::close(pipe[0]);
  }

  bool Holds(bool torn) {
    const auto host = files_.MakeHost();
    const auto between = [this](Target target, long version) {
      const bool holds = version >= done_[target] && version <= reached_[target];
      if (!holds) {
        std::printf("file %d: version %ld, not %ld to %ld\n", target, version, done_[target],
                    reached_[target]);
      }
      done_[target] = version;
      return holds;
    };
    try {
      if (done_[kSettingsFile] > 0 || fs::exists(files_.Name("plant.scl"))) {
        const PropertyBag bag = ReadSettingsFile(host->Files(), files_.Name("plant.scl"));
        if (!between(kSettingsFile, VersionOf(bag.ReadText("Text", "")))) return false;
      }
      if (const auto text = host->Settings().Get("Settings", "LogFile")) {
        if (!between(kStore, VersionOf(*text))) return false;
      } else if (done_[kStore] > 0) {
        return false;
      }
    } catch (const AutomationError& error) {
      std::printf("%s\n", error.Description().c_str());
      return false;
    }
    return LogHolds(*host, torn);
  }

  /// Every line that was taken is there, in order. The rest of one that was begun waits for room in
  /// the file, so the last one may be torn. The log then begins anew, as the limit does.
  bool LogHolds(Host& host, bool torn) {
    const std::string name = files_.Name("plant.log");
    const std::string text = fs::exists(name) ? host.Files().Read(name, 1U << 30U) : "";
    const auto lines = LinesOf(text);
    const std::string tail = text.substr(text.rfind('\n') + 1);
    const auto taken = std::exchange(logged_, {});
    auto at = lines.begin();
    for (const std::string& line : taken) {
      at = std::find(at, lines.end(), line);
      const bool isTorn = torn && line == taken.back() && (line + "\r").starts_with(tail);
      if (at == lines.end() && !(isTorn && !tail.empty())) {
        std::printf("the log has lost line %s\n", line.c_str());
        return false;
      }
    }
    if (torn) fs::remove(name);
    return true;
  }

  Files files_;
  sim::Random random_;
  long version_ = 0;
  std::array<long, kTargets> done_{};
  std::array<long, kTargets> reached_{};
  std::vector<std::string> logged_;
  long begun_ = 0;
  long saves_ = 0;
  int leftOver_ = 0;
};

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("Usage: endure_power_loss ROUNDS SEED\n", stderr);
    return 2;
  }
  return tarn::Rounds(static_cast<std::uint64_t>(std::atoll(argv[2]))).Play(std::atoi(argv[1])) ? 0
                                                                                                : 1;
}
