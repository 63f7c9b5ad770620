// The subcommand "continuous": terminals with continuous output.
#pragma once

namespace CLI {
class App;
}

namespace tarn::sim {

/// The command runs while the command line is parsed. It throws UsageError for what cannot be asked
/// and AutomationError for what failed.
void AddContinuousCommand(CLI::App& app);

}  // namespace tarn::sim
