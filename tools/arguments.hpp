// The command line of a tool: its commands, their options and their help.
//
// CLI11 does the work. Only arguments.cpp includes it, since every file that does takes half a
// minute to compile.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/command_table.hpp"

namespace CLI {
class App;
class Option;
class ParseError;
}  // namespace CLI

namespace tarn::tool {

inline constexpr int kSuccess = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;

/// One option. Each member sets a property of it and returns the same option.
class Option {
 public:
  /// What can be written for options, where that is known.
  using Words = std::map<const CLI::Option*, std::vector<std::string>>;

  /// The words outlive the option.
  Option(CLI::Option& option, Words& words) : option_(&option), words_(&words) {}

  Option& Required(bool required = true);
  /// Both limits are allowed.
  Option& Range(int least, int most);
  Option& Range(double least, double most);
  Option& OneOf(std::vector<std::string> words);
  /// What a shell offers to complete; other words are allowed, too.
  Option& Suggest(std::vector<std::string> words);
  /// The help shows the present value of the variable.
  Option& ShowDefault();
  /// Sets the name of the value in the help.
  Option& Value(const char* name);
  /// Each occurrence takes one value only, so that other arguments may follow.
  Option& OneValueEach();
  /// Excludes the other option, which must have been added before.
  Option& Without(const char* other);

 private:
  template <class Limit>
  Option& Within(Limit least, Limit most, const std::string& kind);

  CLI::Option* option_;
  Words* words_;
};

/// A command of the tool. The variables that receive the values must outlive the run of the
/// command; they keep their values when an option is not given. A name without dashes is a
/// positional argument.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  /// The help lists all options that follow under this heading.
  void Group(std::string heading) { group_ = std::move(heading); }

  Option Add(const char* name, std::string& value, const char* help);
  Option Add(const char* name, int& value, const char* help);
  Option Add(const char* name, double& value, const char* help);
  Option Add(const char* name, std::uint64_t& value, const char* help);
  Option Add(const char* name, std::optional<int>& value, const char* help);
  Option Add(const char* name, std::optional<double>& value, const char* help);
  Option Add(const char* name, std::vector<std::string>& values, const char* help);
  Option Flag(const char* name, bool& on, const char* help);
  /// Counts how often the flag is given.
  Option Flag(const char* name, int& count, const char* help);
  /// Returns an option that was added before.
  Option Known(const char* name);

  /// Adds a text below the options in the help.
  void Footer(const std::string& text);
  /// Sets the work of the command, which returns the exit status. It may throw: see
  /// CommandLine::Main.
  void OnRun(std::function<int()> run) { run_ = std::move(run); }

 private:
  friend class CommandLine;

  template <class Value>
  Option AddValue(const char* name, Value& value, const char* help);
  Option Grouped(CLI::Option* option);
  CommandRow Row(const std::string& program) const;

  CLI::App* app_;
  std::string group_ = "Options";
  Option::Words words_;
  std::function<int()> run_;
};

/// The whole command line: a name and several commands, of which the user chooses one. Without a
/// command it has --version, and --manual and --completion, which print its manual page and what
/// completes it in a shell.
class CommandLine {
 public:
  CommandLine(const char* name, const char* description);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  Command& Add(const char* name, const char* description);

  /// Parses the arguments, runs the chosen command and returns its exit status. Returns 2 for wrong
  /// arguments and for a UsageError, 1 for any other exception, and writes the reason to standard
  /// error. Help goes to standard output.
  int Main(int argc, const char* const* argv);

 private:
  CommandTable Table() const;
  int Run(std::vector<std::string> arguments);
  int Explain(const CLI::ParseError& error, const std::vector<std::string>& typed) const;
  static std::string Strangers(const std::vector<std::string>& remaining,
                               const std::vector<std::string>& typed);

  std::unique_ptr<CLI::App> app_;
  std::deque<Command> commands_;
};

}  // namespace tarn::tool
