// Any bytes as a settings file: they are refused, or they give a configuration that can be saved
// and comes back the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"
#include "server/scale_table.hpp"
#include "server/server_site.hpp"
#include "server/settings_file.hpp"
#include "tests/fakes/fake_host.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  try {
    const PropertyBag bag = DecodeSettings(bytes);
    FakeHost host;
    const auto site = std::make_shared<ServerSite>(host);
    ScaleTable table;
    table.Load(bag, site);
    for (int number = 1; number <= kScaleCount; ++number) {
      const auto scale = table.At(number);
      if (!scale) continue;
      PropertyBag one;
      WriteObject(one, "Scale", *scale);
      const PropertyBag read = PropertyBag::FromContents(one.Contents());
      const auto again = ReadObject<TarnScale>(read, "Scale", *site, "TarnScale");
      PropertyBag two;
      WriteObject(two, "Scale", *again);
      if (one.Contents() != two.Contents()) std::abort();
    }
    table.Clear();
  } catch (const AutomationError&) {
    // refused
  }
  return 0;
}
