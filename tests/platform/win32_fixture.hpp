// What the tests of the Windows host share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_message_loop.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {

class Win32LoopTest : public ::testing::Test {
 protected:
  bool Becomes(const std::function<bool()>& condition) { return loop.RunUntil(condition, 30000); }

  std::vector<std::string> traces;
  Win32MessageLoop loop{[this](std::string_view text) { traces.emplace_back(text); }};
};

}  // namespace tarn
