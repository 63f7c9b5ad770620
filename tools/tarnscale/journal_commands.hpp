// The journal of weighings as the tool has it: the book of run and monitor, and what reads it.
#pragma once

#include <memory>
#include <string>

#include "outlets/weighing.hpp"
#include "tools/tarnscale/outlets.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

/// Opens the journal for writing. Throws Failure.
std::unique_ptr<WeighingBook> OpenJournal(Program& program, const OutletOptions& options);

struct RecordsOptions {
  std::string action;  ///< "list", "export" or "verify"
  std::string folder;
  std::string after;  ///< a number: list and export leave out the numbers up to this one
  bool csv = false;   ///< what export writes anyway
  bool json = false;  ///< export writes an object a line
};
int RecordsCommand(Program& program, const RecordsOptions& options);

}  // namespace tarn::tool
