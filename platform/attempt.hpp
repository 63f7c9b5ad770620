// Work whose failure must not end what is under way.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "platform/host.hpp"

namespace tarn {

/// Does the work and returns true. Where it throws, traces "WHAT: ERROR" and returns false.
template <class Work>
bool Attempt(Host& host, std::string_view what, const Work& work) {
  try {
    work();
    return true;
  } catch (const std::exception& error) {
    host.Trace(std::string(what) + ": " + error.what());
  } catch (...) {
    host.Trace(std::string(what) + ": unknown error");
  }
  return false;
}

}  // namespace tarn
