// The subcommand "template": terminals that print records of fields, on serial lines or over TCP.
#pragma once

namespace CLI {
class App;
}

namespace tarn::sim {

/// The command runs while the command line is parsed. It throws UsageError for what cannot be asked
/// and AutomationError for what failed.
void AddTemplateCommand(CLI::App& app);

}  // namespace tarn::sim
