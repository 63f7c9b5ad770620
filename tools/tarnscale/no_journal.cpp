// Where the program is built without a library for the sums of a journal.
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/journal_commands.hpp"

namespace tarn::tool {
namespace {

[[noreturn]] void ThrowNoJournal() {
  throw Failure("this tarnscale was built without OpenSSL's libcrypto, which a journal needs");
}

}  // namespace

std::unique_ptr<WeighingBook> OpenJournal(Program& /*program*/, const OutletOptions& /*options*/) {
  ThrowNoJournal();
}

int RecordsCommand(Program& /*program*/, const RecordsOptions& /*options*/) {
  ThrowNoJournal();
}

}  // namespace tarn::tool
