// The classes that a client may create.
#pragma once

#include <windows.h>

#include <span>

#include "automation/com_module.hpp"
#include "automation/com_owners.hpp"

namespace tarn {

struct CreatableClass {
  const CLSID* clsid;
  ComPtr<IUnknown> (*create)(ComModule& module);
};

/// The connections, protocols and data objects come with their defaults, to be assigned to a scale;
/// creating them does not start the server.
std::span<const CreatableClass> CreatableClasses();

/// The way in: the first one starts the server, whose errors reach the caller.
ComPtr<IUnknown> CreateServerConnection(ComModule& module);

}  // namespace tarn
