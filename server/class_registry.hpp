// The one place that knows every class by its published name: what a settings file may hold and
// what a client may create.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "base/persistable.hpp"
#include "scale/class_row.hpp"

namespace tarn {

std::span<const ClassRow> RegisteredClasses();

/// A fresh object, before InitProperties or ReadProperties. Error 429 for a name that is no class.
std::shared_ptr<Persistable> CreateClass(std::string_view className,
                                         const std::shared_ptr<ScaleSite>& site);

}  // namespace tarn
