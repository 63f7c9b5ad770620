// What the tests of tarnscale share: a settings file on a host of fakes.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string_view>

#include "tests/fakes/fake_host.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_file.hpp"
#include "tools/tarnscale/scale_keys.hpp"

namespace tarn::tool {

class ScaleToolFixture : public testing::Test {
 protected:
  static constexpr const char* kFile = "plant.scl";

  /// Writes settings of one scale to the file, which becomes new where it is missing.
  void Set(int number, std::initializer_list<std::string_view> pairs) {
    ScaleFile file(host, kFile);
    file.LoadOrNew();
    for (const std::string_view pair : pairs) ApplyPair(file.Scale(number), file.Site(), pair);
    file.Save();
  }

  FakeHost host;
};

}  // namespace tarn::tool
