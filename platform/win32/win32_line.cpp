#include "platform/win32/win32_line.hpp"

#include <algorithm>
#include <array>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/receive_buffer.hpp"
#include "platform/win32/win32_error.hpp"

namespace tarn {
namespace {

// Small, so that a line without a pause is handed over often: a read ends when its buffer is full
// or when the line has been quiet for a moment.
constexpr std::size_t kReadSize = 256;
constexpr std::size_t kWriteSize = 1024;
// Milliseconds to wait before the next read after one that returned nothing.
constexpr DWORD kBackOff = 20;
// Milliseconds between two questions for the errors of a line that receives.
constexpr ULONGLONG kErrorPace = 100;

/// An overlapped read or write and its event.
struct Operation {
  Operation() { overlapped.hEvent = event.Get(); }

  /// After ReadFile or WriteFile; false when it could not even begin. One that ended at once has
  /// its event signalled and is collected like any other.
  bool Begun(BOOL started) {
    pending = started || GetLastError() == ERROR_IO_PENDING;
    return pending;
  }

  OwnedHandle event = CreateEventHandle(true);
  OVERLAPPED overlapped{};
  bool pending = false;
};

}  // namespace

/// What the loop and the line's thread share. It outlives the line while posted work, or a driver
/// that does not let go, still holds it.
struct Win32Line::State : std::enable_shared_from_this<State> {
  State(MessageLoop& l, Win32OpenPort p) : loop(l), port(std::move(p)) {}

  void Arrived(std::string_view bytes);
  void Gone(DWORD code);
  void Deliver();

  MessageLoop& loop;
  Win32OpenPort port;  // the thread's, once it runs
  OwnedHandle stop = CreateEventHandle(true);
  OwnedHandle output = CreateEventHandle(false);  ///< there is something to send
  std::shared_ptr<Listener> listener;             ///< the loop's; none once the line is destroyed

  std::mutex mutex;  // for what follows
  bool stopped = false;
  bool announced = false;
  std::string input;
  std::string queue;
  std::size_t sending = 0;  ///< bytes of the write under way
  PortErrors errors;
};

/// The loop is not touched once the line is destroyed: its owner may end the loop then.
void Win32Line::State::Arrived(std::string_view bytes) {
  const std::lock_guard lock(mutex);
  if (stopped) return;
  input.append(bytes);
  if (input.size() > ReceiveBuffer::kMaxWaiting) {
    input.erase(0, input.size() - ReceiveBuffer::kMaxWaiting);
  }
  if (std::exchange(announced, true)) return;
  loop.Post([state = shared_from_this()] { state->Deliver(); });
}

void Win32Line::State::Gone(DWORD code) {
  const std::lock_guard lock(mutex);
  if (stopped) return;
  loop.Post([state = shared_from_this(), code] {
    if (const auto kept = state->listener) kept->lost(SystemMessage(code));
  });
}

void Win32Line::State::Deliver() {
  std::string bytes;
  {
    const std::lock_guard lock(mutex);
    announced = false;
    bytes.swap(input);
  }
  const auto kept = listener;  // the line may go meanwhile
  if (kept && !bytes.empty()) kept->arrived(bytes);
}

/// What runs on the line's thread.
class Win32Line::Worker {
 public:
  explicit Worker(State& state) : state_(state), port_(state.port.handle.Get()) {}

  void Run() {
    BeginRead();
    while (error_ == 0 && Turn()) {
    }
    Cancel(read_);
    Cancel(write_);
    PurgeComm(port_, PURGE_TXABORT | PURGE_TXCLEAR);  // or the driver sends the rest first
    state_.port.handle.Reset();
    state_.port.claim.Release();
    if (error_ != 0) state_.Gone(error_);
  }

 private:
  /// Waits for one thing to do and does it; false when the line is to stop.
  bool Turn() {
    // The first one signalled comes first. Reading is last: a line that never pauses must not keep
    // what is to be sent waiting.
    const std::array<HANDLE, 4> handles = {state_.stop.Get(), state_.output.Get(),
                                           write_.event.Get(), read_.event.Get()};
    const DWORD limit = read_.pending ? INFINITE : kBackOff;
    switch (WaitForMultipleObjects(handles.size(), handles.data(), FALSE, limit)) {
      case WAIT_OBJECT_0:
        return false;
      case WAIT_OBJECT_0 + 1:
        if (!write_.pending) BeginWrite();
        break;
      case WAIT_OBJECT_0 + 2:
        EndWrite();
        break;
      case WAIT_OBJECT_0 + 3:
        EndRead();
        return true;
      case WAIT_TIMEOUT:
        break;
      default:
        error_ = GetLastError();
    }
    if (error_ == 0 && !read_.pending) BeginRead();
    return true;
  }

  void BeginRead() {
    if (!read_.Begun(ReadFile(port_, readBytes_.data(), kReadSize, nullptr, &read_.overlapped))) {
      error_ = GetLastError();
    }
  }

  void EndRead() {
    DWORD count = 0;
    const DWORD code = Collect(read_, count);
    // Wine ends a read with the time-out, and without a byte, while a write is under way.
    const bool harmless = code == 0 || code == ERROR_TIMEOUT || code == ERROR_OPERATION_ABORTED;
    if (!harmless) {
      error_ = code;
    } else if (count > 0) {
      CountErrors();
      state_.Arrived({readBytes_.data(), count});
      BeginRead();
    } else {
      CheckDevice();
    }
  }

