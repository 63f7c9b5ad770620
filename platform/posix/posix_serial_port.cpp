#include "platform/posix/posix_serial_port.hpp"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "platform/serial_settings.hpp"

namespace tarn {
namespace {

constexpr std::size_t kReadSize = 4096;  // what a line discipline hands over at once

struct Speed {
  std::int32_t baud;
  speed_t code;
};
constexpr Speed kSpeeds[] = {
    {110, B110},       {134, B134},       {150, B150},       {200, B200},       {300, B300},
    {600, B600},       {1200, B1200},     {1800, B1800},     {2400, B2400},     {4800, B4800},
    {9600, B9600},     {19200, B19200},   {38400, B38400},   {57600, B57600},   {115200, B115200},
    {230400, B230400}, {460800, B460800}, {500000, B500000}, {576000, B576000}, {921600, B921600},
};

[[noreturn]] void ThrowOpenError(const std::string& title, int error) {
  ErrorNumber number = CommonErrorNumber(error);
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ENXIO:
    case ENODEV:
    case ENOTTY:  // a file, but no line
    case EIO:     // the name of a port that this machine does not have
      number = ErrorNumber::InvalidPort;
      break;
    case EBUSY:
    case EWOULDBLOCK:
      throw AutomationError(ErrorNumber::PortInUse,
                            "The " + title + " is in use, here or in another program");
    case EINVAL:
      number = ErrorNumber::InvalidPropertyValue;
      break;
    default:
      break;
  }
  ThrowError(number, "The " + title + " does not open", error);
}

[[noreturn]] void Refuse(const std::string& what) {
  throw AutomationError(ErrorNumber::InvalidPropertyValue, what + " is not possible here");
}

tcflag_t SizeFlag(int dataBits) {
  switch (dataBits) {
    case 5:
      return CS5;
    case 6:
      return CS6;
    case 7:
      return CS7;
    case 8:
      return CS8;
    default:
      Refuse(std::to_string(dataBits) + " data bits");
  }
}

tcflag_t ParityFlags(SerialSettings::Parity parity) {
  switch (parity) {
    case SerialSettings::Parity::None:
      return 0;
    case SerialSettings::Parity::Even:
      return PARENB;
    case SerialSettings::Parity::Odd:
      return PARENB | PARODD;
    case SerialSettings::Parity::Space:
      return PARENB | CMSPAR;
    case SerialSettings::Parity::Mark:
      return PARENB | CMSPAR | PARODD;
  }
  return 0;
}

/// The line as it is to be: raw, without flow control and without regard to the modem lines.
termios LineState(const SerialSettings& settings) {
  const auto* speed = std::find_if(std::begin(kSpeeds), std::end(kSpeeds),
                                   [&](const Speed& s) { return s.baud == settings.baud; });
  if (speed == std::end(kSpeeds)) Refuse(std::to_string(settings.baud) + " baud");

  termios state{};
  ::cfmakeraw(&state);
  state.c_cflag = CREAD | CLOCAL | SizeFlag(settings.dataBits) | ParityFlags(settings.parity);
  if (settings.stopBits != SerialSettings::StopBits::One) state.c_cflag |= CSTOPB;
  state.c_cc[VMIN] = 1;  // so that a read of 0 bytes means the line is gone
  state.c_cc[VTIME] = 0;
  ::cfsetispeed(&state, speed->code);
  ::cfsetospeed(&state, speed->code);
  return state;
}

/// Drivers take a parity bit that is always on or off for one that they know, and leave the mark
/// for it out of the state that they then have.
void RequireFixedParity(int line, const termios& wanted) {
  constexpr tcflag_t kParity = PARENB | PARODD | CMSPAR;
  termios found{};
  if ((wanted.c_cflag & CMSPAR) == 0 || ::tcgetattr(line, &found) < 0) return;
  if (((wanted.c_cflag ^ found.c_cflag) & kParity) != 0) Refuse("Mark or space parity");
}

bool IsPseudoTerminal(const std::string& device) {
  std::error_code error;
  return std::filesystem::canonical(device, error).string().starts_with("/dev/pts/");
}

}  // namespace

std::string PortTable::DeviceName(int number) const {
  if (const auto found = deviceNames.find(number); found != deviceNames.end()) return found->second;
  return number >= 1 ? "/dev/ttyS" + std::to_string(number - 1) : std::string();
}

PosixSerialPort::PosixSerialPort(PosixMessageLoop& loop, PortTable& table)
    : loop_(loop), table_(table), buffer_(loop, [this] { Receive.Raise(); }) {}

void PosixSerialPort::PortNumber(std::int16_t number) {
  if (number != number_) RequireClosed();
  number_ = number;
}

