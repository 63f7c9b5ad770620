#include "automation/script_host/script_runner.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace tarn::script_host {
namespace {

Bstr Adopt(BSTR text) {
  Bstr owner;
  *owner.Receive() = text;
  return owner;
}

/// Errors of Basic carry their number in the low word.
LONG ErrorNumberOf(SCODE code) {
  return HRESULT_FACILITY(code) == FACILITY_CONTROL ? static_cast<LONG>(HRESULT_CODE(code)) : code;
}

void PrintError(const std::wstring& file, ULONG line, LONG column, EXCEPINFO& error) {
  if (error.pfnDeferredFillIn) error.pfnDeferredFillIn(&error);
  const Bstr description = Adopt(error.bstrDescription);
  const Bstr source = Adopt(error.bstrSource);
  const Bstr help = Adopt(error.bstrHelpFile);
  const SCODE code = error.wCode != 0 ? error.wCode : error.scode;
  std::fflush(stdout);
  std::fprintf(stderr, "%ls(%lu, %ld) %ls: error %ld (%08lX): %ls\n", file.c_str(), line, column,
               source.Text().c_str(), ErrorNumberOf(code), static_cast<ULONG>(code),
               description.Text().c_str());
  std::fflush(stderr);
}

/// In the user's code page, as the system's own host reads it.
std::wstring ReadScript(const std::wstring& file) {
  std::ifstream stream(std::filesystem::path(file), std::ios::binary);
  if (!stream) throw HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  std::wstring text(bytes.size(), L'\0');
  const int size = MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()),
                                       text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<std::size_t>(size));
  return text;
}

}  // namespace

ScriptRunner::ScriptRunner(std::wstring file, std::vector<std::wstring> arguments)
    : file_(std::move(file)) {
  HostActions actions;
  actions.quit = [this](int code) { Quit(code); };
  actions.quitting = [this] { return quitting_; };
  actions.raise = [this](const std::wstring& function, DISPPARAMS& parameters) {
    return Raise(function, parameters);
  };
  *host_.Receive() = new HostObject(std::move(actions), file_, std::move(arguments));
}

int ScriptRunner::Run(const std::wstring& code, const wchar_t* engine) {
  CLSID clsid;
  Check(CLSIDFromProgID(engine, &clsid));
  Check(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IActiveScript,
                         reinterpret_cast<void**>(engine_.Receive())));
  const auto parser = engine_.As<IActiveScriptParse>();
  if (!parser) throw E_NOINTERFACE;
  Check(parser->InitNew());
  Check(engine_->SetScriptSite(this));
  Check(engine_->AddNamedItem(L"WScript", SCRIPTITEM_ISVISIBLE));
  // The code runs when the engine is started. An error in it has been printed by then, and its
  // result is of no further use.
  const HRESULT parsed =
      parser->ParseScriptText(code.c_str(), nullptr, nullptr, nullptr, 0, 0, 0, nullptr, nullptr);
  if (SUCCEEDED(parsed)) engine_->SetScriptState(SCRIPTSTATE_CONNECTED);
  if (FAILED(parsed) && exitCode_ == 0) throw parsed;
  End(exitCode_);
  return exitCode_;
}

void ScriptRunner::End(int code) {
  exitCode_ = code;
  quitting_ = true;
  host_->DisconnectAll();
  const auto engine = std::exchange(engine_, {});
  // Releases the script's variables, and with them the server.
  if (engine) engine->Close();
}

void ScriptRunner::Quit(int code) {
  if (quitting_) return;
  if (eventDepth_ > 0) {
    // The sender of the event waits for its end.
    exitCode_ = code;
    quitting_ = true;
    return;
  }
  End(code);
  std::fflush(stdout);
  ExitProcess(static_cast<UINT>(exitCode_));
}

HRESULT ScriptRunner::Raise(const std::wstring& function, DISPPARAMS& arguments) {
  if (!engine_ || quitting_) return S_OK;
  ComPtr<IDispatch> script;
  HRESULT result = engine_->GetScriptDispatch(nullptr, script.Receive());
  if (FAILED(result)) return result;
  std::wstring name = function;
  LPOLESTR names = name.data();
  DISPID id = DISPID_UNKNOWN;
  if (FAILED(script->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id))) return S_OK;
  ++eventDepth_;
  EXCEPINFO error{};
  result = script->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &arguments, nullptr,
                          &error, nullptr);
  --eventDepth_;
  if (SUCCEEDED(result) || quitting_) return S_OK;
  // Not every engine reports an error in a function that the host called.
  if (error.scode == 0) error.scode = result;
  PrintError(file_ + L" " + function, 0, 0, error);
  exitCode_ = 1;
  quitting_ = true;
  return S_OK;
}

STDMETHODIMP ScriptRunner::GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** item,
                                       ITypeInfo** type) {
  if (type) *type = nullptr;
  if (item) *item = nullptr;
  if (_wcsicmp(name, L"WScript") != 0) return TYPE_E_ELEMENTNOTFOUND;
  if (mask & SCRIPTINFO_IUNKNOWN) *item = ComPtr<IUnknown>(host_.Get()).Detach();
  return S_OK;
}

STDMETHODIMP ScriptRunner::OnScriptError(IActiveScriptError* error) {
  if (quitting_) return S_OK;
  DWORD context = 0;
  ULONG line = 0;
  LONG column = 0;
  error->GetSourcePosition(&context, &line, &column);
  EXCEPINFO exception{};
  error->GetExceptionInfo(&exception);
  PrintError(file_, line + 1, column + 1, exception);
  exitCode_ = 1;
  quitting_ = true;
  return S_OK;
}

int RunScript(const std::wstring& file, std::vector<std::wstring> arguments) {
  const std::wstring extension = std::filesystem::path(file).extension().wstring();
  const wchar_t* engine = nullptr;
  if (_wcsicmp(extension.c_str(), L".vbs") == 0) engine = L"VBScript";
  if (_wcsicmp(extension.c_str(), L".js") == 0) engine = L"JScript";
  if (engine == nullptr) {
    std::fprintf(stderr, "There is no script engine for %ls\n", file.c_str());
    return 2;
  }
  ScriptRunner runner(file, std::move(arguments));
  return runner.Run(ReadScript(file), engine);
}

}  // namespace tarn::script_host
