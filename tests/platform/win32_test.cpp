// What only Windows has: files, settings and the console's pipes, handles and window messages that
// the loop waits for, and a serial line whose bytes move on a separate thread.
#include <array>
#include <filesystem>
#include <memory>
#include <thread>

#include "platform/win32/win32_console.hpp"
#include "platform/win32/win32_files.hpp"
#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_locale.hpp"
#include "platform/win32/win32_message_loop.hpp"
#include "platform/win32/win32_settings_store.hpp"
#include "platform/win32/win32_text.hpp"
#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

class Win32FilesTest : public PlatformTest {
 protected:
  OwnedHandle Open(const std::string& name, DWORD share) {
    return OwnedHandle(CreateFileW(ToWide(name).c_str(), GENERIC_READ, share, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  }

  Files& files = host->Files();
};

TEST_F(Win32FilesTest, AFileThatCannotBeReplacedStaysAsItWas) {
  const std::string name = Name("Gr\u00F6\u00DFe.scl");
  files.WriteAtBeginning(name, "old content");
  {
    const OwnedHandle reader = Open(name, FILE_SHARE_READ);
    ASSERT_TRUE(reader);
    EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning(name, "new"); }), 70);
    EXPECT_EQ(ErrorOf([&] { files.OpenForAppending(name); }), 70);
    EXPECT_EQ(FilesInFolder(), 1U) << "the new file that was to take its place is left over";
  }
  EXPECT_EQ(files.Read(name, 100), "old content");
  files.WriteAtBeginning(name, "new");
  EXPECT_EQ(files.Read(name, 100), "new content");
  EXPECT_EQ(FilesInFolder(), 1U);
}

/// A DACL of one entry that no folder hands down: everybody may do everything.
TEST_F(Win32FilesTest, AReplacedFileKeepsItsRightsAndIsHiddenStill) {
  const std::string name = Name("file.scl");
  const std::wstring wide = ToWide(name);
  files.WriteAtBeginning(name, "old");
  SECURITY_DESCRIPTOR rights;
  InitializeSecurityDescriptor(&rights, SECURITY_DESCRIPTOR_REVISION);
  std::array<BYTE, SECURITY_MAX_SID_SIZE> everybody{};
  DWORD size = everybody.size();
  ASSERT_TRUE(CreateWellKnownSid(WinWorldSid, nullptr, everybody.data(), &size));
  std::array<BYTE, 256> list{};
  auto* acl = reinterpret_cast<ACL*>(list.data());
  InitializeAcl(acl, list.size(), ACL_REVISION);
  AddAccessAllowedAce(acl, ACL_REVISION, FILE_ALL_ACCESS, everybody.data());
  SetSecurityDescriptorDacl(&rights, TRUE, acl, FALSE);
  ASSERT_TRUE(SetFileSecurityW(wide.c_str(), DACL_SECURITY_INFORMATION, &rights));
  SetFileAttributesW(wide.c_str(), FILE_ATTRIBUTE_HIDDEN);
  const auto rightsOf = [&] {
    std::string found(1000, '\0');
    GetFileSecurityW(wide.c_str(), DACL_SECURITY_INFORMATION, found.data(), 1000, &size);
    return found;
  };
  const std::string before = rightsOf();
  files.WriteAtBeginning(name, "new");
  EXPECT_TRUE(rightsOf() == before);
  EXPECT_NE(GetFileAttributesW(wide.c_str()) & FILE_ATTRIBUTE_HIDDEN, 0U);
}

/// As a virus scanner does after each change.
TEST_F(Win32FilesTest, AFileThatIsHeldForAMomentIsReplacedAllTheSame) {
  const std::string name = Name("file.scl");
  files.WriteAtBeginning(name, "old");
  OwnedHandle reader = Open(name, FILE_SHARE_READ);
  std::thread scanner([&] {
    while (FilesInFolder() < 2) std::this_thread::yield();
    reader.Reset();
  });
  files.WriteAtBeginning(name, "new");
  scanner.join();
  EXPECT_EQ(files.Read(name, 100), "new");
}

