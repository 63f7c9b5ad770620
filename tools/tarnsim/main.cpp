// tarnsim: simulated weighing terminals. Exit status 0 is success, 1 a failure, 2 a wrong command
// line.
#include "tools/tarnsim/commands.hpp"

int main(int argc, char** argv) {
  tarn::tool::CommandLine line("tarnsim",
                               "Simulated weighing terminals, to try and test without hardware");
  line.Version(TARN_VERSION);
  tarn::sim::AddContinuousCommand(line);
  tarn::sim::AddTemplateCommand(line);
  tarn::sim::AddMiraCommand(line);
  tarn::sim::AddGenericCommand(line);
  tarn::sim::AddSharedDataCommand(line);
  return line.Main(argc, argv);
}
