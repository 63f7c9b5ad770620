// The subcommand "shareddata": terminals whose variables are read and written over UDP.
#pragma once

namespace CLI {
class App;
}

namespace tarn::sim {

/// As AddContinuousCommand.
void AddSharedDataCommand(CLI::App& app);

}  // namespace tarn::sim
