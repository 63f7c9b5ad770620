#include "platform/posix/posix_console.hpp"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>

#include <array>
#include <cstdlib>
#include <string>

#include "platform/posix/posix_keys.hpp"

namespace tarn {
namespace {

bool IsIgnored(int signal) {
  struct sigaction action {};
  ::sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

sigset_t SignalsToWatch() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (!IsIgnored(signal)) ::sigaddset(&set, signal);
  }
  return set;
}

}  // namespace

PosixConsole::PosixConsole(PosixMessageLoop& loop) : loop_(loop) {
  const sigset_t watched = SignalsToWatch();
  signals_.Reset(::signalfd(-1, &watched, SFD_NONBLOCK | SFD_CLOEXEC));
  if (!signals_) throw std::system_error(errno, std::generic_category(), "signalfd");
  signalWatch_ = loop_.WatchFd(signals_.Get(), EPOLLIN, [this](std::uint32_t) { OnSignal(); });
  ::pthread_sigmask(SIG_BLOCK, &watched, &formerMask_);
}

PosixConsole::~PosixConsole() {
  *alive_ = false;
  if (formerState_) ::tcsetattr(STDIN_FILENO, TCSANOW, &*formerState_);
  // A second Ctrl-C that came while the program was ending anyway is not to kill it.
  signalfd_siginfo pending{};
  while (::read(signals_.Get(), &pending, sizeof pending) > 0) continue;
  ::pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
}

bool PosixConsole::IsTerminal() const {
  const char* kind = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && kind != nullptr && *kind != 0 &&
         std::string_view(kind) != "dumb";
}

Console::Size PosixConsole::ScreenSize() const {
  Size size;
  winsize window{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0) {
    size = {window.ws_col, window.ws_row};
  }
  return size;
}

void PosixConsole::ReadKeys() {
  if (formerState_ || ::isatty(STDIN_FILENO) == 0) return;
  termios state{};
  if (::tcgetattr(STDIN_FILENO, &state) < 0) return;
  formerState_ = state;
  state.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  state.c_cc[VMIN] = 1;
  state.c_cc[VTIME] = 0;
  state.c_cc[VSUSP] = _POSIX_VDISABLE;  // a stopped program would lose readings
  ::tcsetattr(STDIN_FILENO, TCSANOW, &state);
  inputWatch_ = loop_.WatchFd(STDIN_FILENO, EPOLLIN, [this](std::uint32_t) { OnKeys(); });
}

void PosixConsole::WatchInputEnd() {
  if (::isatty(STDIN_FILENO) == 1) return;
  try {
    inputWatch_ = loop_.WatchFd(STDIN_FILENO, EPOLLIN, [this](std::uint32_t) { OnInput(); });
  } catch (const std::system_error&) {
    // A plain file, /dev/null or nothing at all: nobody is there who could end it later.
    PostRaise(InputEnded);
  }
}

void PosixConsole::OnSignal() {
  signalfd_siginfo info{};
  if (::read(signals_.Get(), &info, sizeof info) > 0) Interrupted.Raise();
}

void PosixConsole::OnKeys() {
  std::array<char, 256> bytes;
  const auto count = Retry([&] { return ::read(STDIN_FILENO, bytes.data(), bytes.size()); });
  if (count < 0 && errno == EAGAIN) return;
  if (count <= 0) {
    inputWatch_.Reset();
    Interrupted.Raise();
    return;
  }
  const std::shared_ptr<bool> alive = alive_;
  ForEachKey({bytes.data(), static_cast<std::size_t>(count)}, [&](Key key, char character) {
    if (*alive) KeyPressed.Raise(key, character);
  });
}

void PosixConsole::OnInput() {
  std::array<char, 256> bytes;
  const auto count = Retry([&] { return ::read(STDIN_FILENO, bytes.data(), bytes.size()); });
  if (count > 0 || (count < 0 && errno == EAGAIN)) return;
  inputWatch_.Reset();
  InputEnded.Raise();
}

void PosixConsole::Write(std::string_view text) {
  while (!text.empty() && !outputGone_) {
    const auto count = Retry([&] { return ::write(STDOUT_FILENO, text.data(), text.size()); });
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      pollfd output{STDOUT_FILENO, POLLOUT, 0};
      ::poll(&output, 1, -1);
    } else {
      outputGone_ = true;
      PostRaise(Interrupted);
    }
  }
}

/// Raises an event from the loop, unless the console is gone by then.
void PosixConsole::PostRaise(Event<>& event) {
  loop_.Post([alive = alive_, &event] {
    if (*alive) event.Raise();
  });
}

}  // namespace tarn