  /// After a read that brought nothing: either the driver just does that, or the device has gone
  /// and the driver does not say so here. Reading again at once could go on for ever, so the next
  /// read comes later.
  void CheckDevice() {
    DWORD lineErrors = 0;
    if (!ClearCommError(port_, &lineErrors, nullptr)) error_ = GetLastError();
    Count(lineErrors);
  }

  /// The driver gathers the kinds of errors and no numbers, so it is asked now and then.
  void CountErrors() {
    const ULONGLONG now = GetTickCount64();
    if (now - countedAt_ < kErrorPace) return;
    countedAt_ = now;
    DWORD lineErrors = 0;
    if (ClearCommError(port_, &lineErrors, nullptr)) Count(lineErrors);
  }

  void Count(DWORD lineErrors) {
    if (lineErrors == 0) return;
    const std::lock_guard lock(state_.mutex);
    if ((lineErrors & CE_RXPARITY) != 0) ++state_.errors.parity;
    if ((lineErrors & CE_FRAME) != 0) ++state_.errors.framing;
    if ((lineErrors & (CE_OVERRUN | CE_RXOVER)) != 0) ++state_.errors.overrun;
  }

  void BeginWrite() {
    {
      const std::lock_guard lock(state_.mutex);
      const std::size_t count = std::min(state_.queue.size(), kWriteSize);
      writeBytes_.assign(state_.queue, 0, count);
      state_.queue.erase(0, count);
      state_.sending = count;
    }
    WriteRest();
  }

  void WriteRest() {
    if (writeBytes_.empty()) return;
    if (!write_.Begun(WriteFile(port_, writeBytes_.data(), static_cast<DWORD>(writeBytes_.size()),
                                nullptr, &write_.overlapped))) {
      error_ = GetLastError();
    }
  }

  void EndWrite() {
    DWORD count = 0;
    const DWORD code = Collect(write_, count);
    // A write has no time limit, so one that ends without a byte has failed.
    if (count == 0) {
      error_ = code != 0 ? code : ERROR_WRITE_FAULT;
      return;
    }
    writeBytes_.erase(0, count);
    {
      const std::lock_guard lock(state_.mutex);
      state_.sending = writeBytes_.size();
    }
    if (writeBytes_.empty()) {
      BeginWrite();
    } else {
      WriteRest();
    }
  }

  /// Collects an operation that has ended: stores its number of bytes and returns its error code or
  /// 0.
  DWORD Collect(Operation& operation, DWORD& count) {
    operation.pending = false;
    ResetEvent(operation.event.Get());
    const BOOL good = GetOverlappedResult(port_, &operation.overlapped, &count, FALSE);
    return good ? 0 : GetLastError();
  }

  /// Waits until the operation has ended: before that the driver may write into the buffers.
  void Cancel(Operation& operation) {
    if (!operation.pending) return;
    CancelIoEx(port_, &operation.overlapped);
    DWORD count = 0;
    GetOverlappedResult(port_, &operation.overlapped, &count, TRUE);
    operation.pending = false;
  }

  State& state_;
  HANDLE port_;
  Operation read_;
  Operation write_;
  std::array<char, kReadSize> readBytes_;
  std::string writeBytes_;
  DWORD error_ = 0;
  ULONGLONG countedAt_ = 0;
};

Win32Line::Win32Line(MessageLoop& loop, Win32OpenPort port, Listener listener)
    : state_(std::make_shared<State>(loop, std::move(port))) {
  state_->listener = std::make_shared<Listener>(std::move(listener));
  auto worker = std::make_unique<Worker>(*state_);
  // A driver whose device was unplugged may never return. So nobody waits for the thread: it closes
  // the port and releases its claim when the driver does.
  std::thread([state = state_, worker = std::move(worker)] { worker->Run(); }).detach();
}

Win32Line::~Win32Line() {
  state_->listener.reset();
  {
    const std::lock_guard lock(state_->mutex);
    state_->stopped = true;
  }
  state_->port.claim.Closing();
  SetEvent(state_->stop.Get());
}

std::size_t Win32Line::Queued() const {
  const std::lock_guard lock(state_->mutex);
  return state_->queue.size() + state_->sending;
}

bool Win32Line::Send(std::string_view bytes) {
  {
    const std::lock_guard lock(state_->mutex);
    state_->queue.append(bytes);
  }
  SetEvent(state_->output.Get());
  return true;
}

void Win32Line::DiscardInput() {
  const std::lock_guard lock(state_->mutex);
  state_->input.clear();
}

PortErrors Win32Line::Errors() {
  const std::lock_guard lock(state_->mutex);
  return state_->errors;
}

std::string Win32Lines::DeviceOf(std::int16_t port) const {
  return NameOr(port, "COM" + std::to_string(port));
}

std::unique_ptr<NativeLine> Win32Lines::Open(const std::string& device,
                                             const SerialSettings& settings,
                                             NativeLine::Listener listener) {
  return std::make_unique<Win32Line>(loop_, OpenWin32Port(openPorts_, device, settings),
                                     std::move(listener));
}

}  // namespace tarn
