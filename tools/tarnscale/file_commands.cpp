// Commands that print and change a settings file without a server.
#include <cstdint>
#include <string>
#include <vector>

#include "tools/tarnscale/attached.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_check.hpp"
#include "tools/tarnscale/scale_file.hpp"
#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

/// As comments, so that the rest can be given to `set` again.
std::string StoreText(const Program& program) {
  std::string text = "# settings store: " + Printable(program.StorePlace());
  if (program.StoredPorts().empty()) text += ", no port has a device there";
  text += '\n';
  for (const auto& [number, device] : program.StoredPorts()) {
    text += "#   port " + std::to_string(number) + " is " + Printable(device) + "\n";
  }
  return text;
}

/// What a tarnscale that runs the file knows of its scales, as comments too.
std::string PresentText(Program& program) {
  const auto server = FindServer(program);
  if (!server) return {};
  std::string text = "# a tarnscale runs this file now:\n";
  for (const int number : server->Scales()) {
    const ScaleState state = *server->State(number);
    const std::string words = StateText(state.reading);
    text += "#   " + ScaleTitle(number, state.alias) + ": " + WeightsText(state.reading) +
            (words.empty() ? "" : " (" + words + ")") + "\n";
  }
  return text;
}

std::vector<std::string> FindingsOf(Program& program, const ScaleFile& file, int number) {
  return Findings(file, number, [&program](std::int16_t port, const std::string& setting) {
    return program.Host().MissingDevice(port, setting);
  });
}

void Report(Program& program, const ScaleFile& file, int number) {
  if (!program.Options().quiet) program.Output().Write(ShowScaleText(file, number));
  for (const std::string& finding : FindingsOf(program, file, number)) {
    program.Say("note: " + finding);
  }
}

}  // namespace

int ShowCommand(Program& program, const ShowOptions& options) {
  ScaleFile file(program.Host(), program.Options().file);
  file.Load();
  const int only = options.scale.empty() ? 0 : ScaleNumber(options.scale);
  std::string text;
  if (options.json)
    text = ShowJson(file, options.all, only);
  else if (only > 0)
    text = options.brief ? ShowBriefly(file, only) : ShowScaleText(file, only);
  else
    text = ShowText(file, options.all, options.brief) +
           (options.brief ? std::string() : StoreText(program) + PresentText(program));
  program.Output().Write(text);
  return kSuccess;
}

int SetCommand(Program& program, const SetOptions& options) {
  const int number = ScaleNumber(options.scale);
  ScaleFile file(program.Host(), program.Options().file);
  file.LoadOrNew();
  ApplyPairs(file.Scale(number), file.Site(), options.pairs);
  file.Save();
  Report(program, file, number);
  return kSuccess;
}

int DeleteCommand(Program& program, const DeleteOptions& options) {
  const int number = ScaleNumber(options.scale);
  ScaleFile file(program.Host(), program.Options().file);
  file.Load();
  const auto scale = file.At(number);
  const std::string title = ScaleTitle(number, scale ? scale->AliasName() : "");
  if (scale && !IsConfigured(*scale, number)) throw Failure(title + " is not set up");
  file.Clear(number);
  file.Save();
  program.Say(title + " is deleted");
  return kSuccess;
}

int CopyCommand(Program& program, const CopyOptions& options) {
  const int from = ScaleNumber(options.scale);
  const int to = ScaleNumber(options.other);
  ScaleFile file(program.Host(), program.Options().file);
  file.Load();
  if (!IsConfigured(file.Scale(from), from)) throw Failure(ScaleTitle(from, "") + " is not set up");
  file.Copy(from, to);
  if (options.move) file.Clear(from);
  file.Save();
  Report(program, file, to);
  return kSuccess;
}

int CheckCommand(Program& program, const CheckOptions& /*options*/) {
  ScaleFile file(program.Host(), program.Options().file);
  file.Load();
  program.NoteUnusedPorts([&file](std::int16_t number) { return file.At(number); });
  std::string text;
  for (const int number : ShownScales(file, false)) {
    for (const std::string& finding : FindingsOf(program, file, number)) text += finding + "\n";
  }
  if (!text.empty()) {
    program.Output().Write(text);
    return kFailed;
  }
  program.Output().Write("nothing is wrong with the " +
                         std::to_string(ShownScales(file, false).size()) + " scales of '" +
                         Printable(program.Options().file) + "'\n");
  return kSuccess;
}

}  // namespace tarn::tool
