// show and set: print and change a settings file without a server.
#include <memory>
#include <string>

#include "connections/serial_connection.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/scale_file.hpp"
#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

/// Returns 0 for a scale that uses no serial port when the server runs.
int PortInUse(const TarnScale& scale) {
  const auto serial = std::dynamic_pointer_cast<SerialConnection>(scale.Connection());
  return serial && !scale.Disabled() ? serial->ComPort() : 0;
}

/// Two scales may share a port, since the user may enable one of them at a time. When both are
/// enabled, only the first one starts.
void NoteSharedPort(Program& program, const ScaleFile& file, int number) {
  const int port = PortInUse(file.Scale(number));
  if (port == 0) return;
  for (int other = 1; other <= kScaleCount; ++other) {
    const auto scale = file.At(other);
    if (other == number || !scale || PortInUse(*scale) != port) continue;
    program.Say("note: COM" + std::to_string(port) + " is used by " +
                ScaleTitle(other, scale->AliasName()) + " too; only the first of them will start");
  }
}

/// What shows no weight is set up in vain, and nothing else would say why.
void NoteMissingWeight(Program& program, TarnScale& scale, int number) {
  const auto protocol = scale.Protocol();
  if (scale.CorrectReadings() || !protocol || !protocol->NeedsCorrectReadings()) return;
  program.Say("note: " + ScaleTitle(number, scale.AliasName()) +
              " will show no weight: with this protocol, type and connection that takes "
              "corrected=yes");
}

}  // namespace

int ShowCommand(Program& program, const ShowOptions& options) {
  ScaleFile file(program.Host(), program.Options().file);
  file.Load();
  program.Output().Write(options.json ? ShowJson(file, options.all) : ShowText(file, options.all));
  return kSuccess;
}

int SetCommand(Program& program, const SetOptions& options) {
  ScaleFile file(program.Host(), program.Options().file);
  file.LoadOrNew();
  TarnScale& scale = file.Scale(options.scale);
  for (const std::string& pair : options.pairs) ApplyPair(scale, file.Site(), pair);
  file.Save();
  if (!program.Options().quiet) program.Output().Write(ShowScaleText(file, options.scale));
  NoteSharedPort(program, file, options.scale);
  NoteMissingWeight(program, scale, options.scale);
  return kSuccess;
}

}  // namespace tarn::tool
