// The subcommand "generic": scales of other makers with frames of a fixed layout.
#pragma once

namespace CLI {
class App;
}

namespace tarn::sim {

/// As AddContinuousCommand.
void AddGenericCommand(CLI::App& app);

}  // namespace tarn::sim
