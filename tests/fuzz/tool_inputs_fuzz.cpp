// What users and lines give the tools: settings as KEY=VALUE, load scripts, a terminal's commands,
// variables and requests of a simulated terminal. The first byte chooses.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "shareddata/message_layout.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnsim/load_model.hpp"
#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/shared_data_terminal.hpp"
#include "tools/tarnsim/terminal_command.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace {

void TryPair(std::string_view pair) {
  using namespace tarn;
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  tool::ApplyPair(*scale, *site, "connection=serial");
  try {
    tool::ApplyPair(*scale, *site, pair);
  } catch (const tool::UsageError&) {
    // refused
  }
  // Whatever was accepted can be saved and comes back.
  PropertyBag bag;
  WriteObject(bag, "Scale", *scale);
  ReadObject<TarnScale>(PropertyBag::FromContents(bag.Contents()), "Scale", *site, "TarnScale");
}

void TryScript(std::string_view text) {
  try {
    tarn::sim::LoadModel model(tarn::sim::ParseLoadScript(text), {});
    for (int i = 0; i < 200; ++i) model.Convert();
  } catch (const tarn::sim::UsageError&) {
    // refused
  }
}

void TryCommands(std::string_view bytes) {
  tarn::sim::CommandReader reader;
  for (const char c : bytes) reader.Take(c);
  // Whatever came before, a plain command is understood after a line end.
  reader.Take('\r');
  const auto command = reader.Take('Z');
  if (!command || command->key != tarn::sim::TerminalCommand::Key::Zero) std::abort();
}

/// A table of variables up to a 0 byte, and behind it what arrives; each variable is then written
/// and read.
void TryTerminal(std::string_view bytes) {
  using namespace tarn;
  sim::SharedDataTerminal::Options options;
  const std::size_t end = std::min(bytes.find('\0'), bytes.size());
  try {
    sim::AddVariables(options.table, sim::ScaleVariables('a'));
    sim::AddVariables(options.table, bytes.substr(0, end));
  } catch (const sim::UsageError&) {
    // refused
  }
  options.graduation = sim::MakeGraduation(100, 0.01, {});
  sim::SharedDataTerminal terminal(
      options,
      std::make_unique<sim::Indicator>(sim::Indicator::Options{options.graduation},
                                       sim::ParseLoadScript("load 5"), sim::LoadModel::Options{}));
  const auto answer = terminal.Answer.Subscribe([](std::string_view reply, const sim::Peer&) {
    if (reply.size() > sizeof(ReplyMessageStruct)) std::abort();
  });
  for (double now = 0; now < 100; now += 50) {
    terminal.Tick(now);
    terminal.Receive(bytes.substr(end), {"127.0.0.1", 1701});
    for (const auto& [name, variable] : options.table.variables) {
      std::string request(kMessageHeaderLength, '\0');
      request.replace(14, name.size(), name);
      request[24] = static_cast<char>(now > 0 ? kReadCommand : kWriteCommand);
      terminal.Receive(request, {"127.0.0.1", 1701});
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  void (*const tries[])(std::string_view) = {TryPair, TryScript, TryCommands, TryTerminal};
  tries[data[0] % 4](text);
  return 0;
}
