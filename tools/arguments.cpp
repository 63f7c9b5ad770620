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
#include "tools/completion.hpp"
#include "tools/manual_page.hpp"
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
Option& Option::Suggest(std::vector<std::string> words) {
  (*words_)[option_] = std::move(words);
  return *this;
}
Option& Option::OneOf(std::vector<std::string> words) {
  Suggest(words);
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
  return {*option, words_};
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
  return {*app_->get_option(name), words_};
}

void Command::Footer(const std::string& text) {
  app_->footer(text);
}

CommandLine::CommandLine(const char* name, const char* description)
    : app_(std::make_unique<CLI::App>(description, name)) {
  app_->require_subcommand(1);
  app_->allow_windows_style_options(false);
  app_->set_version_flag("--version", app_->get_name() + " " + TARN_VERSION, "Prints the version");
  // The parser ends with a text as it does for --version.
  const auto print = [](std::string text) {
    text.pop_back();  // the last line's end, which the parser writes itself
    throw CLI::CallForVersion(text, kSuccess);
  };
  app_->add_flag_callback(
      "--manual", [this, print] { print(ManualPage(Table())); },
      "Prints the manual page, for man -l -");
  app_->add_option_function<std::string>(
          "--completion",
          [this, print](const std::string& shell) { print(Completion(Table(), shell)); },
          "Prints a script that completes the command line in this shell")
      ->check(CLI::IsMember(CompletionShells()));
}

CommandLine::~CommandLine() = default;

Command& CommandLine::Add(const char* name, const char* description) {
  app_->footer("Each command has its own help: " + app_->get_name() + " " +
               (commands_.empty() ? name : commands_.front().app_->get_name()) + " --help");
  return commands_.emplace_back(*app_->add_subcommand(name, description));
}

CommandRow Command::Row(const std::string& program) const {
  const CLI::Formatter format;
  CommandRow row;
  row.name = app_->get_name();
  row.description = app_->get_description();
  row.usage = format.make_usage(app_, program + " " + row.name);
  row.usage.erase(0, row.usage.find(": ") + 2);
  while (row.usage.ends_with('\n')) row.usage.pop_back();
  row.footer = app_->get_footer();
  for (const CLI::Option* option : app_->get_options()) {
    OptionRow& added = row.options.emplace_back();
    const bool positional = option->get_positional();
    if (!positional) {
      for (const std::string& name : option->get_snames()) added.names.push_back("-" + name);
      for (const std::string& name : option->get_lnames()) added.names.push_back("--" + name);
    }
    added.shown = format.make_option_name(option, positional) + format.make_option_opts(option);
    added.help = option->get_description();
    added.group = positional ? "Arguments" : option->get_group();
    added.takesValue = option->get_items_expected_max() > 0;
    if (const auto words = words_.find(option); words != words_.end()) added.words = words->second;
  }
  const auto place = [](const OptionRow& option) { return option.names.empty() ? 0 : 1; };
  std::stable_sort(row.options.begin(), row.options.end(),
                   [&](const auto& left, const auto& right) { return place(left) < place(right); });
  return row;
}

CommandTable CommandLine::Table() const {
  CommandTable table{TARN_VERSION, TARN_VERSION_DATE, Command(*app_).Row(""), {}};
  for (OptionRow& option : table.program.options) {
    if (option.names.back() == "--completion") option.words = CompletionShells();
  }
  for (const Command& command : commands_) table.commands.push_back(command.Row(app_->get_name()));
  return table;
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
  const bool isOfOption = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr ||
                          dynamic_cast<const CLI::ValidationError*>(&error) != nullptr;
  if (chosen.empty() && !isOfOption) {
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
