// The client library of the terminals' own network, loaded as the hosts load it.
#include <cstdlib>

#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

#ifdef _WIN32
const std::string kDrive = "Z:";  // where Wine has the system's files
const std::string kOtherLibrary = "kernel32.dll";
#else
const std::string kDrive;
const std::string kOtherLibrary = "libc.so.6";
#endif

using TerminalNetworkLibrary = PlatformTest;

TEST_F(TerminalNetworkLibrary, ALibraryThatIsMissingOrAnotherIsError53AtEveryCall) {
  std::string buffer = "unchanged";
  for (const std::string& library : {std::string("no-such-library"), kOtherLibrary}) {
    host = NewHost(library);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(ErrorOf([&] { host->TerminalNetwork().KesRegisterProcess(125); }), 53) << library;
    }
    EXPECT_EQ(ErrorOf([&] { host->TerminalNetwork().KesRead("/a1", 1, buffer, 1); }), 53);
  }
  EXPECT_EQ(buffer, "unchanged");
}

TEST_F(TerminalNetworkLibrary, TheFourFunctionsAreCalledWithTheirArguments) {
  Write(Name("variables"), "/a1/wt102=  12.5\n/a1/bas12=\n");
  static std::string variables = "TARN_KESAPI_VARIABLES=" + Name("variables");
  static std::string trace = "TARN_KESAPI_TRACE=" + Name("trace");
  ::putenv(variables.data());
  ::putenv(trace.data());

  host = NewHost(kDrive + TARN_KESAPI);
  TerminalNetwork& network = host->TerminalNetwork();
  EXPECT_EQ(network.KesRegisterProcess(125), 0);
  const auto read = [&](const char* address, std::int32_t length, std::size_t room) {
    std::string buffer(room, '#');
    const bool found = network.KesRead(address, length, buffer, 20) == 0;
    return found ? buffer : "none";
  };
  EXPECT_EQ(read("/a1/wt102", 13, 8), "  12.5##");
  EXPECT_EQ(read("/a1/wt102", 13, 5), "  12.") << "the library wrote beyond the end";
  EXPECT_EQ(read("/a1/none", 13, 20), "none");
  const std::string tare("\0\0\x40\x40\0\0\0!", 8);
  EXPECT_EQ(network.KesWrite("/a1/bas12", 8, tare), 0);
  EXPECT_EQ(read("/a1/bas12", 8, 8), tare);
  EXPECT_EQ(network.KesCloseProcess(), 0);

  EXPECT_THAT(Content(Name("trace")),
              ::testing::StartsWith("KesRegisterProcess 125\nKesRead /a1/wt102 13 20\n"));
}

}  // namespace
}  // namespace tarn
