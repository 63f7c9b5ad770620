#include "tools/tarnscale/attached.hpp"

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/program.hpp"
#include "tools/arguments.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"

namespace tarn::tool {
namespace {

constexpr std::int32_t kServerPatience = 10'000;  // milliseconds

/// The first line of a file, without what surrounds it.
std::string TokenOf(Host& host, const std::string& file) {
  if (file.empty()) return {};
  std::string token;
  try {
    constexpr std::size_t kLongest = 4096;
    token = host.Files().Read(file, kLongest);
  } catch (const std::exception& error) {
    throw Failure(std::string("cannot read the token: ") + error.what());
  }
  const auto begin = token.find_first_not_of(" \t\r\n");
  const auto end = token.find_first_of(" \t\r\n", begin == token.npos ? 0 : begin);
  return begin == token.npos ? std::string() : token.substr(begin, end - begin);
}

/// Two settings files of one name are two servers.
std::uint64_t HashOf(const std::string& text) {
  std::uint64_t hash = 14'695'981'039'346'656'037U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1'099'511'628'211U;
  return hash;
}

std::string WithoutSlash(std::string url) {
  while (url.ends_with('/')) url.pop_back();
  return url;
}

/// Null where nobody is there.
std::unique_ptr<RemoteSource> Reach(Program& program, ServerPlace place) {
  MessageLoop& loop = program.Host().Loop();
  auto client = CreateHttpClient(loop, program.Host().Descriptors(), std::move(place));
  if (!client) return nullptr;
  auto source =
      std::make_unique<RemoteSource>(loop, std::move(client), std::chrono::system_clock::now);
  loop.RunUntil([&] { return source->IsConnected() || !source->Trouble().empty(); },
                kServerPatience);
  return source;
}

}  // namespace

std::string LocalSocket(Program& program, const std::string& file) {
  const std::string folder = ProgramSocketFolder("tarnscale");
  if (folder.empty() || file.empty()) return {};
  const std::string whole = program.Host().Files().AbsoluteName(file);
  constexpr std::size_t kLongestName = 32;  // a socket's whole name has a little more than 100
  std::string name = whole.substr(whole.find_last_of('/') + 1).substr(0, kLongestName);
  constexpr std::string_view kDigits = "0123456789abcdef";
  name += '-';
  for (std::uint64_t hash = HashOf(whole); hash != 0; hash >>= 4U) name += kDigits[hash & 15U];
  return folder + "/" + name;
}

std::unique_ptr<RemoteSource> FindServer(Program& program) {
  const CommonOptions& options = program.Options();
  if (!options.at.empty()) {
    if (options.at.find("://") != options.at.npos && !options.at.starts_with("http"))
      throw UsageError("--at '" + Printable(options.at) + "': write http://HOST:PORT");
    auto source = Reach(program, {.url = WithoutSlash(options.at),
                                  .token = TokenOf(program.Host(), options.tokenFile)});
    if (!source) throw Failure("--at: this program was built without an HTTP library");
    if (source->IsConnected()) return source;
    std::string why = source->Trouble().empty() ? "it does not answer in time" : source->Trouble();
    if (source->WantsToken()) why = "it wants its token: give the file with --token-file";
    throw Failure("cannot reach " + Printable(options.at) + ": " + Printable(why));
  }
  if (options.alone) return nullptr;
  const std::string socket = LocalSocket(program, options.file);
  std::error_code ignored;
  if (socket.empty() || !std::filesystem::exists(socket, ignored)) return nullptr;
  auto source = Reach(program, {.url = "http://localhost", .socketPath = socket});
  return source && source->IsConnected() ? std::move(source) : nullptr;
}

AttachedScale::AttachedScale(Program& program, std::unique_ptr<RemoteSource> source, int number)
    : OneScale(program), source_(std::move(source)), number_(number) {
  const auto state = source_->State(number);
  if (!state) throw Failure("the server has no " + ScaleTitle(number, ""));
  if (!state->reading.IsOld()) TakeReading(state->reading);
  onEvent_ = source_->Happened.Subscribe([this](const ScaleEvent& event) { Take(event); });
}

std::string AttachedScale::Alias() const {
  const auto state = source_->State(number_);
  return state ? state->alias : std::string();
}

bool AttachedScale::IsDisabled() const {
  const auto state = source_->State(number_);
  return state && !state->enabled;
}

void AttachedScale::Take(const ScaleEvent& event) {
  using Kind = ScaleEvent::Kind;
  if (event.scale != number_) return;
  if (event.kind == Kind::NewWeight) TakeReading(event.reading);
  if (event.kind == Kind::PrintRecord) TakePrint(event.reading);
  if (event.kind == Kind::NewDataReady) TakeRecord(event.fields);
}

void AttachedScale::Give(const ScaleCommand& command, double tare) {
  const auto answer = std::make_shared<std::optional<CommandResult>>();  // it may come late
  source_->Give(number_, command, tare, [answer](const CommandResult& r) { *answer = r; });
  WaitFor([&answer] { return answer->has_value(); }, kServerPatience / 1000.0);
  const std::optional<CommandResult>& result = *answer;
  if (!result) throw Failure(Title() + ": the server does not answer", kTimedOut);
  if (result->status == CommandResult::Status::Given) return;
  const bool isRefused = result->status == CommandResult::Status::Refused;
  throw Failure(
      Title() + " cannot take " + std::string(command.name) + ": " + Printable(result->words),
      isRefused ? kRefused : kFailed);
}

}  // namespace tarn::tool
