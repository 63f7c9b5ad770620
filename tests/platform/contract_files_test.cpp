// Files by name.
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

constexpr std::size_t kAll = 1U << 20U;

class FilesContract : public PlatformContract {
 protected:
  Files& TheFiles() { return TheHost().Files(); }
  std::string Name(const std::string& name) { return harness->FileName(name); }
};
TARN_CONTRACT(FilesContract);

TEST_P(FilesContract, AppendsLinesInTheCodePage) {
  const std::string name = Name("log.txt");
  auto stream = TheFiles().OpenForAppending(name);
  stream->WriteLine("Gr\u00FC\u00DFe");
  stream->WriteLine("no \u4E2D here");
  stream->Close();
  stream->Close();
  EXPECT_EQ(ErrorOf([&] { stream->WriteLine("late"); }), 91);
  TheFiles().OpenForAppending(name)->WriteLine("next");  // closed by its end
  EXPECT_EQ(TheFiles().Read(name, kAll), "Gr\xFC\xDF\x65\r\nno ? here\r\nnext\r\n");
}

TEST_P(FilesContract, ALongLogIsWhole) {
  std::string expected;
  auto stream = TheFiles().OpenForAppending(Name("log.txt"));
  for (std::size_t i = 0; i < 500; ++i) {
    const std::string line(i == 400 ? 10'000 : i * 37 % 211, static_cast<char>('a' + i % 26));
    stream->WriteLine(line);
    expected += line + "\r\n";
  }
  stream->Close();
  EXPECT_EQ(TheFiles().Read(Name("log.txt"), kAll), expected);
}

TEST_P(FilesContract, WritesAtTheBeginningAndKeepsALongerOldTail) {
  const std::string name = Name("file");
  const std::string longTail(300'000, 'z');
  TheFiles().WriteAtBeginning(name, "0123456789" + longTail);
  TheFiles().WriteAtBeginning(name, "abc");
  EXPECT_EQ(TheFiles().Read(name, kAll), "abc3456789" + longTail);
  EXPECT_EQ(TheFiles().Read(name, 4), "abc3");
  TheFiles().WriteAtBeginning(name, std::string(300'020, 'n'));
  TheFiles().WriteAtBeginning(name, "");
  EXPECT_EQ(TheFiles().Read(name, kAll), std::string(300'020, 'n'));
}

TEST_P(FilesContract, AFolderIsNoFileAndAMissingFileIsToldApart) {
  const std::string name = Name("folder");
  harness->MakeUnusable(name);
  EXPECT_EQ(ErrorOf([&] { TheFiles().OpenForAppending(name); }), 75);
  EXPECT_EQ(ErrorOf([&] { TheFiles().WriteAtBeginning(name, "x"); }), 75);
  EXPECT_EQ(ErrorOf([&] { TheFiles().Read(Name("none"), 4); }), 53);
}

TEST_P(FilesContract, AbsoluteNamesMeanTheSameFile) {
  const std::string absolute = TheFiles().AbsoluteName(Name("file"));
  TheFiles().WriteAtBeginning(Name("file"), "x");
  EXPECT_EQ(TheFiles().Read(absolute, kAll), "x");
  EXPECT_EQ(TheFiles().AbsoluteName(absolute), absolute);
  EXPECT_NE(TheFiles().AbsoluteName("a.scl"), "a.scl");
}

TEST(NativeFiles, AMissingFolderIsError75) {
  const auto harness = MakeNativeHarness();
  Files& files = harness->Host().Files();
  const std::string name = harness->FileName("missing/file");
  EXPECT_EQ(ErrorOf([&] { files.OpenForAppending(name); }), 75);
  EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning(name, "x"); }), 75);
  EXPECT_EQ(ErrorOf([&] { files.Read(name, 1); }), 53);
}

}  // namespace
}  // namespace tarn
