// Connects the events of an object to the functions of a script.
#pragma once

#include <windows.h>

#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#include <functional>
#include <memory>

#include "automation/com_owners.hpp"

namespace tarn::script_host {

/// Throws the result of a call that failed.
inline void Check(HRESULT result) {
  if (FAILED(result)) throw result;
}

/// Calls the script's function of that name, if there is one.
using EventHandler = std::function<HRESULT(const std::wstring& event, DISPPARAMS& arguments)>;

/// Receives the events of one object until it is destroyed or disconnected. The names of the events
/// are read from the type library of the object.
class EventConnection {
 public:
  /// Throws an HRESULT when the object has no events that a script could receive.
  EventConnection(IDispatch& source, EventHandler handler);
  EventConnection(const EventConnection&) = delete;
  EventConnection& operator=(const EventConnection&) = delete;
  ~EventConnection() { Disconnect(); }

  void Disconnect();
  bool IsOf(IUnknown& object) const;

 private:
  ComPtr<IUnknown> source_;
  ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace tarn::script_host
