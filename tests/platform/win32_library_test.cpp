// Where the terminals' library is looked for on Windows.
#include <filesystem>

#include "platform/native_host.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

TEST_F(NativeTest, ALibraryInTheCurrentFolderIsNotTheTerminals) {
  const std::string planted = Name("tarn-planted.dll");
  std::filesystem::copy_file("Z:" TARN_KESAPI, planted);
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(std::filesystem::path(planted).parent_path());
  const auto error = [](const std::string& library) {
    HostOptions options;
    options.terminalNetwork = library;
    return ErrorOf(
        [&] { CreateNativeHost(std::move(options))->TerminalNetwork().KesRegisterProcess(125); });
  };
  EXPECT_EQ(error("tarn-planted.dll"), 53);
  EXPECT_EQ(error("./tarn-planted.dll"), 0) << "one that is named by its folder";
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace tarn
