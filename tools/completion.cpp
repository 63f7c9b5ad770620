#include "tools/completion.hpp"

namespace tarn::tool {
namespace {

using Words = std::vector<std::string>;

std::string Joined(const Words& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) {
    if (!text.empty()) text += between;
    text += word;
  }
  return text;
}

/// As one word of a shell. `escaped` gets a backslash each, for what reads the word then.
std::string Quoted(std::string_view text, std::string_view escaped = {}) {
  std::string word = "'";
  for (const char c : text) {
    if (escaped.find(c) != escaped.npos) word += '\\';
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return word + "'";
}

Words NamesOf(const CommandRow& command) {
  Words names;
  for (const OptionRow& option : command.options)
    names.insert(names.end(), option.names.begin(), option.names.end());
  return names;
}

/// What can stand where no option does.
Words ArgumentsOf(const CommandRow& command) {
  Words words;
  for (const OptionRow& option : command.options) {
    if (option.names.empty()) words.insert(words.end(), option.words.begin(), option.words.end());
  }
  return words;
}

Words CommandNames(const CommandTable& table) {
  Words names;
  for (const CommandRow& command : table.commands) names.push_back(command.name);
  return names;
}

// --- bash ------------------------------------------------------------------------------------

/// The words of a command: those behind an option are known, or are left to the shell.
std::string BashCase(const CommandRow& command, const Words& arguments) {
  std::string values;
  Words others;
  for (const OptionRow& option : command.options) {
    if (!option.takesValue || option.names.empty()) continue;
    if (option.words.empty()) {
      others.insert(others.end(), option.names.begin(), option.names.end());
      continue;
    }
    values += "        " + Joined(option.names, " | ") +
              ") words=" + Quoted(Joined(option.words, " ")) + " options= ;;\n";
  }
  if (!others.empty()) values += "        " + Joined(others, " | ") + ") return ;;\n";
  return "      options=" + Quoted(Joined(NamesOf(command), " ")) +
         "\n      words=" + Quoted(Joined(arguments, " ")) + "\n" +
         (values.empty() ? std::string() : "      case $before in\n" + values + "      esac\n");
}

std::string BashCompletion(const CommandTable& table) {
  const std::string& name = table.program.name;
  std::string text = "_" + name +
                     "() {\n"
                     "  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}\n"
                     "  local before=${COMP_WORDS[COMP_CWORD - 1]} options= words=\n"
                     "  COMPREPLY=()\n"
                     "  [ \"$COMP_CWORD\" -gt 1 ] && [[ $command != -* ]] || command=\n"
                     "  case $command in\n"
                     "    '')\n" +
                     BashCase(table.program, CommandNames(table)) + "      ;;\n";
  for (const CommandRow& command : table.commands) {
    text += "    " + command.name + ")\n" + BashCase(command, ArgumentsOf(command)) + "      ;;\n";
  }
  return text +
         "  esac\n"
         "  [[ $word == -* ]] && words=$options\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
         "  [[ ${COMPREPLY-} == *= ]] && compopt -o nospace\n"
         "}\n"
         "complete -o default -F _" +
         name + " " + name + "\n";
}

// --- zsh -------------------------------------------------------------------------------------

std::string ZshValue(const OptionRow& option) {
  if (!option.takesValue) return {};
  return option.words.empty() ? ":value:_files" : ":value:(" + Joined(option.words, " ") + ")";
}

std::string ZshArguments(const CommandRow& command, const std::string& rest) {
  std::string text = "_arguments -S";
  for (const OptionRow& option : command.options) {
    for (const std::string& name : option.names) {
      // Each in one word: quotes that follow one another belong together in a shell.
      text += " \\\n    " + Quoted("*" + name) + Quoted("[") + Quoted(option.help, "[]:\\") +
              Quoted("]") + Quoted(ZshValue(option));
    }
  }
  return text + " \\\n    " + Quoted(rest) + "\n";
}

std::string ZshCompletion(const CommandTable& table) {
  std::string text = "#compdef " + table.program.name +
                     "\n"
                     "if (( CURRENT == 2 )) && [[ $words[2] != -* ]]; then\n"
                     "  local -a commands=(\n";
  for (const CommandRow& command : table.commands) {
    text += "    " + Quoted(command.name + ":" + command.description) + "\n";
  }
  text +=
      "  )\n"
      "  _describe command commands\n"
      "  return\n"
      "fi\n"
      "local command=$words[2]\n"
      "[[ $command == -* ]] || { shift words; (( CURRENT-- )); }\n"
      "case $command in\n"
      "  -*)\n    " +
      ZshArguments(table.program, "*:command:") + "    ;;\n";
  for (const CommandRow& command : table.commands) {
    const Words words = ArgumentsOf(command);
    const std::string known =
        words.empty() ? "_files" : "{ compadd -S '' -- " + Joined(words, " ") + "; _files }";
    text +=
        "  " + command.name + ")\n    " + ZshArguments(command, "*:argument:" + known) + "    ;;\n";
  }
  return text + "esac\n";
}

// --- fish ------------------------------------------------------------------------------------

std::string FishOptions(const std::string& program, const CommandRow& command,
                        const std::string& where) {
  const std::string begin = "complete -c " + program + " -n " + Quoted(where);
  std::string text;
  for (const OptionRow& option : command.options) {
    std::string names;
    for (const std::string& name : option.names)
      names += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (names.empty()) continue;
    text += begin + names + " -d " + Quoted(option.help);
    if (option.takesValue) text += option.words.empty() ? " -r" : " -x -a ";
    if (!option.words.empty()) text += Quoted(Joined(option.words, " "));
    text += '\n';
  }
  const Words words = ArgumentsOf(command);
  if (!words.empty()) text += begin + " -a " + Quoted(Joined(words, " ")) + "\n";
  return text;
}

std::string FishCompletion(const CommandTable& table) {
  const std::string& name = table.program.name;
  constexpr const char* kFirst = "__fish_use_subcommand";
  std::string text = FishOptions(name, table.program, kFirst);
  for (const CommandRow& command : table.commands) {
    text += "complete -c " + name + " -f -n " + kFirst + " -a " + command.name + " -d " +
            Quoted(command.description) + "\n" +
            FishOptions(name, command, "__fish_seen_subcommand_from " + command.name);
  }
  return text;
}

}  // namespace

std::vector<std::string> CompletionShells() {
  return {"bash", "fish", "zsh"};
}

std::string Completion(const CommandTable& table, std::string_view shell) {
  if (shell == "zsh") return ZshCompletion(table);  // whose first line is not to be a comment
  const std::string head = "# Completion of " + table.program.name + ", made by '" +
                           table.program.name + " --completion " + std::string(shell) + "'.\n";
  return head + (shell == "fish" ? FishCompletion(table) : BashCompletion(table));
}

}  // namespace tarn::tool
