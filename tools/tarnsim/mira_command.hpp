// The subcommand "mira": scales that are asked and commanded in short lines.
#pragma once

namespace CLI {
class App;
}

namespace tarn::sim {

/// As AddContinuousCommand.
void AddMiraCommand(CLI::App& app);

}  // namespace tarn::sim
