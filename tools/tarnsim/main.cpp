// tarnsim: simulated weighing terminals. Ends with 0, with 1 after a failure, with 2 where the
// command line is wrong.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "platform/program.hpp"
#include "tools/tarnsim/continuous_command.hpp"
#include "tools/tarnsim/generic_command.hpp"
#include "tools/tarnsim/mira_command.hpp"
#include "tools/tarnsim/shared_data_command.hpp"
#include "tools/tarnsim/template_command.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUse = 2;

int Fail(const std::exception& error, int status, const std::string& hint = {}) {
  std::cerr << "tarnsim: " << error.what() << hint << '\n';
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Simulated weighing terminals, to try and test without hardware", "tarnsim");
  app.require_subcommand(1);
  app.footer("Each command has its own help: tarnsim continuous --help");
  tarn::sim::AddContinuousCommand(app);
  tarn::sim::AddTemplateCommand(app);
  tarn::sim::AddMiraCommand(app);
  tarn::sim::AddGenericCommand(app);
  tarn::sim::AddSharedDataCommand(app);
  try {
    std::vector<std::string> arguments = tarn::ProgramArguments(argc, argv);
    std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
    app.parse(arguments);
    return 0;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // the help was asked for
    const auto commands = app.get_subcommands();
    if (!commands.empty()) {
      return Fail(error, kWrongUse, "; see tarnsim " + commands.front()->get_name() + " --help");
    }
    return Fail(tarn::sim::UsageError("which terminals? continuous, template, mira, generic or "
                                      "shareddata"),
                kWrongUse, "; see tarnsim --help");
  } catch (const tarn::sim::UsageError& error) {
    return Fail(error, kWrongUse);
  } catch (const std::exception& error) {
    return Fail(error, kFailure);
  }
}