void PosixSerialPort::Settings(std::string_view settings) {
  if (settings != settings_) RequireClosed();
  settings_ = settings;
}

void PosixSerialPort::RequireClosed() const {
  if (!line_) return;
  throw AutomationError(ErrorNumber::PortNotClosed, "The " + Title() + " is open");
}

std::string PosixSerialPort::Title() const {
  return PortTitle(number_, deviceName_);
}

void PosixSerialPort::PortOpen(bool open) {
  if (open == PortOpen()) return;
  if (open)
    Open();
  else
    Close();
}

void PosixSerialPort::Open() {
  const SerialSettings settings = ParseSerialSettings(settings_);
  const termios state = LineState(settings);
  const std::string device = table_.DeviceName(number_);
  const std::string title = PortTitle(number_, device);
  if (device.empty()) ThrowOpenError(title, ENOENT);

  OwnedFd line(
      Retry([&] { return ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }));
  if (!line) ThrowOpenError(title, errno);
  if (::isatty(line.Get()) == 0) ThrowOpenError(title, errno);
  // The lock keeps out whoever asks for one, in this program too and by any name of the device; the
  // mark "exclusive" keeps out all others. A pseudo-terminal would keep the mark for as long as its
  // other end holds it, also when the program that set it was killed.
  if (::flock(line.Get(), LOCK_EX | LOCK_NB) < 0) ThrowOpenError(title, errno);
  const bool isPseudoTerminal = IsPseudoTerminal(device);
  if (!isPseudoTerminal) ::ioctl(line.Get(), TIOCEXCL);
  // A pseudo-terminal has neither parity nor 7 bits, and where nothing else changes, as when it is
  // opened again, the library takes that for a refusal.
  const bool set = ::tcsetattr(line.Get(), TCSANOW, &state) == 0;
  if (!set && !(errno == EINVAL && isPseudoTerminal)) ThrowOpenError(title, errno);
  if (!isPseudoTerminal) RequireFixedParity(line.Get(), state);
  ::tcflush(line.Get(), TCIOFLUSH);

  buffer_.Clear();
  buffer_.CharacterTime(settings.CharacterTime());
  watch_ = loop_.WatchFd(line.Get(), EPOLLIN, [this](std::uint32_t events) { OnReady(events); });
  line_ = std::move(line);
  deviceName_ = device;
}

void PosixSerialPort::Close() {
  if (!line_) return;
  watch_.Reset();
  // The driver sends what it has taken before it closes, and the loop would wait with it.
  ::tcflush(line_.Get(), TCOFLUSH);
  ::ioctl(line_.Get(), TIOCNXCL);
  line_.Reset();
  deviceName_.clear();
  queue_.clear();
  buffer_.Clear();
}

void PosixSerialPort::LineGone() {
  const std::string title = Title();
  Close();
  table_.trace("The " + title + " went away");
  loop_.Post([this, alive = std::weak_ptr<int>(alive_)] {
    if (!alive.expired() && !line_) Lost.Raise();
  });
}

void PosixSerialPort::OnReady(std::uint32_t events) {
  if ((events & EPOLLOUT) != 0) WriteQueue();
  if (line_ && (events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0) {
    ReadLine((events & (EPOLLHUP | EPOLLERR)) != 0);
  }
}

void PosixSerialPort::ReadLine(bool hungUp) {
  std::array<char, kReadSize> bytes;
  const auto count = Retry([&] { return ::read(line_.Get(), bytes.data(), bytes.size()); });
  if (count < 0 && errno == EAGAIN && !hungUp) return;
  if (count <= 0) {
    LineGone();
    return;
  }
  // A handler may destroy this port: nothing may follow.
  buffer_.Arrived({bytes.data(), static_cast<std::size_t>(count)});
}

void PosixSerialPort::Output(std::string_view bytes) {
  if (!line_) throw AutomationError(ErrorNumber::PortNotOpen, "The " + Title() + " is not open");
  if (queue_.size() + bytes.size() > kMaxQueuedOutput) {
    throw AutomationError(ErrorNumber::DeviceInputOutput,
                          "The " + Title() + " does not send: its output queue is full");
  }
  queue_ += bytes;
  WriteQueue();
  if (!line_) throw AutomationError(ErrorNumber::PortNotOpen, "The " + Title() + " went away");
}

void PosixSerialPort::WriteQueue() {
  if (!queue_.empty()) {
    const auto count = Retry([&] { return ::write(line_.Get(), queue_.data(), queue_.size()); });
    if (count < 0 && errno != EAGAIN) {
      LineGone();
      return;
    }
    if (count > 0) queue_.erase(0, static_cast<std::size_t>(count));
  }
  watch_.Events(queue_.empty() ? EPOLLIN : EPOLLIN | EPOLLOUT);
}

}  // namespace tarn
