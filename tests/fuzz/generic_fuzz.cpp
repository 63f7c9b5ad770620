// The fixed-layout frames; the first byte chooses the type, one of them or none.
#include "tests/fuzz/serial_line.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  // A sign and eight bytes, each of them two in the record's text.
  tarn::FuzzSerialLine("GenericProtocol", tarn::ProtocolType{23 + data[0] % 6},
                       {reinterpret_cast<const char*>(data) + 1, size - 1}, 17);
  return 0;
}
