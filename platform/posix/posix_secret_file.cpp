#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "platform/posix/posix_replace_file.hpp"
#include "platform/posix/posix_support.hpp"
#include "platform/secret_file.hpp"

namespace tarn {
namespace {

constexpr std::size_t kShortest = 16;
constexpr std::size_t kLongest = 512;

std::string RandomHex() {
  std::array<unsigned char, 32> bytes{};
  if (::getentropy(bytes.data(), bytes.size()) < 0)
    ThrowError(ErrorNumber::DeviceInputOutput, "The system gives no random numbers", errno);
  std::string text;
  for (const unsigned char byte : bytes) {
    text += "0123456789abcdef"[byte >> 4U];
    text += "0123456789abcdef"[byte & 15U];
  }
  return text;
}

std::string MakeSecret(const std::string& name) {
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  const OwnedFd file(Retry([&] { return ::open(name.c_str(), flags, S_IRUSR | S_IWUSR); }));
  if (!file) ThrowError(WriteErrorNumber(errno), "The file " + name + " cannot be made", errno);
  std::string secret = RandomHex();
  std::size_t written = 0;
  if (!WriteAll(file.Get(), secret + "\n", written)) {
    const int error = errno;
    ::unlink(name.c_str());
    ThrowError(CommonErrorNumber(error), "The file " + name + " cannot be written", error);
  }
  return secret;
}

void RequirePrivate(const std::string& name, const struct stat& state) {
  if (!S_ISREG(state.st_mode))
    throw AutomationError(ErrorNumber::PathFileAccess, name + " is no plain file");
  const bool isOwn = state.st_uid == ::geteuid() || state.st_uid == 0;
  if (isOwn && (state.st_mode & (S_IRWXG | S_IRWXO)) == 0) return;
  throw AutomationError(ErrorNumber::PermissionDenied,
                        "Others have a right to the file " + name +
                            ", so it is no secret: chmod 600 it, and put a new secret into it");
}

std::string SecretIn(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

}  // namespace

std::string SecretOfFile(const std::string& name) {
  const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
  const OwnedFd file(Retry([&] { return ::open(name.c_str(), flags); }));
  if (!file && errno == ENOENT) return MakeSecret(name);
  struct stat state {};
  if (!file || ::fstat(file.Get(), &state) < 0)
    ThrowError(WriteErrorNumber(errno), "The file " + name + " cannot be read", errno);
  RequirePrivate(name, state);
  std::array<char, kLongest + 2> bytes{};
  const auto count = Retry([&] { return ::read(file.Get(), bytes.data(), bytes.size()); });
  if (count < 0)
    ThrowError(CommonErrorNumber(errno), "The file " + name + " cannot be read", errno);
  std::string secret = SecretIn({bytes.data(), static_cast<std::size_t>(count)});
  const bool isPrintable =
      std::all_of(secret.begin(), secret.end(), [](char c) { return c > ' ' && c < '\x7F'; });
  if (!isPrintable || secret.size() < kShortest || secret.size() > kLongest) {
    throw AutomationError(ErrorNumber::InvalidFileFormat,
                          "The file " + name + " has no secret of 16 to 512 characters");
  }
  return secret;
}

}  // namespace tarn
