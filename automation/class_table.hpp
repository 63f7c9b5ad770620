// The table of the classes that clients may create.
#pragma once

#include <windows.h>

#include <memory>
#include <span>
#include <string_view>

#include "automation/com_module.hpp"
#include "automation/com_owners.hpp"
#include "base/persistable.hpp"

namespace tarn {

struct CreatableClass {
  const CLSID* clsid;
  ComPtr<IUnknown> (*create)(ComModule& module);
  std::string_view name;  ///< of the core's class; empty where settings files do not know it
  /// The COM object of an object of that class; null where the name is empty.
  ComPtr<IUnknown> (*wrap)(ComModule& module, const std::shared_ptr<Persistable>& object);
};

/// The connections, protocols and data objects come with their defaults, to be assigned to a scale;
/// creating them does not start the server.
std::span<const CreatableClass> CreatableClasses();

/// The object with which every client begins. The first one starts the server, whose errors reach
/// the caller.
ComPtr<IUnknown> CreateServerConnection(ComModule& module);

}  // namespace tarn
