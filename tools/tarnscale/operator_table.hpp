// A live table whose keys give commands to the scale of the selected row.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/scale_commands.hpp"
#include "tools/tarnscale/live_table.hpp"

namespace tarn::tool {

class OperatorTable : public LiveTable {
 public:
  using LiveTable::LiveTable;

 protected:
  /// Gives a command to the scale of the selected row, and notes what came of it.
  virtual void Give(const ScaleCommand& command, double tare) = 0;

  /// Takes the key while the table asks for a weight; true then.
  bool HandlePromptKey(Console::Key key, char character);
  /// Takes the key of a command.
  void HandleCommandKey(char character);
  /// What the table asks for, for the scale of this number; nothing while it asks for nothing.
  std::optional<std::string> Prompt(int scale) const;
  /// The keys of the commands, a line each.
  static std::vector<std::string> CommandHelp();

 private:
  void GivePresetTare(const std::string& text);

  std::optional<std::string> tareText_;  ///< while the table asks for the preset tare
};

}  // namespace tarn::tool
