// The base of the objects that test clients hand to the server. They live as long as the client.
#pragma once

#include "automation/com_unknown.hpp"

namespace tarn {

/// Can be reached through the slots of the contract only.
template <class Contract>
class Own : public NamelessDispatch<UncountedObject<Contract>> {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    const IID& asked = iid == IID_IDispatch ? __uuidof(Contract) : iid;
    return UncountedObject<Contract>::QueryInterface(asked, object);
  }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    return E_NOTIMPL;
  }
};

}  // namespace tarn
