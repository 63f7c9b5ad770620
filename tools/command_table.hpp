// What the command line of a tool consists of, for its manual page and its completion in shells.
#pragma once

#include <string>
#include <vector>

namespace tarn::tool {

struct OptionRow {
  std::vector<std::string> names;  ///< "-q", "--quiet"; none for a positional argument
  std::string shown;               ///< as in the help, with the value: "--port N=DEVICE ..."
  std::string help;
  std::string group;               ///< the heading in the help
  std::vector<std::string> words;  ///< what may or can be written, where that is known
  bool takesValue = false;
};

struct CommandRow {
  std::string name;  ///< empty for the program itself
  std::string description;
  std::string usage;  ///< "tarnscale set [OPTIONS] FILE"
  std::vector<OptionRow> options;
  std::string footer;
};

struct CommandTable {
  std::string version;
  std::string date;  ///< of the version, "2026-06-01"
  CommandRow program;
  std::vector<CommandRow> commands;
};

}  // namespace tarn::tool
