// The command/response protocol; the first byte chooses the type.
#include "tests/fuzz/serial_line.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  // A line of 30 bytes, each of them two in the record's text.
  tarn::FuzzSerialLine("MiraProtocol", tarn::ProtocolType{6 + data[0] % 2},
                       {reinterpret_cast<const char*>(data) + 1, size - 1}, 60);
  return 0;
}
