#include "platform/posix/posix_terminal_line.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <termios.h>

#include <array>
#include <filesystem>

#include "platform/posix/posix_line.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;

/// No port has it, so that it stands for a line that nobody has set.
constexpr speed_t kNobodysSpeed = B50;

/// A living line holds a record lock on its slave, which is apart from the file lock of the port
/// that opens it. This distinguishes the link of a living line from one that was left behind. The
/// byte that is locked stands for the place: the system gives the number of a pseudo-terminal that
/// went to the next one, which may be the line of another place.
struct flock LineLock(const fs::path& place) {
  std::error_code ignored;
  const fs::path absolute = fs::absolute(place, ignored);
  const fs::path folder = fs::weakly_canonical(absolute.parent_path(), ignored);
  constexpr std::size_t kMostBytes = 0x7FFFFFFF;
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(fs::hash_value(folder / place.filename()) % kMostBytes);
  lock.l_len = 1;
  return lock;
}

bool IsLiving(const fs::path& place) {
  const OwnedFd slave(::open(place.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  struct flock lock = LineLock(place);
  return slave && ::fcntl(slave.Get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

/// A link that was left behind: it points to nothing, or to a pseudo-terminal that is no line of
/// this place now.
bool IsLeftBehind(const fs::path& place) {
  if (!fs::is_symlink(place)) return false;
  if (!fs::exists(place)) return true;
  return fs::canonical(place).string().starts_with("/dev/pts/") && !IsLiving(place);
}

void SetRaw(int fd) {
  termios state{};
  ::tcgetattr(fd, &state);
  ::cfmakeraw(&state);
  ::cfsetispeed(&state, kNobodysSpeed);
  ::cfsetospeed(&state, kNobodysSpeed);
  ::tcsetattr(fd, TCSANOW, &state);
}

}  // namespace

PosixTerminalLine::PosixTerminalLine(PosixMessageLoop& loop, std::string place)
    : loop_(loop), place_(std::move(place)) {
  Attach();
}

void PosixTerminalLine::Attach() {
  if (master_) return;
  const auto fail = [this](int error) {
    ThrowError(CommonErrorNumber(error), "There is no pseudo-terminal for " + place_, error);
  };
  OwnedFd master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  std::array<char, 64> name{};
  if (!master || ::grantpt(master.Get()) < 0 || ::unlockpt(master.Get()) < 0 ||
      ::ptsname_r(master.Get(), name.data(), name.size()) != 0) {
    fail(errno);
  }
  OwnedFd slave(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!slave) fail(errno);
  SetRaw(slave.Get());
  struct flock lock = LineLock(place_);
  if (::fcntl(slave.Get(), F_OFD_SETLK, &lock) < 0) fail(errno);

  slaveName_ = name.data();
  MakeLink();
  watch_ = loop_.WatchFd(master.Get(), EPOLLIN, [this](std::uint32_t) { ReadMaster(); });
  master_ = std::move(master);
  slave_ = std::move(slave);
}

void PosixTerminalLine::MakeLink() {
  std::error_code ignored;
  const fs::path place(place_);
  if (fs::symlink_status(place, ignored).type() != fs::file_type::not_found) {
    if (!IsLeftBehind(place)) {
      throw AutomationError(ErrorNumber::PathFileAccess,
                            place_ + " exists already: a line in use, or no line at all");
    }
    fs::remove(place, ignored);
  }
  std::error_code error;
  fs::create_symlink(slaveName_, place, error);
  if (!error) return;
  const ErrorNumber number =
      error.value() == EEXIST ? ErrorNumber::PathFileAccess : WriteErrorNumber(error.value());
  ThrowError(number, "The line " + place_ + " cannot be made", error.value());
}

void PosixTerminalLine::Detach() {
  if (!master_) return;
  std::error_code error;
  // Whatever else somebody put in its place meanwhile stays.
  if (fs::read_symlink(place_, error) == slaveName_) fs::remove(place_, error);
  watch_.Reset();
  slave_.Reset();
  master_.Reset();
}

std::size_t PosixTerminalLine::Write(std::string_view bytes) {
  if (!master_) return 0;
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const auto count =
        Retry([&] { return ::write(master_.Get(), &bytes[sent], bytes.size() - sent); });
    if (count <= 0) break;
    sent += static_cast<std::size_t>(count);
  }
  return sent;
}

std::int32_t PosixTerminalLine::ReaderSpeed() const {
  termios state{};
  if (!slave_ || ::tcgetattr(slave_.Get(), &state) < 0) return 0;
  return BaudOf(::cfgetospeed(&state));
}

void PosixTerminalLine::ReadMaster() {
  std::array<char, 4096> bytes;
  const auto count = Retry([&] { return ::read(master_.Get(), bytes.data(), bytes.size()); });
  if (count > 0) Received.Raise({bytes.data(), static_cast<std::size_t>(count)});
}

}  // namespace tarn
