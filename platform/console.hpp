// The console of a tool: its keys, its screen size, and requests to end.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/event.hpp"

namespace tarn {

/// Events come from the loop. The destructor restores the console to its former state.
class Console {
 public:
  enum class Key { Character, Up, Down, PageUp, PageDown, Home, End, Enter, Escape, Backspace };

  struct Size {
    int columns = 80;
    int rows = 24;
  };

  Console() = default;
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  virtual ~Console() = default;

  /// True when standard output is a terminal that understands cursor sequences.
  virtual bool IsTerminal() const = 0;
  virtual Size ScreenSize() const = 0;
  /// Delivers single keys, unseen on the screen, from now on. Does nothing when standard input is
  /// no terminal.
  virtual void ReadKeys() = 0;
  /// For a program that uses the whole screen; call it after ReadKeys. From now on Ctrl-S is a key
  /// like any other and stops no output, and a crash or Ctrl-\ first restores the terminal as
  /// LeaveNow does. `leave` is what shows the user's own screen again, at most 64 bytes.
  virtual void GuardScreen(std::string_view leave) = 0;
  /// Restores the terminal at once, even one that takes no more output: Write discards what it has
  /// not written and returns. For the end of the process.
  virtual void LeaveNow() = 0;
  /// Announces the end of standard input (InputEnded) when that is no terminal.
  virtual void WatchInputEnd() = 0;
  /// Writes at once and whole, however long the reader takes. Output that cannot be written raises
  /// Interrupted, and the rest is discarded. From any thread, one at a time.
  virtual void Write(std::string_view text) = 0;
  /// Writes what the output takes without waiting, and returns how many bytes that were: 0 where
  /// the system cannot promise that, for a plain file. Not while Write runs.
  virtual std::size_t WriteNow(std::string_view /*text*/) { return 0; }
  /// Why Write could not write, such as a full disk; empty while it could, and for a reader that
  /// went away, which is how readers end a program. Not while Write runs.
  virtual std::string WriteFailure() const { return {}; }

  Event<Key, char> KeyPressed;  ///< the character is 0 except for Key::Character
  Event<> Interrupted;          ///< Ctrl-C, a request to end, the terminal gone
  /// A request to read the settings again (SIGHUP of another program on POSIX systems). Where
  /// nobody has subscribed to it, it is a request to end.
  Event<> ReloadAsked;
  Event<> InputEnded;
};

}  // namespace tarn
