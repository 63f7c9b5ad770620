// A value as a text, with the name under which people know it.
#pragma once

#include <string>

namespace tarn {

struct NamedValue {
  std::string name;
  std::string value;
};

}  // namespace tarn
