// What users and lines give the tools: settings as KEY=VALUE, load scripts, a terminal's commands,
// the keys of a console. The first byte chooses.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnsim/load_model.hpp"
#include "tools/tarnsim/load_script.hpp"
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
  bag.WriteObject("Scale", *scale);
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 3) {
    case 0:
      TryPair(text);
      break;
    case 1:
      TryScript(text);
      break;
    default:
      TryCommands(text);
  }
  return 0;
}
