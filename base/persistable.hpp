// Objects that save and restore themselves through a property bag, and the way to create one by the
// name of its class.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/automation_error.hpp"
#include "base/event.hpp"
#include "base/property_bag.hpp"

namespace tarn {

class Persistable {
 public:
  Persistable() = default;
  Persistable(const Persistable&) = delete;
  Persistable& operator=(const Persistable&) = delete;
  virtual ~Persistable() = default;

  /// The published name of the class, under which a bag keeps the object.
  virtual std::string_view ClassName() const = 0;

  /// True for a client's own object, whose class only the client knows, so that a bag cannot store
  /// it. Its ClassName is the default class of its place, and it writes no values.
  virtual bool IsClientMade() const { return false; }

  /// Runs once on an object that is not restored from a bag: gives the settings their defaults.
  virtual void InitProperties() {}
  /// Runs once on an object that is restored from a bag, instead of InitProperties.
  virtual void ReadProperties(const PropertyBag& /*bag*/) {}
  virtual void WriteProperties(PropertyBag& /*bag*/) const {}

  /// Raised with the name of the property after a persistent setting was written.
  Event<std::string_view> PropertyChanged;
};

class ObjectFactory {
 public:
  ObjectFactory() = default;
  ObjectFactory(const ObjectFactory&) = delete;
  ObjectFactory& operator=(const ObjectFactory&) = delete;
  virtual ~ObjectFactory() = default;

  /// A fresh object of a class, before InitProperties or ReadProperties.
  /// Error 429 for a name that is no class.
  virtual std::shared_ptr<Persistable> Create(std::string_view className) = 0;
};

/// The object as the kind that its place requires; error 13 if it is of another.
template <class Kind>
std::shared_ptr<Kind> As(const std::shared_ptr<Persistable>& object) {
  auto kind = std::dynamic_pointer_cast<Kind>(object);
  if (!kind) ThrowTypeMismatch("Type mismatch: " + std::string(object->ClassName()));
  return kind;
}

/// A new object with its defaults.
template <class Kind>
std::shared_ptr<Kind> NewObject(ObjectFactory& factory, std::string_view className) {
  const auto object = factory.Create(className);
  auto kind = As<Kind>(object);
  object->InitProperties();
  return kind;
}

/// The object that a bag keeps under a key, restored; a new one of the default class where the key
/// is missing. `place` as in PropertyBag::FindObject.
template <class Kind>
std::shared_ptr<Kind> ReadObject(const PropertyBag& bag, std::string_view key,
                                 ObjectFactory& factory, std::string_view defaultClass,
                                 std::size_t place = 0) {
  const PropertyBag::Object* stored = bag.FindObject(key, place);
  if (stored == nullptr) return NewObject<Kind>(factory, defaultClass);
  const auto object = factory.Create(stored->className);
  auto kind = As<Kind>(object);
  object->ReadProperties(stored->bag);
  return kind;
}

/// Stores the object in a bag: the name of its class and the values that it writes.
inline void WriteObject(PropertyBag& bag, std::string_view key, const Persistable& object) {
  using Origin = PropertyBag::Origin;
  PropertyBag values;
  object.WriteProperties(values);
  bag.WriteValues(key, object.ClassName(), std::move(values),
                  object.IsClientMade() ? Origin::ClientMade : Origin::Own);
}

/// Where there is no object, stores one of the default class with its default values.
inline void WriteObject(PropertyBag& bag, std::string_view key,
                        const std::shared_ptr<const Persistable>& object,
                        std::string_view defaultClass) {
  if (object)
    WriteObject(bag, key, *object);
  else
    bag.WriteValues(key, defaultClass, PropertyBag(), PropertyBag::Origin::NotSet);
}

}  // namespace tarn
