#include "base/property_bag.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "base/persistable.hpp"
#include "tests/support/error_of.hpp"

namespace tarn {
namespace {

/// An object of everything that a bag can hold, some levels deep.
class Nested final : public Persistable {
 public:
  explicit Nested(int levels) : levels_(levels) {}
  std::string_view ClassName() const override { return "Nested"; }
  void WriteProperties(PropertyBag& bag) const override {
    bag.WriteText("Text", "text \xC3\xA4 \"quoted\"", "");
    bag.WriteInteger("Integer", -5, 0);
    bag.WriteLong("Long", 70000, 0);
    bag.WriteDouble("Double", 12.5, 0);
    bag.WriteBoolean("Flag", true, false);
    if (levels_ > 0) WriteObject(bag, "Inner", Nested(levels_ - 1));
  }

 private:
  int levels_;
};

std::string SampleContents() {
  PropertyBag bag;
  // What equals its default is not stored.
  bag.WriteText("A", "x", "x");
  bag.WriteInteger("B", 1, 1);
  bag.WriteLong("C", 2, 2);
  bag.WriteDouble("D", 2.5, 2.5);
  bag.WriteBoolean("E", true, true);
  WriteObject(bag, "Scale1", Nested(2));
  bag.WriteText("Empty", "", "x");
  bag.WriteLong("Last", std::numeric_limits<std::int32_t>::min(), 0);
  return bag.Contents();
}

TEST(PropertyBag, RoundTripKeepsValuesAndClassNames) {
  const PropertyBag bag = PropertyBag::FromContents(SampleContents());
  EXPECT_EQ(bag.ReadText("empty", "default") + bag.ReadText("A", "y"), "y");
  EXPECT_EQ(bag.ReadLong("LAST", 0), std::numeric_limits<std::int32_t>::min());
  const PropertyBag::Object* object = bag.FindObject("scale1");
  for (int level = 0; level < 3; ++level) {
    ASSERT_NE(object, nullptr) << level;
    EXPECT_EQ(object->className, "Nested");
    EXPECT_EQ(object->bag.ReadText("Text", ""), "text \xC3\xA4 \"quoted\"");
    EXPECT_EQ(object->bag.ReadInteger("Integer", 0), -5);
    EXPECT_EQ(object->bag.ReadLong("Long", 0), 70000);
    EXPECT_EQ(object->bag.ReadDouble("Double", 0), 12.5);
    EXPECT_TRUE(object->bag.ReadBoolean("Flag", false));
    object = object->bag.FindObject("Inner");
  }
  EXPECT_EQ(object, nullptr);
}

TEST(PropertyBag, ConvertsAsAutomationValuesDo) {
  PropertyBag bag;
  bag.WriteText("Number", " 12.5 ", "");
  bag.WriteText("True", "true", "");
  bag.WriteText("Word", "banana", "");
  bag.WriteDouble("Half", 2.5, 0);
  bag.WriteDouble("Huge", 1e10, 0);
  bag.WriteBoolean("Flag", true, false);
  bag.WriteLong("Long", 70000, 0);
  EXPECT_EQ(bag.ReadDouble("Number", 0), 12.5);
  EXPECT_EQ(bag.ReadLong("Number", 0), 12);
  EXPECT_TRUE(bag.ReadBoolean("True", false));
  EXPECT_EQ(bag.ReadInteger("Half", 0), 2);
  EXPECT_EQ(bag.ReadLong("Flag", 0), -1);
  EXPECT_EQ(bag.ReadText("Flag", ""), "True");
  EXPECT_EQ(bag.ReadText("Half", ""), "2.5");
  EXPECT_EQ(ErrorOf([&] { bag.ReadInteger("Long", 0); }), 6);
  EXPECT_EQ(ErrorOf([&] { bag.ReadLong("Huge", 0); }), 6);
  EXPECT_EQ(ErrorOf([&] { bag.ReadLong("Word", 0); }), 13);
  EXPECT_EQ(ErrorOf([&] { bag.ReadBoolean("Word", false); }), 13);
  EXPECT_EQ(ErrorOf([&] { bag.FindObject("Word"); }), 13);
}

TEST(PropertyBag, TruncationAtEveryLengthIsAnErrorOrACompleteSmallerBag) {
  const std::string contents = SampleContents();
  int complete = 0;
  for (std::size_t length = 0; length < contents.size(); ++length) {
    try {
      // Only a cut between two outermost entries leaves a bag that is whole.
      const PropertyBag bag = PropertyBag::FromContents(contents.substr(0, length));
      EXPECT_EQ(bag.Contents(), contents.substr(0, length));
      ++complete;
    } catch (const AutomationError& error) {
      EXPECT_EQ(static_cast<int>(error.Number()), 321) << length;
    }
  }
  EXPECT_EQ(complete, 3);
}

TEST(PropertyBag, BoundsDepthAndNumberOfEntries) {
  PropertyBag deep;
  WriteObject(deep, "Inner", Nested(PropertyBag::kMaxDepth + 1));
  EXPECT_EQ(ErrorOf([&] { deep.Contents(); }), 6);

  std::string nested;  // objects within objects, deeper than is written
  for (int level = 0; level <= PropertyBag::kMaxDepth; ++level) {
    const std::string payload = std::string("\x01\x00X", 3) + nested;
    const auto size = static_cast<char>(payload.size());
    nested = std::string("\x01\x00K\x09", 4) + std::string{size, 0, 0, 0} + payload;
  }
  const PropertyBag read = PropertyBag::FromContents("TBG1" + nested);
  EXPECT_EQ(ErrorOf([&] {
              for (auto* at = read.FindObject("K"); at != nullptr;) at = at->bag.FindObject("K");
            }),
            321);

  std::string many = "TBG1";
  for (int i = 0; i < 100000; ++i) {
    many += std::string{4, 0} + std::string(reinterpret_cast<const char*>(&i), 4) +
            std::string("\x0B\x02\x00\x00\x00\xFF\xFF", 7);
  }
  EXPECT_EQ(ErrorOf([&] { PropertyBag::FromContents(many); }), 321);
}

TEST(PropertyBag, AKindOfALaterProgramIsSkipped) {
  const PropertyBag bag =
      PropertyBag::FromContents(std::string("TBG1\1\0A\x63\1\0\0\0Z\1\0B\2\2\0\0\0\5\0", 23));
  EXPECT_EQ(bag.ReadInteger("A", 9), 9);
  EXPECT_EQ(bag.ReadInteger("B", 9), 5);
  const PropertyBag odd = PropertyBag::FromContents(std::string("TBG1\1\0C\2\3\0\0\0\5\0\0", 15));
  EXPECT_EQ(ErrorOf([&] { odd.ReadInteger("C", 9); }), 321) << "a number of three bytes";
}

}  // namespace
}  // namespace tarn
