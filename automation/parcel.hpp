// An object on its way from one apartment to another.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <cstdint>

#include "automation/com_owners.hpp"

namespace tarn {

/// Packed in the object's apartment, opened in the other one. A parcel that is never opened
/// releases the object.
class Parcel {
 public:
  Parcel() = default;
  /// Stays empty where COM refuses; Packed gives the reason.
  Parcel(IUnknown* object, const IID& iid)
      : packed_(CoMarshalInterThreadInterfaceInStream(iid, object, stream_.Receive())) {}
  Parcel(Parcel&&) noexcept = default;
  Parcel& operator=(Parcel&&) noexcept = default;
  ~Parcel() {
    if (stream_) CoReleaseMarshalData(stream_.Get());
  }

  HRESULT Packed() const { return packed_; }
  /// The apartment that the object lives in; 0 where the parcel does not say.
  std::uint64_t Apartment() const;

  /// With the interface that it was packed with. Empty where the parcel is, or where COM refuses.
  template <class Interface>
  ComPtr<Interface> Open(const IID& iid) {
    ComPtr<Interface> object;
    if (stream_) {
      CoGetInterfaceAndReleaseStream(stream_.Detach(), iid,
                                     reinterpret_cast<void**>(object.Receive()));
    }
    return object;
  }

 private:
  ComPtr<IStream> stream_;
  HRESULT packed_ = S_OK;
};

}  // namespace tarn
