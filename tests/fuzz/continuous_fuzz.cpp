// The continuous protocol; the first byte chooses the layout.
#include "tests/fuzz/serial_line.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  tarn::FuzzSerialLine("TarnContinuousProtocol", tarn::ProtocolType{data[0] % 7},
                       {reinterpret_cast<const char*>(data) + 1, size - 1}, 32);
  return 0;
}
