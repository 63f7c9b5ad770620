// The settings store.
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

class SettingsStoreContract : public PlatformContract {
 protected:
  SettingsStore& Store() { return TheHost().Settings(); }
};
TARN_CONTRACT(SettingsStoreContract);

TEST_P(SettingsStoreContract, KeepsValuesAcrossRestarts) {
  const std::string values[] = {"",
                                " ends ",
                                "\t\"C:\\new\"\t",
                                "\"quoted\"",
                                "\"",
                                "C:\\dir\\n a\"b\\",
                                "cr\rlf\r\n\n",
                                "[Settings]",
                                "; a=b;c#d",
                                "Gr\u00F6\u00DFe \u20AC"};
  const auto keyOf = [&](const std::string& value) {
    return "Key" + std::to_string(&value - values);
  };
  for (const std::string& value : values) Store().Set("Settings", keyOf(value), value);
  for (int round = 0; round < 2; ++round) {
    for (const std::string& value : values) {
      EXPECT_EQ(Store().Get("Settings", keyOf(value)), value);
    }
    harness->Restart();
  }
}

TEST_P(SettingsStoreContract, NamesCompareWithoutRegardToCaseAndSectionsAreApart) {
  Store().Set("Settings", "LastFile", "a");
  Store().Set("Other", "LastFile", "b");
  Store().Set("SETTINGS", "lastfile", "c");
  EXPECT_EQ(Store().Get("settings", "LASTFILE"), "c");
  EXPECT_EQ(Store().Get("Other", "LastFile"), "b");
  EXPECT_EQ(Store().Get("Other", "LogFile"), std::nullopt);
  EXPECT_EQ(Store().Get("None", "LastFile"), std::nullopt);
}

}  // namespace
}  // namespace tarn
