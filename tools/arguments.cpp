#include "tools/arguments.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "platform/program.hpp"
#include "tools/usage_error.hpp"

namespace tarn::tool {

Option& Option::Required(bool required) {
  option_->required(required);
  return *this;
}
Option& Option::Range(int least, int most) {
  return Within(least, most, "whole number");
}
Option& Option::Range(double least, double most) {
  return Within(least, most, "number");
}

template <class Limit>
Option& Option::Within(Limit least, Limit most, const std::string& kind) {
  const auto check = [=](const std::string& text) -> std::string {
    Limit value{};
    if (CLI::detail::lexical_cast(text, value) && value >= least && value <= most) return {};
    std::ostringstream limits;  // which shows 1000000 as such
    limits << std::setprecision(12) << least << " to " << most;
    return "'" + text + "' is no " + kind + " from " + limits.str();
  };
  option_->check(check, CLI::Range(least, most).get_description());
  return *this;
}
Option& Option::OneOf(std::vector<std::string> words) {
  option_->check(CLI::IsMember(std::move(words)));
  return *this;
}
Option& Option::ShowDefault() {
  option_->capture_default_str();
  return *this;
}
Option& Option::Value(const char* name) {
  option_->type_name(name);
  return *this;
}
Option& Option::OneValueEach() {
  option_->allow_extra_args(false);
  return *this;
}
Option& Option::Without(const char* other) {
  option_->excludes(std::string(other));
  return *this;
}

template <class Value>
Option Command::AddValue(const char* name, Value& value, const char* help) {
  return Grouped(app_->add_option(name, value, help));
}

Option Command::Grouped(CLI::Option* option) {
  if (!option->get_positional()) option->group(group_);
  return Option(*option);
}

Option Command::Add(const char* name, std::string& value, const char* help) {
  return AddValue(name, value, help);
}
Option Command::Add(const char* name, int& value, const char* help) {
  return AddValue(name, value, help);
}
Option Command::Add(const char* name, double& value, const char* help) {
  return AddValue(name, value, help);
}
Option Command::Add(const char* name, std::uint64_t& value, const char* help) {
  return AddValue(name, value, help);
}
Option Command::Add(const char* name, std::optional<int>& value, const char* help) {
  return AddValue(name, value, help);
}
Option Command::Add(const char* name, std::optional<double>& value, const char* help) {
  return AddValue(name, value, help);
}
Option Command::Add(const char* name, std::vector<std::string>& values, const char* help) {
  return AddValue(name, values, help);
}
Option Command::Flag(const char* name, bool& on, const char* help) {
  return Grouped(app_->add_flag(name, on, help));
}
Option Command::Flag(const char* name, int& count, const char* help) {
  return Grouped(app_->add_flag(name, count, help));
}
Option Command::Known(const char* name) {
  return Option(*app_->get_option(name));
}

void Command::Footer(const std::string& text) {
  app_->footer(text);
}

CommandLine::CommandLine(const char* name, const char* description)
    : app_(std::make_unique<CLI::App>(description, name)) {
  app_->require_subcommand(1);
  app_->allow_windows_style_options(false);
}

CommandLine::~CommandLine() = default;

Command& CommandLine::Add(const char* name, const char* description) {
  app_->footer("Each command has its own help: " + app_->get_name() + " " +
               (commands_.empty() ? name : commands_.front().app_->get_name()) + " --help");
  return commands_.emplace_back(*app_->add_subcommand(name, description));
}

void CommandLine::Version(const char* version) {
  app_->set_version_flag("--version", app_->get_name() + " " + version, "Prints the version");
}

int CommandLine::Main(int argc, const char* const* argv) {
  try {
    return Run(ProgramArguments(argc, argv));
  } catch (const UsageError& error) {
    std::cerr << app_->get_name() << ": " << error.what() << '\n';
    return kWrongUse;
  } catch (const std::exception& error) {
    std::cerr << app_->get_name() << ": " << error.what() << '\n';
    return kFailed;
  }
}

int CommandLine::Run(std::vector<std::string> arguments) {
  const std::vector<std::string> typed = arguments;
  std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the end
  try {
    app_->parse(arguments);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) return Explain(error, typed);
    const int status = app_->exit(error);  // this is --help
    if (std::cout.flush()) return status;
    throw std::runtime_error("standard output cannot be written");
  }
  const CLI::App* chosen = app_->get_subcommands().front();
  const auto command = std::find_if(commands_.begin(), commands_.end(),
                                    [&](const Command& c) { return c.app_ == chosen; });
  return command->run_();
}

/// The parser's own words where they are the user's, too.
int CommandLine::Explain(const CLI::ParseError& error,
                         const std::vector<std::string>& typed) const {
  const std::string program = app_->get_name();
  const auto chosen = app_->get_subcommands();
  std::string problem = error.what();
  if (chosen.empty()) {
    problem = typed.empty() ? "which command?" : "there is no command '" + typed.front() + "';";
    for (std::size_t i = 0; i < commands_.size(); ++i) {
      const bool last = i + 1 == commands_.size();
      problem += (i == 0 ? " " : last ? " or " : ", ") + commands_[i].app_->get_name();
    }
  } else if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    problem = Strangers(chosen.front()->remaining(), typed);
  } else if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    problem.replace(problem.find(" is required"), std::string::npos, " is missing");
  } else if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
    const auto excludes = problem.find(" excludes ");
    if (excludes != problem.npos) problem.replace(excludes, 10, " does not go together with ");
  } else if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    problem = problem.substr(0, problem.find(':')) + " needs a value";
  }
  std::cerr << program << ": " << problem << "\nHelp: " << program << " "
            << (chosen.empty() ? "" : chosen.front()->get_name() + " ") << "--help\n";
  return kWrongUse;
}

/// What the command has no place for, in the order in which it was typed.
std::string CommandLine::Strangers(const std::vector<std::string>& remaining,
                                   const std::vector<std::string>& typed) {
  std::string problem;
  for (const std::string& word : typed) {
    if (std::find(remaining.begin(), remaining.end(), word) == remaining.end()) continue;
    problem += problem.empty() ? "" : "; ";
    const bool isOption = word.starts_with('-');
    problem += (isOption ? "there is no option '" : "there is no place for '") + word + "'";
  }
  return problem;
}

}  // namespace tarn::tool
