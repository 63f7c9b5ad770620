// The command line of a tool: its commands, their options and their help.
//
// CLI11 does the work. Only arguments.cpp includes it, since every file that does takes half a
// minute to compile.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
class ParseError;
}  // namespace CLI

namespace tarn::tool {

inline constexpr int kSuccess = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;

/// One option. Each member narrows it and returns it again.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  Option& Required(bool required = true);
  /// Both limits are allowed.
  Option& Range(int least, int most);
  Option& Range(double least, double most);
  Option& OneOf(std::vector<std::string> words);
  /// The help shows the value that the variable has now.
  Option& ShowDefault();
  /// How the help names the value.
  Option& Value(const char* name);
  /// Each occurrence takes one value, so that what follows it can be something else.
  Option& OneValueEach();
  /// Not together with that option, which is there already.
  Option& Without(const char* other);

 private:
  CLI::Option* option_;
};

/// A command of the tool. The variables that take the values must live until the command ran; they
/// keep what they hold where an option is not given. A name without dashes takes the value at that
/// place of the command line.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  /// What is added from now on stands below this heading in the help.
  void Group(std::string heading) { group_ = std::move(heading); }

  Option Add(const char* name, std::string& value, const char* help);
  Option Add(const char* name, int& value, const char* help);
  Option Add(const char* name, double& value, const char* help);
  Option Add(const char* name, std::uint64_t& value, const char* help);
  Option Add(const char* name, std::optional<int>& value, const char* help);
  Option Add(const char* name, std::optional<double>& value, const char* help);
  Option Add(const char* name, std::vector<std::string>& values, const char* help);
  Option Flag(const char* name, bool& on, const char* help);
  /// Counts how often it is given.
  Option Flag(const char* name, int& count, const char* help);
  /// An option that was added before.
  Option Known(const char* name);

  /// Stands below the options in the help.
  void Footer(const std::string& text);
  /// What the command does; the result is the exit status. It may throw: see CommandLine::Main.
  void OnRun(std::function<int()> run) { run_ = std::move(run); }

 private:
  friend class CommandLine;

  template <class Value>
  Option AddValue(const char* name, Value& value, const char* help);
  Option Grouped(CLI::Option* option);

  CLI::App* app_;
  std::string group_ = "Options";
  std::function<int()> run_;
};

/// The whole command line: a name, commands of which one is chosen, a text at the end of the help.
class CommandLine {
 public:
  CommandLine(const char* name, const char* description);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  Command& Add(const char* name, const char* description);

  /// Reads the arguments, runs the command that they choose and returns the exit status: the
  /// command's own, 2 for a UsageError and for arguments that are wrong, 1 for any other exception.
  /// What is wrong goes to standard error. Help that was asked for goes to standard output.
  int Main(int argc, const char* const* argv);

 private:
  int Run(std::vector<std::string> arguments);
  int Explain(const CLI::ParseError& error) const;

  std::unique_ptr<CLI::App> app_;
  std::deque<Command> commands_;
};

}  // namespace tarn::tool
