// An object on its way to another apartment.
#pragma once

#include <windows.h>

#include <objbase.h>

#include "automation/com_owners.hpp"

namespace tarn {

/// Packed in the object's apartment, opened in the other one. One that never gets there is let go.
class Parcel {
 public:
  Parcel() = default;
  /// Stays empty where COM refuses.
  Parcel(IUnknown* object, const IID& iid) {
    CoMarshalInterThreadInterfaceInStream(iid, object, stream_.Receive());
  }
  Parcel(Parcel&&) noexcept = default;
  Parcel& operator=(Parcel&&) noexcept = default;
  ~Parcel() {
    if (stream_) CoReleaseMarshalData(stream_.Get());
  }

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
};

}  // namespace tarn
