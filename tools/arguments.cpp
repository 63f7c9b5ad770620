#include "tools/arguments.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <utility>

#include "platform/program.hpp"
#include "tools/usage_error.hpp"

namespace tarn::tool {

Option& Option::Required(bool required) {
  option_->required(required);
  return *this;
}
Option& Option::Range(int least, int most) {
  option_->check(CLI::Range(least, most));
  return *this;
}
Option& Option::Range(double least, double most) {
  option_->check(CLI::Range(least, most));
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
  std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the end
  try {
    app_->parse(arguments);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app_->exit(error);  // this is --help
    return Explain(error);
  }
  const CLI::App* chosen = app_->get_subcommands().front();
  const auto command = std::find_if(commands_.begin(), commands_.end(),
                                    [&](const Command& c) { return c.app_ == chosen; });
  return command->run_();
}

int CommandLine::Explain(const CLI::ParseError& error) const {
  const std::string program = app_->get_name();
  std::string problem = error.what();
  const auto chosen = app_->get_subcommands();
  if (chosen.empty()) {
    problem = "which command?";
    for (std::size_t i = 0; i < commands_.size(); ++i) {
      const bool last = i + 1 == commands_.size();
      problem += (i == 0 ? " " : last ? " or " : ", ") + commands_[i].app_->get_name();
    }
  }
  std::cerr << program << ": " << problem << "\nHelp: " << program << " "
            << (chosen.empty() ? "" : chosen.front()->get_name() + " ") << "--help\n";
  return kWrongUse;
}

}  // namespace tarn::tool