TEST_F(Win32FilesTest, TheLogCanBeReadAndMovedWhileItIsWritten) {
  const std::string name = Name("log");
  const auto log = files.OpenForAppending(name);
  for (int i = 0; i < 100; ++i) log->WriteLine(std::string(98, 'x'));
  EXPECT_GE(files.Read(name, 100'000).size(), 4000U) << "whole blocks are on the disk";
  const std::string moved = Name("moved");
  EXPECT_TRUE(MoveFileW(ToWide(name).c_str(), ToWide(moved).c_str()));
  log->Close();
  EXPECT_EQ(files.Read(moved, 100'000).size(), 10'000U);
}

/// For a service, whose clients may name any file.
TEST_F(Win32FilesTest, AnotherFolderThanTheOnlyOneIsRefused) {
  const std::string only = Name("Only"), inside = only + "\\a.log";
  std::filesystem::create_directory(ToWide(only));
  Win32Locale locale;
  Win32Files confined(locale, only);
  for (const std::string& name : {inside, Name("oNLY/.\\b"), only + "\\..\\Only\\c"}) {
    confined.OpenForAppending(name)->WriteLine("in");
    confined.WriteAtBeginning(name, "now");
    EXPECT_EQ(confined.Read(name, 3), "now") << name;
  }
  for (const std::string& name :
       {Name("a.log"), only + "\\..\\a.log", Name("Only2"), only, std::string("a.log"),
        std::string("NUL"), "\\\\?\\" + inside, "\\\\.\\" + inside, "\\\\localhost\\" + inside}) {
    EXPECT_EQ(ErrorOf([&] { confined.OpenForAppending(name); }), 70) << name;
    EXPECT_EQ(ErrorOf([&] { confined.WriteAtBeginning(name, "x"); }), 70) << name;
    EXPECT_EQ(ErrorOf([&] { confined.Read(name, 9); }), 70) << name;
  }
}

TEST(Win32SettingsStore, ReadsNothingButTexts) {
  const std::string place = "tarn-test-store";
  Win32SettingsStore store(place);
  const DWORD number = 7;
  const std::wstring key = ToWide("Software\\" + place + "\\Settings");
  RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), L"Number", REG_DWORD, &number, sizeof number);
  EXPECT_EQ(ErrorOf([&] { store.Get("Settings", "Number"); }), 57);
  EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, ToWide("Software\\" + place).c_str()), ERROR_SUCCESS);
}

/// A pipe in the place of one of the standard handles.
class StandardPipe {
 public:
  explicit StandardPipe(DWORD which) : which_(which), former_(GetStdHandle(which)) {
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    CreatePipe(&readEnd, &writeEnd, nullptr, 0);
    reader = OwnedHandle(readEnd);
    writer = OwnedHandle(writeEnd);
    SetStdHandle(which, which == STD_INPUT_HANDLE ? readEnd : writeEnd);
  }
  ~StandardPipe() { SetStdHandle(which_, former_); }

  OwnedHandle reader;
  OwnedHandle writer;

 private:
  DWORD which_;
  HANDLE former_;
};

class Win32LoopTest : public PlatformTest {
 protected:
  Win32MessageLoop& loop = dynamic_cast<Win32MessageLoop&>(Loop());
};
using Win32ConsoleTest = Win32LoopTest;

