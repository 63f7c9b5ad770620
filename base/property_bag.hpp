// The property bag: a keyed, nestable, self-describing store of named values, in which an object is
// kept as a nested bag together with the name of its class.
//
// Keys compare without regard to case. Reading converts between kinds of numbers and texts as
// Automation values do; what cannot convert is an error with the key in its text. A key that is not
// there reads as the default, a key that is not read is skipped.
//
// A damaged entry affects only itself: reading it is error 321, and the other entries of its bag
// stay readable. Only damage between the outermost entries (the mark, lengths and kinds) makes the
// whole contents unreadable.
//
// The contents as bytes (all numbers little-endian):
//   "TBG1"  then the entries of the outermost bag, one after the other:
//   entry   = key length (16 bits), key, kind (8 bits), payload length (32 bits), payload
//   object  = class name length (16 bits), class name, then the entries of the nested bag
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarn {

class PropertyBag {
 public:
  /// A nested object: the class that it belongs to and its own values.
  struct Object;

  /// Bounds of what contents may hold; more is error 321.
  static constexpr std::size_t kMaxContents = 4U << 20U;
  static constexpr std::size_t kMaxEntries = 512;  ///< of one bag
  static constexpr int kMaxDepth = 16;

  PropertyBag();
  PropertyBag(PropertyBag&&) noexcept;
  PropertyBag& operator=(PropertyBag&&) noexcept;
  ~PropertyBag();

  /// Each write stores the value unless it equals its default. Writing a key again replaces it.
  void WriteBoolean(std::string_view key, bool value, bool defaultValue);
  void WriteInteger(std::string_view key, std::int16_t value, std::int16_t defaultValue);
  void WriteLong(std::string_view key, std::int32_t value, std::int32_t defaultValue);
  void WriteDouble(std::string_view key, double value, double defaultValue);
  void WriteText(std::string_view key, std::string_view value, std::string_view defaultValue);
  /// What an object in the bag was written for: ClientMade and NotSet say that it has only default
  /// values, since a client had made the object, or since there was none.
  enum class Origin { Own, ClientMade, NotSet };
  /// Always stores the object. WriteObject of `base/persistable.hpp` does it for a live one.
  void WriteValues(std::string_view key, std::string_view className, PropertyBag values,
                   Origin origin = Origin::Own);

  /// Each read gives the default where the key is missing. Error 13 where the value cannot convert,
  /// 6 where it does not fit, 321 where the entry is damaged.
  bool ReadBoolean(std::string_view key, bool defaultValue) const;
  std::int16_t ReadInteger(std::string_view key, std::int16_t defaultValue) const;
  std::int32_t ReadLong(std::string_view key, std::int32_t defaultValue) const;
  double ReadDouble(std::string_view key, double defaultValue) const;
  std::string ReadText(std::string_view key, std::string_view defaultValue) const;
  /// Null where the key is missing; error 13 where the value is not an object. Damaged contents may
  /// hold a key twice: then the entry that stands at `place` (from 0) counts, else the first.
  const Object* FindObject(std::string_view key, std::size_t place = 0) const;

  bool IsEmpty() const { return entries_.empty(); }
  std::size_t Count() const { return entries_.size(); }

  /// The places of written objects that clients had made, of which the bag keeps only a default
  /// one: "Scale3.Protocol.Configuration".
  const std::vector<std::string>& ClientMade() const { return clientMade_; }
  /// The places where there was no object to write.
  const std::vector<std::string>& NotSet() const { return notSet_; }

  /// The whole contents as bytes. Error 6 with the place where a key, value or the whole exceeds
  /// its bound.
  std::string Contents() const;
  /// Error 321 for bytes that are not the contents of a bag, or are cut short. Safe for any bytes.
  static PropertyBag FromContents(std::string_view contents);

 private:
  struct Damaged {
    std::string why;
  };
  using Value = std::variant<std::int16_t, std::int32_t, double, bool, std::string,
                             std::unique_ptr<Object>, Damaged>;
  struct Entry {
    std::string key;
    Value value;
  };

  const Value* Find(std::string_view key, std::size_t place = 0) const;
  void Store(std::string_view key, Value value);
  double ReadNumber(std::string_view key, const Value& value) const;
  void AppendEntries(std::string& bytes, int depth, const std::string& place) const;
  static Value Decoded(std::uint8_t kind, std::string_view payload, int depth);
  static PropertyBag FromEntries(std::string_view bytes, int depth);

  std::vector<Entry> entries_;
  std::vector<std::string> clientMade_;
  std::vector<std::string> notSet_;
};

struct PropertyBag::Object {
  std::string className;
  PropertyBag bag;
};

}  // namespace tarn
