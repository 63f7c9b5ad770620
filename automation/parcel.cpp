#include "automation/parcel.hpp"

#include <array>
#include <cstddef>
#include <cstring>

namespace tarn {
namespace {

/// Where the standard reference to an object names the apartment that the object lives in: behind
/// signature, flags, interface, reference flags and reference count.
constexpr std::size_t kFlagsAt = 4;
constexpr std::size_t kApartmentAt = 32;
constexpr std::uint32_t kStandardReference = 1;

}  // namespace

std::uint64_t Parcel::Apartment() const {
  if (!stream_) return 0;
  std::array<unsigned char, 40> head{};
  ULONG read = 0;
  const HRESULT result = stream_->Read(head.data(), static_cast<ULONG>(head.size()), &read);
  stream_->Seek({}, STREAM_SEEK_SET, nullptr);
  std::uint32_t flags = 0;
  std::memcpy(&flags, head.data() + kFlagsAt, sizeof flags);
  if (FAILED(result) || read < head.size() || flags != kStandardReference) return 0;
  std::uint64_t apartment = 0;
  std::memcpy(&apartment, head.data() + kApartmentAt, sizeof apartment);
  return apartment;
}

}  // namespace tarn
