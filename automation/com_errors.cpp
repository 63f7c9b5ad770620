#include "automation/com_errors.hpp"

#include <exception>
#include <string>

#include "automation/com_owners.hpp"
#include "base/automation_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

constexpr int kGeneralFailure = 440;
constexpr const char* kSource = "TarnSclServer";

HRESULT Report(int number, const std::string& description, const std::string& source) {
  ComPtr<ICreateErrorInfo> creation;
  if (SUCCEEDED(CreateErrorInfo(creation.Receive()))) {
    creation->SetDescription(Bstr(ToWide(description)).Get());
    creation->SetSource(Bstr(ToWide(source)).Get());
    if (const auto error = creation.As<IErrorInfo>()) SetErrorInfo(0, error.Get());
  }
  return ResultOfError(number);
}

HRESULT ReportByKind() {
  try {
    throw;
  } catch (const AutomationError& error) {
    return Report(static_cast<int>(error.Number()), error.Description(), error.Source());
  } catch (const std::exception& error) {
    return Report(kGeneralFailure, error.what(), kSource);
  } catch (...) {
    return Report(kGeneralFailure, "Automation error", kSource);
  }
}

}  // namespace

HRESULT ReportCurrentException() noexcept {
  try {
    return ReportByKind();
  } catch (...) {
    return ResultOfError(kGeneralFailure);  // no memory for the words
  }
}

}  // namespace tarn
