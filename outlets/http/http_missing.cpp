// In place of http_outlet.cpp where there is no libmicrohttpd.
#include "base/automation_error.hpp"
#include "outlets/http/http_outlet.hpp"

namespace tarn::http {

bool IsBuiltIn() {
  return false;
}

std::unique_ptr<HttpOutlet> MakeHttpOutlet(NativeHost& /*host*/, ScaleSource& /*source*/,
                                           WeighingBook& /*book*/, AuditLog& /*audit*/,
                                           const OutletSettings& /*settings*/,
                                           ServerWords /*words*/) {
  throw AutomationError(ErrorNumber::CannotCreateObject,
                        "this program was built without HTTP: libmicrohttpd was not there");
}

}  // namespace tarn::http
