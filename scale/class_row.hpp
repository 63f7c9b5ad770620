// One class that settings files and clients know by its name: how to make it, and what users call
// it.
#pragma once

#include <memory>
#include <string_view>
#include <type_traits>

#include "base/persistable.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

struct ClassRow {
  enum class Role { Other, Connection, Protocol };

  std::string_view name;  ///< as published
  std::shared_ptr<Persistable> (*create)(const std::shared_ptr<ScaleSite>& site);
  Role role = Role::Other;
  /// What users write for a connection or protocol; empty for one that they do not choose.
  std::string_view word = {};
  ProtocolClass family = ProtocolClass::NoProt;  ///< of a protocol
};

/// Hands the class its site in the form in which it takes one: to keep, to look at, or not at all.
template <class Class>
std::shared_ptr<Persistable> MakeForSite(const std::shared_ptr<ScaleSite>& site) {
  if constexpr (requires { Class::Create(site); })
    return Class::Create(site);
  else if constexpr (std::is_constructible_v<Class, std::shared_ptr<ScaleSite>>)
    return std::make_shared<Class>(site);
  else if constexpr (std::is_constructible_v<Class, ScaleSite&>)
    return std::make_shared<Class>(*site);
  else
    return std::make_shared<Class>();
}

template <class Class>
constexpr ClassRow RowOf(std::string_view word = {}) {
  ClassRow row{Class::kClassName, MakeForSite<Class>};
  row.word = word;
  if constexpr (std::is_base_of_v<_Connection, Class>) row.role = ClassRow::Role::Connection;
  if constexpr (std::is_base_of_v<_Protocol, Class>) {
    row.role = ClassRow::Role::Protocol;
    row.family = Class::kFamily;
  }
  return row;
}

}  // namespace tarn
