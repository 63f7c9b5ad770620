// IUnknown and the part of IDispatch that every small object of ours answers in the same way.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <atomic>

namespace tarn {

/// An object with one interface that is deleted with its last reference. It starts with one, which
/// its creator owns. References are counted from any thread.
template <class Interface>
class CountedObject : public Interface {
 public:
  CountedObject() = default;
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (iid != IID_IUnknown && iid != __uuidof(Interface)) return E_NOINTERFACE;
    *object = static_cast<Interface*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~CountedObject() = default;
  ULONG References() const { return references_; }

 private:
  std::atomic<ULONG> references_ = 1;
};

/// An object with one interface that does not count its references, since it outlives them.
template <class Interface>
class UncountedObject : public Interface {
 public:
  UncountedObject() = default;
  UncountedObject(const UncountedObject&) = delete;
  UncountedObject& operator=(const UncountedObject&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == __uuidof(Interface);
    *object = known ? static_cast<Interface*>(this) : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }

 protected:
  virtual ~UncountedObject() = default;
};

/// IDispatch without names and type information, for callers that know the ids.
template <class Base>
class NamelessDispatch : public Base {
 public:
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return DISP_E_UNKNOWNNAME;
  }
};

}  // namespace tarn
