#include "platform/win32/win32_open_port.hpp"

#include "platform/win32/win32_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

constexpr DWORD kDriverQueue = 16384;

/// Device names do not know upper and lower case.
std::wstring TableKey(const std::string& device) {
  std::wstring key = ToWide(device);
  CharUpperBuffW(key.data(), static_cast<DWORD>(key.size()));
  return key;
}

ErrorNumber OpenErrorNumber(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
      return ErrorNumber::InvalidPort;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
      return ErrorNumber::PortInUse;
    default:
      return ErrorNumber::DeviceInputOutput;
  }
}

BYTE ParityByte(SerialSettings::Parity parity) {
  using Parity = SerialSettings::Parity;
  switch (parity) {
    case Parity::None:
      return NOPARITY;
    case Parity::Even:
      return EVENPARITY;
    case Parity::Odd:
      return ODDPARITY;
    case Parity::Space:
      return SPACEPARITY;
    case Parity::Mark:
      return MARKPARITY;
  }
  return NOPARITY;
}

BYTE StopBitsByte(SerialSettings::StopBits stopBits) {
  using StopBits = SerialSettings::StopBits;
  if (stopBits == StopBits::One) return ONESTOPBIT;
  return stopBits == StopBits::Two ? TWOSTOPBITS : ONE5STOPBITS;
}

/// Raw bytes both ways, no flow control, the modem lines on so that the other side is powered.
DCB ControlBlock(const DCB& present, const SerialSettings& settings) {
  DCB block = present;
  block.BaudRate = static_cast<DWORD>(settings.baud);
  block.ByteSize = static_cast<BYTE>(settings.dataBits);
  block.Parity = ParityByte(settings.parity);
  block.StopBits = StopBitsByte(settings.stopBits);
  block.fBinary = TRUE;
  block.fParity = settings.parity != SerialSettings::Parity::None;
  block.fOutxCtsFlow = FALSE;
  block.fOutxDsrFlow = FALSE;
  block.fDtrControl = DTR_CONTROL_ENABLE;
  block.fDsrSensitivity = FALSE;
  block.fOutX = FALSE;
  block.fInX = FALSE;
  block.fErrorChar = FALSE;
  block.fNull = FALSE;
  block.fRtsControl = RTS_CONTROL_ENABLE;
  block.fAbortOnError = FALSE;
  return block;
}

/// A line without modem lines (a pseudo-terminal) serves as well.
bool ApplyState(HANDLE port, DCB block) {
  return SetCommState(port, &block) || GetLastError() == ERROR_NOT_SUPPORTED;
}

/// Drivers without mark and space parity use an ordinary parity in its place, and not all of them
/// say so.
void RequireFixedParity(HANDLE port, const SerialSettings& settings) {
  using Parity = SerialSettings::Parity;
  if (settings.parity != Parity::Mark && settings.parity != Parity::Space) return;
  const WORD needed = settings.parity == Parity::Mark ? PARITY_MARK : PARITY_SPACE;
  COMMPROP properties{};
  if (!GetCommProperties(port, &properties)) return;
  if ((properties.wSettableStopParity & needed) == 0) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue,
                          "Mark or space parity is not possible here");
  }
}

void ApplySettings(HANDLE port, const SerialSettings& settings) {
  RequireFixedParity(port, settings);
  DCB present{};
  present.DCBlength = sizeof present;
  if (!GetCommState(port, &present)) {
    ThrowSystemError(ErrorNumber::DeviceInputOutput, "It is not a serial port", GetLastError());
  }
  const DCB wanted = ControlBlock(present, settings);
  if (ApplyState(port, wanted)) return;

  // Wine refuses a state that changes nothing although the line cannot do it in full. It takes the
  // state once more after another one.
  SerialSettings other;
  other.baud = settings.baud == 9600 ? 19200 : 9600;
  if (ApplyState(port, ControlBlock(present, other)) && ApplyState(port, wanted)) return;
  const DWORD code = GetLastError();
  ThrowSystemError(code == ERROR_INVALID_PARAMETER ? ErrorNumber::InvalidPropertyValue
                                                   : ErrorNumber::DeviceInputOutput,
                   "It refuses the line settings", code);
}

/// A read lasts until the line has been quiet for a millisecond after its first byte; a write lasts
/// as long as it takes.
void ApplyTimeouts(HANDLE port) {
  COMMTIMEOUTS timeouts{};
  timeouts.ReadIntervalTimeout = 1;
  if (!SetCommTimeouts(port, &timeouts)) {
    ThrowSystemError(ErrorNumber::DeviceInputOutput, "It takes no time-outs", GetLastError());
  }
}

}  // namespace

void Win32PortTable::Claim::Closing() {
  const std::lock_guard lock(table_->mutex_);
  const auto found = table_->held_.find(device_);
  if (found == table_->held_.end() || found->second.id != id_) return;  // released already
  found->second.letGoBy = Clock::now() + kLetGoTime;
}

void Win32PortTable::Claim::Release() {
  if (!table_) return;
  {
    const std::lock_guard lock(table_->mutex_);
    const auto found = table_->held_.find(device_);
    if (found == table_->held_.end() || found->second.id != id_) return;
    table_->held_.erase(found);
  }
  table_->released_.notify_all();
}

Win32PortTable::Claim Win32PortTable::Take(const std::shared_ptr<Win32PortTable>& table,
                                           const std::string& device) {
  std::wstring key = TableKey(device);
  std::unique_lock lock(table->mutex_);
  for (auto found = table->held_.find(key); found != table->held_.end();
       found = table->held_.find(key)) {
    const auto letGoBy = found->second.letGoBy;
    if (!letGoBy || Clock::now() >= *letGoBy) {
      throw AutomationError(ErrorNumber::PortInUse, "It is open already");
    }
    table->released_.wait_until(lock, *letGoBy);
  }
  const std::uint64_t id = ++table->lastId_;
  table->held_.emplace(key, Holder{id, std::nullopt});
  return {table, std::move(key), id};
}

std::string Win32DevicePath(const std::string& name) {
  return name.starts_with("\\\\") ? name : "\\\\.\\" + name;
}

Win32OpenPort OpenWin32Port(const std::shared_ptr<Win32PortTable>& table, const std::string& device,
                            const SerialSettings& settings) {
  const std::string path = Win32DevicePath(device);
  Win32OpenPort port{
      Win32PortTable::Take(table, path),
      OwnedHandle(CreateFileW(ToWide(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                              OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr))};
  if (!port.handle) {
    const DWORD code = GetLastError();
    throw AutomationError(OpenErrorNumber(code), SystemMessage(code));
  }
  // The results of SetupComm and PurgeComm are ignored: the port works without a queue of this
  // size, and with what waits in it.
  SetupComm(port.handle.Get(), kDriverQueue, kDriverQueue);
  ApplySettings(port.handle.Get(), settings);
  ApplyTimeouts(port.handle.Get());
  PurgeComm(port.handle.Get(), PURGE_RXCLEAR | PURGE_TXCLEAR);
  return port;
}

}  // namespace tarn
