#include "tools/manual_page.hpp"

#include <algorithm>
#include <cctype>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::tool {
namespace {

/// Text in which nothing is a request or an escape sequence.
std::string Escaped(std::string_view text) {
  std::string escaped;
  bool atBegin = true;
  for (const char c : text) {
    if (atBegin && (c == '.' || c == '\'')) escaped += "\\&";
    atBegin = c == '\n';
    if (c == '\\')
      escaped += "\\e";
    else if (c == '-')
      escaped += "\\-";
    else
      escaped += c;
  }
  return escaped;
}

std::string Line(const std::string& request, std::string_view text) {
  return request + Escaped(text) + "\n";
}

/// A text to be filled, in lines of the length that is usual in such files.
std::string Filled(std::string text) {
  constexpr std::size_t kLength = 72;
  std::size_t lineBegin = 0;
  std::size_t blank = text.npos;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ' ') blank = i;
    if (i - lineBegin < kLength || blank == text.npos) continue;
    text[blank] = '\n';
    lineBegin = blank + 1;
    blank = text.npos;
  }
  return Line("", text);
}

/// The first word of what is shown in bold: the names, which may be written as they stand.
std::string Item(const OptionRow& option) {
  const auto end = std::min(option.shown.find(' '), option.shown.size());
  return ".TP\n\\fB" + Escaped(option.shown.substr(0, end)) + "\\fR" +
         Escaped(option.shown.substr(end)) + "\n" + Filled(option.help);
}

/// As it stands, with its lines.
std::string AsItStands(std::string_view text) {
  while (text.starts_with('\n')) text.remove_prefix(1);
  if (text.empty()) return {};
  return ".PP\n.nf\n" + Escaped(text) + "\n.fi\n";
}

/// The command that has a group of options first, by what stands in it.
using Known = std::map<std::string, std::string>;

std::string Options(const CommandRow& command, Known& known) {
  std::vector<std::pair<std::string, std::string>> groups;
  for (const OptionRow& option : command.options) {
    if (option.names.size() == 2 && option.names.back() == "--help") continue;
    if (groups.empty() || groups.back().first != option.group)
      groups.emplace_back(option.group, "");
    groups.back().second += Item(option);
  }
  std::string text;
  for (const auto& [heading, items] : groups) {
    const auto [first, isNew] = known.emplace(heading + items, command.name);
    text += ".PP\n" + Line("", heading + (isNew ? ":" : ": those of " + first->second + "."));
    if (isNew) text += items;
  }
  return text;
}

std::string Lower(std::string text) {
  text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
  return text;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

std::string ManualPage(const CommandTable& table) {
  const CommandRow& program = table.program;
  Known known;
  std::string text =
      ".\\\" Made by '" + program.name + " --manual'.\n.TH " + Upper(program.name) + " 1 " +
      table.date + " " + Line("\"", program.name + " " + table.version + "\"") + ".SH NAME\n" +
      Escaped(program.name) + " \\- " + Line("", Lower(program.description)) + ".SH SYNOPSIS\n.B " +
      program.name + "\n\\fICOMMAND\\fR [\\fIOPTION\\fR ...] [\\fIARGUMENT\\fR ...]\n.br\n.B " +
      program.name + "\n[\\fIOPTION\\fR]\n.SH OPTIONS\n";
  for (const OptionRow& option : program.options) text += Item(option);
  text += ".SH COMMANDS\n";
  for (const CommandRow& command : table.commands) {
    text += Line(".SS ", command.name) + Filled(command.description + ".") + ".PP\n" +
            Line(".B ", command.usage) + Options(command, known) + AsItStands(command.footer);
  }
  return text;
}

}  // namespace tarn::tool
