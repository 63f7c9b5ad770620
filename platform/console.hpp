// The console of a tool: keys, screen size, the wish to end.
#pragma once

#include <string_view>

#include "base/event.hpp"

namespace tarn {

/// Events come from the loop. The destructor gives the console back as it was found.
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
  /// For a program that has the whole screen, behind ReadKeys. From now on Ctrl-S is a key like any
  /// other and stops no output, and a crash or Ctrl-\ first gives the terminal back as LeaveNow
  /// does. `leave` is what shows the user's own screen again, at most 64 bytes.
  virtual void GuardScreen(std::string_view leave) = 0;
  /// Gives the terminal back at once, also one that takes no more output: what Write still has to
  /// hand over is dropped and Write returns. For the end of the process.
  virtual void LeaveNow() = 0;
  /// Announces the end of standard input (InputEnded) when that is no terminal.
  virtual void WatchInputEnd() = 0;
  /// Writes at once and whole, however long the reader takes; a reader that went away raises
  /// Interrupted. From any thread, one at a time.
  virtual void Write(std::string_view text) = 0;

  Event<Key, char> KeyPressed;  ///< the character is 0 but for Key::Character
  Event<> Interrupted;          ///< Ctrl-C, a request to end, the terminal gone
  Event<> InputEnded;
};

}  // namespace tarn
