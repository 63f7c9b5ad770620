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
  EXPECT_EQ(Store().Get("Settings", "LastFile"), std::nullopt);
  const std::string values[] = {"plain",
                                "",
                                " blanks at both ends ",
                                "\ttab\t",
                                "\"quoted\"",
                                "\"",
                                "a\"b",
                                "C:\\dir\\n",
                                "\\",
                                "two\nlines",
                                "cr\rlf\r\n",
                                "a=b;c#d",
                                "[Settings]",
                                "; comment",
                                "Gr\xC3\xB6\xC3\x9F"
                                "e \xE2\x82\xAC"};
  int number = 0;
  for (const std::string& value : values) {
    Store().Set("Settings", "Key" + std::to_string(number++), value);
  }
  for (int round = 0; round < 2; ++round) {
    number = 0;
    for (const std::string& value : values) {
      EXPECT_EQ(Store().Get("Settings", "Key" + std::to_string(number++)), value);
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