TEST_F(Win32ConsoleTest, TellsTheEndOfAPipeAndNothingOnceItIsGone) {
  int ends = 0;
  std::vector<OwnedHandle> readers;  // the thread that reads a pipe may outlast the console
  for (const bool consoleStays : {true, false}) {
    StandardPipe pipe(STD_INPUT_HANDLE);
    auto console = std::make_unique<Win32Console>(loop);
    const auto subscription = console->InputEnded.Subscribe([&] { ++ends; });
    EXPECT_FALSE(console->IsTerminal());
    console->ReadKeys();  // does nothing
    console->WatchInputEnd();
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(pipe.writer.Get(), "noise", 5, &written, nullptr));
    if (!consoleStays) console.reset();
    pipe.writer.Reset();
    readers.push_back(std::move(pipe.reader));
    if (consoleStays) {
      ASSERT_TRUE(Becomes([&] { return ends == 1; }));
    }
  }
  EXPECT_FALSE(loop.RunUntil([&] { return ends != 1; }, 20));
}

TEST_F(Win32ConsoleTest, WritesWholeFromAnyThreadAndTellsThatNobodyReads) {
  StandardPipe pipe(STD_OUTPUT_HANDLE);
  Win32Console console(loop);
  int interruptions = 0;
  const auto subscription = console.Interrupted.Subscribe([&] { ++interruptions; });
  const std::string text(100'000, 'w');  // more than a pipe holds
  std::thread writer([&] { console.Write(text); });
  std::string received;
  std::string block(4096, '\0');
  DWORD count = 0;
  while (received.size() < text.size() &&
         ReadFile(pipe.reader.Get(), block.data(), 4096, &count, nullptr)) {
    received.append(block, 0, count);
  }
  writer.join();
  EXPECT_TRUE(received == text);
  pipe.reader.Reset();
  std::thread([&] { console.Write("to nobody"); }).join();
  EXPECT_EQ(interruptions, 0) << "raised on another thread";
  ASSERT_TRUE(Becomes([&] { return interruptions == 1; }));
}

TEST_F(Win32LoopTest, AHandleThatIsAlwaysSignalledKeepsNobodyWaiting) {
  const OwnedHandle busy = CreateEventHandle(true);
  const OwnedHandle rare = CreateEventHandle(false);
  int busyCalls = 0, rareCalls = 0, ticks = 0;
  loop.Watch(busy.Get(), [&] { ++busyCalls; });
  loop.Watch(rare.Get(), [&] { ++rareCalls; });
  const auto timer = loop.CreateTimer();
  const auto subscription = timer->Tick.Subscribe([&] { ++ticks; });
  timer->Interval(1);
  timer->Enabled(true);
  for (const OwnedHandle* handle : {&busy, &rare}) SetEvent(handle->Get());
  ASSERT_TRUE(Becomes([&] { return busyCalls >= 50 && ticks >= 2; }));
  EXPECT_EQ(rareCalls, 1) << "an event that was set once";
}

TEST_F(Win32LoopTest, AWatchMayGoWithItsHandleInsideAnyCallback) {
  OwnedHandle own = CreateEventHandle(false);
  OwnedHandle other = CreateEventHandle(true);
  OwnedHandle last = CreateEventHandle(false);
  std::vector<std::string> calls;
  Win32MessageLoop::WatchId ownId = 0, otherId = 0;
  ownId = loop.Watch(own.Get(), [&] {
    calls.emplace_back("own");
    loop.Unwatch(ownId);
    own.Reset();
    loop.Unwatch(otherId);
    other.Reset();
  });
  otherId = loop.Watch(other.Get(), [&] { calls.emplace_back("other"); });
  loop.Watch(last.Get(), [&] { calls.emplace_back("last"); });
  for (const HANDLE handle : {own.Get(), other.Get(), last.Get()}) SetEvent(handle);
  ASSERT_TRUE(Becomes([&] { return calls.size() >= 2; }));
  EXPECT_THAT(calls, ::testing::ElementsAre("own", "last"));
  EXPECT_THAT(traces, ::testing::IsEmpty());
}

TEST_F(Win32LoopTest, WatchesNoMoreThanTheSystemCanWaitFor) {
  std::vector<OwnedHandle> handles;
  int calls = 0;
  for (std::size_t i = 0; i < Win32MessageLoop::kMaxWatches; ++i) {
    handles.push_back(CreateEventHandle(false));
    loop.Watch(handles.back().Get(), [&] { ++calls; });
  }
  const OwnedHandle tooMany = CreateEventHandle(false);
  EXPECT_EQ(ErrorOf([&] { loop.Watch(tooMany.Get(), [] {}); }), 57);
  for (const OwnedHandle& handle : handles) SetEvent(handle.Get());
  ASSERT_TRUE(Becomes([&] { return calls == static_cast<int>(handles.size()); }));
}

int messagesSeen = 0;

/// Sends itself another message for each one, for ever.
LRESULT CALLBACK Flood(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message != WM_APP) return DefWindowProcW(window, message, wParam, lParam);
  ++messagesSeen;
  PostMessageW(window, WM_APP, 0, 0);
  return 0;
}

