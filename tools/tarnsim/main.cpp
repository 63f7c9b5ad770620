// tarnsim: simulated weighing terminals. Ends with 0, with 1 after a failure, with 2 where the
// command line is wrong.
#include "tools/tarnsim/commands.hpp"

int main(int argc, char** argv) {
  tarn::tool::CommandLine line("tarnsim",
                               "Simulated weighing terminals, to try and test without hardware");
  tarn::sim::AddContinuousCommand(line);
  tarn::sim::AddTemplateCommand(line);
  tarn::sim::AddMiraCommand(line);
  tarn::sim::AddGenericCommand(line);
  tarn::sim::AddSharedDataCommand(line);
  return line.Main(argc, argv);
}
