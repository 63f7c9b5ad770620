// Runs one script on the system's own engines for Visual Basic and Java script.
#pragma once

#include <windows.h>

#include <activscp.h>

#include <string>
#include <vector>

#include "automation/com_owners.hpp"
#include "automation/com_unknown.hpp"
#include "automation/script_host/host_object.hpp"

namespace tarn::script_host {

class ScriptRunner final : public UncountedObject<IActiveScriptSite> {
 public:
  ScriptRunner(std::wstring file, std::vector<std::wstring> arguments);

  /// The exit code: the script's own, 1 after an error, which has then been printed. A script that
  /// quits outside an event ends the process right there. Throws an HRESULT when the engine fails.
  int Run(const std::wstring& code, const wchar_t* engine);

  // What the engine asks. It holds no reference after Run.
  STDMETHODIMP GetLCID(LCID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** item, ITypeInfo** type) override;
  STDMETHODIMP GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
  STDMETHODIMP OnStateChange(SCRIPTSTATE) override { return S_OK; }
  STDMETHODIMP OnScriptError(IActiveScriptError* error) override;
  STDMETHODIMP OnEnterScript() override { return S_OK; }
  STDMETHODIMP OnLeaveScript() override { return S_OK; }

 private:
  void Quit(int code);
  HRESULT Raise(const std::wstring& function, DISPPARAMS& arguments);
  void End(int code);

  std::wstring file_;
  ComPtr<HostObject> host_;
  ComPtr<IActiveScript> engine_;
  int eventDepth_ = 0;
  bool quitting_ = false;
  int exitCode_ = 0;
};

/// Reads the file and runs it on the engine for its extension, .vbs or .js.
int RunScript(const std::wstring& file, std::vector<std::wstring> arguments);

}  // namespace tarn::script_host
