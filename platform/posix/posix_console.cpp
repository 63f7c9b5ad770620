#include "platform/posix/posix_console.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>

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

/// Fails for sockets, and for what belongs to another user.
OwnedFd ReopenNonBlocking(int standard, int access) {
  const std::string name = "/proc/self/fd/" + std::to_string(standard);
  return OwnedFd(::open(name.c_str(), access | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool IsReadable(int fd) {
  pollfd input{fd, POLLIN, 0};
  return ::poll(&input, 1, 0) > 0;
}

constexpr std::array kFatalSignals = {SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

/// The terminal to restore, where a signal handler finds it.
struct GuardedScreen {
  std::atomic<bool> active = false;
  std::atomic<bool> left = false;  ///< no more output
  std::atomic<bool> writing = false;
  int output = -1;
  termios state{};
  std::array<char, 64> leave{};
  std::size_t length = 0;
  std::array<struct sigaction, kFatalSignals.size()> formerActions{};
} guarded;

/// Only what is allowed in a signal handler.
void GiveTerminalBack() {
  if (!guarded.active.exchange(false)) return;
  guarded.left = true;
  // A thread may be in the middle of a write, which does not block but may be kept from running.
  for (int tries = 0; guarded.writing && tries < 20; ++tries) ::poll(nullptr, 0, 10);
  ::tcflow(guarded.output, TCOON);
  // What waits would keep the rest from getting through where the terminal does not take it.
  ::tcflush(guarded.output, TCOFLUSH);
  pollfd output{guarded.output, POLLOUT, 0};
  if (::poll(&output, 1, 0) > 0) {
    [[maybe_unused]] const auto written =
        ::write(guarded.output, guarded.leave.data(), guarded.length);
  }
  ::tcsetattr(STDIN_FILENO, TCSANOW, &guarded.state);
}

/// The signal has its default action again by now.
extern "C" void OnFatalSignal(int signal) {
  GiveTerminalBack();
  ::raise(signal);
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
  if (guarding_) {
    guarded.active = guarded.left = false;
    for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
      ::sigaction(kFatalSignals[i], &guarded.formerActions[i], nullptr);
    }
  }
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
  ownInput_ = ReopenNonBlocking(STDIN_FILENO, O_RDONLY);
  inputWatch_ = loop_.WatchFd(STDIN_FILENO, EPOLLIN, [this](std::uint32_t) { OnKeys(); });
}

void PosixConsole::GuardScreen(std::string_view leave) {
  if (!formerState_ || guarding_ || ::isatty(STDOUT_FILENO) == 0) return;
  termios state{};
  if (::tcgetattr(STDIN_FILENO, &state) == 0) {
    state.c_iflag &= ~static_cast<tcflag_t>(IXON);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &state);
  }
  ownOutput_ = ReopenNonBlocking(STDOUT_FILENO, O_WRONLY);
  guarding_ = true;
  guarded.output = Output();
  guarded.state = *formerState_;
  guarded.length = leave.copy(guarded.leave.data(), guarded.leave.size());
  guarded.left = false;
  guarded.active = true;
  struct sigaction action {};
  action.sa_handler = OnFatalSignal;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
  for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
    struct sigaction& former = guarded.formerActions[i];
    ::sigaction(kFatalSignals[i], nullptr, &former);
    // A signal that is ignored stays ignored, and a tool that watches for faults keeps its handler.
    if (former.sa_handler == SIG_DFL) ::sigaction(kFatalSignals[i], &action, nullptr);
  }
}

void PosixConsole::LeaveNow() {
  outputGone_ = true;
  GiveTerminalBack();
}

void PosixConsole::WatchInputEnd() {
  if (::isatty(STDIN_FILENO) == 1) return;
  ownInput_ = ReopenNonBlocking(STDIN_FILENO, O_RDONLY);
  try {
    inputWatch_ = loop_.WatchFd(STDIN_FILENO, EPOLLIN, [this](std::uint32_t) { OnInput(); });
  } catch (const std::system_error&) {
    // A plain file, /dev/null or nothing at all: nobody could end this input later.
    PostRaise(InputEnded);
  }
}

/// The controlling one, which a service does not have.
bool PosixConsole::HasTerminal() {
  return static_cast<bool>(OwnedFd(::open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC)));
}

/// When a terminal goes, the system signals a hang-up, and so does the shell to its jobs.
void PosixConsole::OnSignal() {
  signalfd_siginfo info{};
  if (::read(signals_.Get(), &info, sizeof info) <= 0) return;
  const bool terminalGone = info.ssi_code == SI_KERNEL || (hadTerminal_ && !HasTerminal());
  const bool reload = info.ssi_signo == SIGHUP && !terminalGone && ReloadAsked.SubscriberCount();
  (reload ? ReloadAsked : Interrupted).Raise();
}

void PosixConsole::OnKeys() {
  std::array<char, 256> bytes;
  if (!IsReadable(Input())) return;  // taken by a turn of the loop inside this one
  const auto count = Retry([&] { return ::read(Input(), bytes.data(), bytes.size()); });
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
  if (!IsReadable(STDIN_FILENO)) return;
  const auto count = Retry([&] { return ::read(Input(), bytes.data(), bytes.size()); });
  if (count > 0 || (count < 0 && errno == EAGAIN)) return;
  inputWatch_.Reset();
  InputEnded.Raise();
}

void PosixConsole::Write(std::string_view text) {
  while (!text.empty() && !outputGone_) {
    guarded.writing = true;
    const bool left = guarded.left;
    const auto count =
        left ? 0 : Retry([&] { return ::write(Output(), text.data(), text.size()); });
    guarded.writing = false;
    if (left) return;
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      constexpr int kLookUp = 100;  // milliseconds until LeaveNow is noticed
      pollfd output{Output(), POLLOUT, 0};
      ::poll(&output, 1, kLookUp);
    } else {
      OutputFailed(errno);
    }
  }
}

/// A pipe or a terminal has room or not; a plain file may wait for its disk.
bool PosixConsole::OutputNeverBlocks() {
  if (!outputNeverBlocks_) {
    struct stat status {};
    const bool isPipe = ::fstat(STDOUT_FILENO, &status) == 0 && S_ISFIFO(status.st_mode);
    if ((isPipe || writesToTerminal_) && !ownOutput_) {
      ownOutput_ = ReopenNonBlocking(STDOUT_FILENO, O_WRONLY);
    }
    outputNeverBlocks_ = static_cast<bool>(ownOutput_);
  }
  return *outputNeverBlocks_;
}

std::size_t PosixConsole::WriteNow(std::string_view text) {
  if (guarding_ || outputGone_ || !OutputNeverBlocks()) return 0;
  const auto count = Retry([&] { return ::write(Output(), text.data(), text.size()); });
  if (count < 0 && errno != EAGAIN) OutputFailed(errno);
  return count < 0 ? 0 : static_cast<std::size_t>(count);
}

void PosixConsole::OutputFailed(int error) {
  writeError_ = error;
  outputGone_ = true;
  PostRaise(Interrupted);
}

/// A terminal that went away is a reader that did.
std::string PosixConsole::WriteFailure() const {
  const int error = writeError_;
  const bool readerLeft = error == EPIPE || (error == EIO && writesToTerminal_);
  return error == 0 || readerLeft ? std::string() : ErrorText(error);
}

/// Raises an event from the loop, unless the console is gone by then.
void PosixConsole::PostRaise(Event<>& event) {
  loop_.Post([alive = alive_, &event] {
    if (*alive) event.Raise();
  });
}

}  // namespace tarn
