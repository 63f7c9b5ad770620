#include "tools/tarnscale/file_queue.hpp"

#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace tarn::tool {
namespace {

std::filesystem::path PathOf(const std::string& name) {
  return {std::u8string(name.begin(), name.end())};
}

struct Job {
  std::string name;
  std::string bytes;
  bool anew;
};

}  // namespace

struct FileQueue::State {
  std::mutex mutex;  // for what follows
  std::deque<Job> jobs;
  std::size_t waiting = 0;
  std::set<std::string> failed;  ///< a few files a line
  std::string failure;

  std::optional<Job> Next() {
    const std::lock_guard lock(mutex);
    if (jobs.empty()) return std::nullopt;
    Job job = std::move(jobs.front());
    jobs.pop_front();
    waiting -= job.bytes.size();
    return job;
  }

  void WriteAll() {
    while (const auto job = Next()) {
      std::error_code missing;  // shows below
      std::filesystem::create_directories(PathOf(job->name).parent_path(), missing);
      std::ofstream file(PathOf(job->name),
                         std::ios::binary | (job->anew ? std::ios::trunc : std::ios::app));
      file << job->bytes;
      file.close();
      const std::lock_guard lock(mutex);
      if (file)
        failed.erase(job->name);
      else if (failed.insert(job->name).second)
        failure = "the file '" + job->name + "' cannot be written";
    }
  }
};

FileQueue::FileQueue()
    : state_(std::make_shared<State>()),
      writer_([state = state_](std::string_view /*wakeUp*/) { state->WriteAll(); }) {}

bool FileQueue::Write(const std::string& name, std::string bytes, bool anew) {
  {
    const std::lock_guard lock(state_->mutex);
    if (state_->waiting + bytes.size() > kBound) return false;
    state_->waiting += bytes.size();
    state_->jobs.push_back({name, std::move(bytes), anew});
  }
  writer_.TryWrite("!", kBound);
  return true;
}

std::string FileQueue::TakeFailure() {
  const std::lock_guard lock(state_->mutex);
  return std::exchange(state_->failure, {});
}

std::string FileIn(const std::string& folder, const std::string& name) {
  const std::u8string whole = (PathOf(folder) / PathOf(name)).u8string();
  return {whole.begin(), whole.end()};
}

}  // namespace tarn::tool
