#include "platform/posix/posix_line.hpp"

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "platform/posix/posix_support.hpp"

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

[[noreturn]] void ThrowOpenError(int error) {
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
      number = ErrorNumber::PortInUse;
      break;
    case EINVAL:
      number = ErrorNumber::InvalidPropertyValue;
      break;
    default:
      break;
  }
  throw AutomationError(number, ErrorText(error));
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

/// Drivers without mark and space parity use an ordinary parity in its place, and the state that
/// they then report lacks the mark for it.
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

/// What the driver has counted since it was loaded; nothing for drivers that do not count, such as
/// that of pseudo-terminals.
PortErrors DriverCounts(int line) {
  serial_icounter_struct counts{};
  if (::ioctl(line, TIOCGICOUNT, &counts) != 0) return {};
  const auto number = [](int count) { return static_cast<std::uint32_t>(count); };
  return {.parity = number(counts.parity),
          .framing = number(counts.frame),
          .overrun = number(counts.overrun) + number(counts.buf_overrun)};
}

/// Opens the device, for this program alone, and sets it up.
OwnedFd OpenDevice(const std::string& device, const termios& state) {
  OwnedFd line(
      Retry([&] { return ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }));
  if (!line) ThrowOpenError(errno);
  if (::isatty(line.Get()) == 0) ThrowOpenError(errno);
  // The lock keeps out everybody who asks for one, in this program too and by any name of the
  // device; the mark "exclusive" keeps out all others. A pseudo-terminal would keep the mark for as
  // long as its other end holds it, even after the program that set it was killed.
  if (::flock(line.Get(), LOCK_EX | LOCK_NB) < 0) ThrowOpenError(errno);
  const bool isPseudoTerminal = IsPseudoTerminal(device);
  if (!isPseudoTerminal) ::ioctl(line.Get(), TIOCEXCL);
  // A pseudo-terminal has neither parity nor 7 bits, and where nothing else changes, as when it is
  // opened again, the library takes that for a refusal.
  const bool set = ::tcsetattr(line.Get(), TCSANOW, &state) == 0;
  if (!set && !(errno == EINVAL && isPseudoTerminal)) ThrowOpenError(errno);
  if (!isPseudoTerminal) RequireFixedParity(line.Get(), state);
  ::tcflush(line.Get(), TCIOFLUSH);
  return line;
}

class PosixLine final : public NativeLine {
 public:
  PosixLine(PosixMessageLoop& loop, OwnedFd line, Listener listener)
      : listener_(std::move(listener)),
        line_(std::move(line)),
        before_(DriverCounts(line_.Get())),
        watch_(loop.WatchFd(line_.Get(), EPOLLIN,
                            [this](std::uint32_t events) { OnReady(events); })) {}

  ~PosixLine() override {
    watch_.Reset();
    // Otherwise the driver sends what it has taken before it closes, and the loop waits meanwhile.
    ::tcflush(line_.Get(), TCOFLUSH);
    ::ioctl(line_.Get(), TIOCNXCL);
  }

  bool Send(std::string_view bytes) override {
    queue_ += bytes;
    return WriteQueue();
  }
  std::size_t Queued() const override { return queue_.size(); }
  void DiscardInput() override {}  // it gathers nothing: what the loop has not read is the system's
  PortErrors Errors() override {
    const PortErrors now = DriverCounts(line_.Get());
    if (now.parity < before_.parity || now.framing < before_.framing ||
        now.overrun < before_.overrun) {
      return {};  // the device is gone, or the driver was loaded again
    }
    return {.parity = now.parity - before_.parity,
            .framing = now.framing - before_.framing,
            .overrun = now.overrun - before_.overrun};
  }

 private:
  void OnReady(std::uint32_t events) {
    if ((events & EPOLLOUT) != 0 && !WriteQueue()) return Lose(errno);
    if ((events & ~static_cast<std::uint32_t>(EPOLLOUT)) == 0) return;
    std::array<char, kReadSize> bytes;
    const auto count = Retry([&] { return ::read(line_.Get(), bytes.data(), bytes.size()); });
    if (count > 0) {
      const auto arrived = listener_.arrived;  // this line may go meanwhile
      arrived({bytes.data(), static_cast<std::size_t>(count)});
    } else if (count == 0 || errno != EAGAIN || (events & (EPOLLHUP | EPOLLERR)) != 0) {
      Lose(count < 0 ? errno : EIO);
    }
  }

  bool WriteQueue() {
    if (!queue_.empty()) {
      const auto count = Retry([&] { return ::write(line_.Get(), queue_.data(), queue_.size()); });
      if (count < 0 && errno != EAGAIN) return false;
      if (count > 0) queue_.erase(0, static_cast<std::size_t>(count));
    }
    watch_.Events(queue_.empty() ? EPOLLIN : EPOLLIN | EPOLLOUT);
    return true;
  }

  void Lose(int error) {
    const auto lost = listener_.lost;  // this line goes meanwhile
    lost(ErrorText(error));
  }

  Listener listener_;
  std::string queue_;  ///< output that the device does not take yet
  OwnedFd line_;
  PortErrors before_;  ///< counted before the line was opened
  PosixMessageLoop::Watch watch_;
};

}  // namespace

std::int32_t BaudOf(unsigned code) {
  const auto* speed = std::find_if(std::begin(kSpeeds), std::end(kSpeeds),
                                   [code](const Speed& s) { return s.code == code; });
  return speed == std::end(kSpeeds) ? 0 : speed->baud;
}

std::string PosixLines::DeviceOf(std::int16_t port) const {
  return NameOr(port, port >= 1 ? "/dev/ttyS" + std::to_string(port - 1) : std::string());
}

std::unique_ptr<NativeLine> PosixLines::Open(const std::string& device,
                                             const SerialSettings& settings,
                                             NativeLine::Listener listener) {
  return std::make_unique<PosixLine>(loop_, OpenDevice(device, LineState(settings)),
                                     std::move(listener));
}

}  // namespace tarn
