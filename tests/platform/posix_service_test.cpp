// What the service manager gets of this program, and a request to reload.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>

#include "platform/posix/posix_service_manager.hpp"
#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

class PosixServiceTest : public PlatformTest {
 protected:
  ~PosixServiceTest() override {
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) ::unsetenv(name);
  }
};

TEST_F(PosixServiceTest, StatesArriveAtBothKindsOfSocketsAndNeverWait) {
  EXPECT_EQ(host->CreateServiceManager(), nullptr);
  const std::string name = "tarn-test-" + std::to_string(::getpid());
  for (const std::string& address : {"@" + name, Name(name)}) {
    const OwnedFd manager(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
    sockaddr_un own{};
    own.sun_family = AF_UNIX;
    address.copy(own.sun_path, sizeof own.sun_path);
    if (address[0] == '@') own.sun_path[0] = 0;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
    ASSERT_EQ(::bind(manager.Get(), reinterpret_cast<const sockaddr*>(&own), length), 0);

    ::setenv("NOTIFY_SOCKET", address.c_str(), 1);
    ::setenv("WATCHDOG_USEC", "30000000", 1);
    ::setenv("WATCHDOG_PID", "1", 1);
    EXPECT_EQ(host->CreateServiceManager()->WatchdogTime(), 0);
    ::setenv("WATCHDOG_PID", std::to_string(::getpid()).c_str(), 1);
    const auto service = host->CreateServiceManager();
    EXPECT_EQ(service->WatchdogTime(), 30'000);
    EXPECT_TRUE(service->Notify("READY=1\n"));
    std::array<char, 64> bytes{};
    ASSERT_EQ(::recv(manager.Get(), bytes.data(), bytes.size(), 0), 8);
    EXPECT_STREQ(bytes.data(), "READY=1\n");
    int taken = 0;
    while (taken < 100'000 && service->Notify("STATUS=\n")) ++taken;
    EXPECT_LT(taken, 100'000) << "a manager that reads nothing";
  }
  EXPECT_FALSE(PosixServiceManager("/nobody/listens", 0).Notify("READY=1\n"));
  EXPECT_FALSE(PosixServiceManager("/" + std::string(200, 'x'), 0).Notify("READY=1\n"));
}

TEST_F(PosixServiceTest, AHangUpAsksForAReloadWhereSomebodyReloads) {
  const auto console = host->CreateConsole();
  int ended = 0;
  int reloads = 0;
  const auto onEnd = console->Interrupted.Subscribe([&] { ++ended; });
  auto onReload = console->ReloadAsked.Subscribe([&] { ++reloads; });
  ::raise(SIGHUP);
  EXPECT_TRUE(Loop().RunUntil([&] { return reloads == 1; }, 60'000));
  onReload.Reset();
  ::raise(SIGHUP);
  EXPECT_TRUE(Loop().RunUntil([&] { return ended == 1; }, 60'000));
}

}  // namespace
}  // namespace tarn
