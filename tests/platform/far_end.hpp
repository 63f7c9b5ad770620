// The other end of a socket control under test.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// Lives on 127.0.0.1. What it does shows at the control when the loop runs.
class FarEnd {
 public:
  FarEnd() = default;
  FarEnd(const FarEnd&) = delete;
  FarEnd& operator=(const FarEnd&) = delete;
  virtual ~FarEnd() = default;

  /// Each gives its port.
  virtual std::int32_t Listen() = 0;
  virtual std::int32_t OpenDatagrams() = 0;
  /// A port where nobody is, and the answer that this gives when something was sent there.
  virtual std::int32_t ClosedPort() = 0;
  virtual void AnswerClosedPort(std::int32_t number) = 0;

  /// Takes the connection that waits; false while none does.
  virtual bool Accept() = 0;
  virtual void Send(std::string_view bytes) = 0;
  virtual void SendDatagram(std::string_view bytes, std::int32_t toPort) = 0;
  virtual void FinishSending() = 0;
  virtual void Reset() = 0;

  /// All that came: one entry a datagram, or one for the stream.
  virtual const std::vector<std::string>& Received() = 0;
  /// Takes nothing from the network until Received is asked.
  virtual void StopReading() = 0;
};

std::unique_ptr<FarEnd> MakeNativeFarEnd();

}  // namespace tarn