TEST_F(Win32LoopTest, AFloodOfMessagesIsDispatchedAndKeepsNobodyWaiting) {
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = Flood;
  windowClass.lpszClassName = L"TarnTestFlood";
  ASSERT_NE(RegisterClassW(&windowClass), 0);
  const HWND window = CreateWindowExW(0, L"TarnTestFlood", L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                      nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  PostMessageW(window, WM_APP, 0, 0);
  EXPECT_TRUE(Becomes([&] { return messagesSeen >= 500; }));
  bool posted = false;
  loop.Post([&] { posted = true; });
  EXPECT_TRUE(Becomes([&] { return posted; }));
  DestroyWindow(window);
}

TEST_F(Win32LoopTest, TheSystemsWishToQuitEndsRun) {
  loop.Post([] { PostQuitMessage(0); });
  loop.Run();
  bool ran = false;
  loop.Post([&] { ran = true; });
  EXPECT_TRUE(Becomes([&] { return ran; })) << "it may run again";
}

TEST_F(PlatformTest, ALibraryInTheCurrentFolderIsNotTheTerminals) {
  const std::string planted = Name("tarn-planted.dll");
  std::filesystem::copy_file("Z:" TARN_KESAPI, planted);
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder);
  const auto error = [this](const std::string& library) {
    return ErrorOf([&] { NewHost(library)->TerminalNetwork().KesRegisterProcess(125); });
  };
  EXPECT_EQ(error("tarn-planted.dll"), 53);
  EXPECT_EQ(error("./tarn-planted.dll"), 0) << "one that is named by its folder";
  std::filesystem::current_path(before);
}

using Win32LineTest = PlatformTest;

/// Far more than the drivers' buffers hold, sent while the loop stands still.
TEST_F(Win32LineTest, NothingIsLostWhileTheLoopIsBusy) {
  const std::string place = Variable("TARN_TEST_PORT_B");
  if (place.empty()) GTEST_SKIP() << "no pair of ports is named";
  constexpr std::size_t kTotal = 200'000;
  const auto line = host->CreateTerminalLine(place);
  const auto port = NewPort();
  port->PortOpen(true);
  std::string delivered;
  const double end = Loop().Now() + 30000;
  while (delivered.size() < kTotal && Loop().Now() < end) {
    const std::string piece(1000, static_cast<char>('a' + delivered.size() % 23));
    delivered += piece.substr(0, line->Write(piece));
  }
  ASSERT_GE(delivered.size(), kTotal) << "the line stood still with the loop";
  std::string received;
  std::size_t first = 0;
  const auto receiving = port->Receive.Subscribe([&] {
    if (first == 0) first = static_cast<std::size_t>(port->InBufferCount());
    while (const auto c = port->Input()) received += *c;
  });
  ASSERT_TRUE(Becomes([&] { return received.size() >= delivered.size(); }));
  EXPECT_TRUE(received == delivered);
  EXPECT_GT(first, kTotal / 4) << "one announcement is enough for all that waits";
}

}  // namespace
}  // namespace tarn
