// The run-time error that clients of the server see: a number, a description and a source.
//
// Every failure that a client call may meet leaves the core as an AutomationError. The Automation
// front turns the number into the HRESULT 0x800A0000 + number; the native tools print the text.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tarn {

/// Numbers of the run-time errors that the system raises. The numbers are those that Automation
/// clients know from their own run time.
enum class ErrorNumber : int {
  Overflow = 6,
  SubscriptOutOfRange = 9,
  TypeMismatch = 13,
  FileNotFound = 53,
  DeviceInputOutput = 57,
  DiskFull = 61,
  PermissionDenied = 70,
  PathFileAccess = 75,
  ObjectNotSet = 91,
  InvalidFileFormat = 321,
  InvalidPropertyValue = 380,
  CannotCreateObject = 429,
  KeyAlreadyPresent = 457,
  PortNotClosed = 8000,  ///< a setting that needs a closed port was written while it was open
  InvalidPort = 8002,    ///< the port does not exist
  PortInUse = 8005,      ///< the port is open already, here or in another program
  PortNotOpen = 8018,    ///< a write to a port that is closed
  SocketNoPermission = 10013,
  SocketDatagramTooLong = 10040,
  SocketAddressInUse = 10048,
  SocketWrongState = 40006,  ///< the operation needs another transport or state
  SocketNotClosed = 40020,   ///< a setting that needs a closed socket was written while it was open
};

/// Thrown by the core; never crosses the message loop or a COM call.
class AutomationError : public std::runtime_error {
 public:
  AutomationError(ErrorNumber number, const std::string& description,
                  std::string source = "TarnSclServer")
      : std::runtime_error(description), number_(number), source_(std::move(source)) {}

  ErrorNumber Number() const { return number_; }
  std::string Description() const { return what(); }
  const std::string& Source() const { return source_; }

 private:
  ErrorNumber number_;
  std::string source_;
};

/// Errors with a fixed description.
[[noreturn]] inline void ThrowOverflow() {
  throw AutomationError(ErrorNumber::Overflow, "Overflow");
}
[[noreturn]] inline void ThrowSubscriptOutOfRange() {
  throw AutomationError(ErrorNumber::SubscriptOutOfRange, "Subscript out of range");
}
[[noreturn]] inline void ThrowTypeMismatch(const std::string& what = "Type mismatch") {
  throw AutomationError(ErrorNumber::TypeMismatch, what);
}
[[noreturn]] inline void ThrowObjectNotSet(const std::string& what = "Object variable not set") {
  throw AutomationError(ErrorNumber::ObjectNotSet, what);
}

/// The object behind a reference, or error 91 where there is none.
template <class Pointer>
auto& Required(const Pointer& pointer, const char* what = "Object variable not set") {
  if (!pointer) ThrowObjectNotSet(what);
  return *pointer;
}

}  // namespace tarn
