// The object WScript, as scripts know it from the system's own host.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "automation/com_owners.hpp"
#include "automation/com_unknown.hpp"
#include "automation/script_host/event_sink.hpp"

namespace tarn::script_host {

/// An object of the host whose members have the ids 1, 2, ... in the order of their names. The
/// script engines need nothing else of IDispatch.
class NamedMembers : public NamelessDispatch<CountedObject<IDispatch>> {
 public:
  explicit NamedMembers(std::vector<const wchar_t*> names) : names_(std::move(names)) {}

  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT* result,
                      EXCEPINFO* error, UINT*) override;

 protected:
  /// The arguments are in the script's order and hold no references. Throws an HRESULT.
  virtual Variant Call(DISPID id, std::vector<Variant>& arguments) = 0;

 private:
  std::vector<const wchar_t*> names_;
};

/// What the host itself does for the script.
struct HostActions {
  /// Ends the process; returns only where that has to wait until an event has been handled.
  std::function<void(int code)> quit;
  std::function<bool()> quitting;
  /// Calls a function of the script.
  EventHandler raise;
};

class HostObject final : public NamedMembers {
 public:
  HostObject(HostActions actions, std::wstring script, std::vector<std::wstring> arguments);

  /// No more events.
  void DisconnectAll();

 private:
  Variant Call(DISPID id, std::vector<Variant>& arguments) override;
  Variant CreateObject(std::vector<Variant>& arguments);
  void ConnectObject(IDispatch& object, const std::wstring& prefix);
  void DisconnectObject(IDispatch& object);
  void Sleep(DWORD milliseconds);

  HostActions actions_;
  std::wstring script_;
  ComPtr<NamedMembers> arguments_;
  std::vector<std::unique_ptr<EventConnection>> connections_;
};

}  // namespace tarn::script_host
