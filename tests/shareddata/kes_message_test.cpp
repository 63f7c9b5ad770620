#include "shareddata/kes_message.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/fakes/fake_host.hpp"
#include "tests/support/shared_data.hpp"

namespace tarn {
namespace {

class KesMessages : public testing::Test {
 protected:
  KesMessage Message() const { return KesMessage(locale); }
  /// A message that holds these reply data.
  KesMessage Loaded(const std::string& data) const {
    KesMessage message(locale);
    const std::string reply = Reply("/k1/wt101", data);
    message.LoadReply(reply, static_cast<std::int32_t>(reply.size()));
    return message;
  }
  FakeLocale locale;
};

TEST_F(KesMessages, BuildsRequests) {
  const std::string read =
      Hex("00 64 01 10 2f77312f7730303031 00 2f6b312f7774313031 00 20 00 02 0000");
  const struct {
    const char* name;
    std::function<void(KesMessage&)> put;
    std::string tail;  ///< command, status, sequence, length, data
  } cases[] = {
      {"bit", [](auto& m) { m.PutBit(true); }, "10 00 03 0100 01"},
      {"bit off", [](auto& m) { m.PutBit(false); }, "10 00 03 0100 00"},
      {"bit of 2", [](auto& m) { m.PutBit(2 != 0); }, "10 00 03 0100 01"},
      {"byte", [](auto& m) { m.PutByte(0xFE); }, "10 00 03 0100 fe"},
      {"short", [](auto& m) { m.PutShort(-2); }, "10 00 03 0200 feff"},
      {"long", [](auto& m) { m.PutLong(0x01020304); }, "10 00 03 0400 04030201"},
      {"float", [](auto& m) { m.PutFloat(-1.5F); }, "10 00 03 0400 0000c0bf"},
      {"double", [](auto& m) { m.PutDouble(12.5); }, "10 00 03 0800 0000000000002940"},
      {"string", [](auto& m) { m.PutString("k\xC3\xA9"); }, "10 00 03 0200 6be9"},
      {"empty string", [](auto& m) { m.PutString(""); }, "10 00 03 0000"},
      {"the last one counts", [](auto& m) { m.PutLong(-1), m.PutByte(7); },
       "10 00 03 0100 07ffffff"},
  };
  KesMessage message = Message();
  EXPECT_TRUE(message.InitReadRequest("/w1/w0001", "/k1/wt101", 2));
  EXPECT_EQ(message.GetRequestBytes(), read + std::string(210, '\0'));
  EXPECT_EQ(message.RequestSequence(), 2);
  for (const auto& c : cases) {
    EXPECT_TRUE(message.InitWriteRequest("/w1/w0001", "/k1/wt101", 3));
    c.put(message);
    std::string expected = read.substr(0, 24) + Hex(c.tail);
    expected.resize(239);
    EXPECT_EQ(message.GetRequestBytes(), expected) << c.name;
    EXPECT_TRUE(message.MessageOK()) << c.name;
  }
}

TEST_F(KesMessages, NamesAndTextsOfTheRightLengthOnly) {
  KesMessage message = Message();
  EXPECT_TRUE(message.InitReadRequest("source7890", "dest567890", 1));
  EXPECT_EQ(message.GetRequestBytes().substr(4, 20), "source7890dest567890");
  EXPECT_TRUE(message.InitReadRequest("s", "d", 1));  // what stood there stays
  EXPECT_EQ(message.GetRequestBytes().substr(4, 20),
            "source7890"
            "dest567890" +
                std::string());
  message.InitWriteRequest("s", "d", 1);
  message.PutString(std::string(210, 'x'));
  EXPECT_TRUE(message.MessageOK());
  EXPECT_EQ(message.GetRequestBytes().substr(27, 2), Hex("d200"));
  message.PutString(std::string(211, 'x'));
  EXPECT_FALSE(message.MessageOK());

  for (const bool source : {true, false}) {
    KesMessage fresh = Message();
    EXPECT_FALSE(
        fresh.InitReadRequest(source ? "source78901" : "s", source ? "d" : "dest5678901", 9));
    EXPECT_FALSE(fresh.MessageOK());
    EXPECT_EQ(fresh.RequestSequence(), 0);  // not reached
    EXPECT_TRUE(fresh.InitWriteRequest("s", "d", 9));
    EXPECT_TRUE(fresh.MessageOK());
  }
}

TEST_F(KesMessages, LoadsReplies) {
  const std::string four = Reply("/k1/abcde9", "1234", 77);
  const std::string full = Reply("/k1/a", std::string(1400, 'z'));
  const std::string over = Reply("/k1/a", std::string(1401, 'z'));
  const struct {
    const char* name;
    std::string bytes;
    std::int32_t count;
    std::int16_t length;
    bool ok;
  } cases[] = {
      {"exact", four, 33, 4, true},
      {"another one behind", four + Reply("/k1/b", "56"), 64, 4, true},
      {"one byte short", four, 32, 0, false},
      {"counted longer than it is", four.substr(0, 32), 33, 0, false},
      {"no data", Reply("/k1/abcde9", "", 77), 29, 0, true},
      {"no data, counted short", Reply("/k1/abcde9", "", 77), 28, 0, false},
      {"negative count", four, -1, 0, false},
      {"shorter than a header", four.substr(0, 28), 28, 0, false},
      {"nothing", "", 0, 0, false},
      {"all that fits", full, 1429, 1400, true},
      {"more than fits", over, 1430, 0, false},
      {"a length that reads negative", Reply("/k1/a", std::string(0x8001, 'z')), 0x801E, 0, false},
  };
  for (const auto& c : cases) {
    KesMessage message = Message();
    EXPECT_EQ(message.LoadReply(c.bytes, c.count), c.length) << c.name;
    EXPECT_EQ(message.MessageOK(), c.ok) << c.name;
  }
  KesMessage message = Message();
  message.LoadReply(four + full, 33 + 1429);
  EXPECT_EQ(message.ReplySequence(), 77);
  EXPECT_EQ(message.ReplySource(), "/k1/abcde9");
  EXPECT_EQ(message.GetString(4, 4), "1234");
  message.LoadReply("", 0);
  message.LoadReply(four, 33);
  EXPECT_FALSE(message.MessageOK()) << "loading clears no error";
  EXPECT_EQ(message.HeaderLength() + message.ReplyDataCapacity(), 1429);
}

TEST_F(KesMessages, ReadsNumbersAsFarAsTheyAreAvailable) {
  // Whole numbers, then the same bytes as floats and doubles.
  const KesMessage loaded = Loaded(Hex("0102 feff 0000c03f 0000000000002940 ffffff7f"));
  const struct {
    const char* name;
    std::function<double(KesMessage&, std::int16_t)> get;
    std::int16_t enough;  ///< one less is too little
    double value;
  } cases[] = {
      {"bit", [](auto& m, auto n) { return m.GetBit(n) ? 1.0 : 0.0; }, 1, 1},
      {"byte", [](auto& m, auto n) { return double(m.GetByte(n)); }, 1, 1},
      {"short 0", [](auto& m, auto n) { return double(m.GetShort(0, n)); }, 2, 513},
      {"short 1", [](auto& m, auto n) { return double(m.GetShort(1, n)); }, 4, -2},
      {"long 0", [](auto& m, auto n) { return double(m.GetLong(0, n)); }, 4, -130559},
      {"long 4", [](auto& m, auto n) { return double(m.GetLong(4, n)); }, 20, 2147483647},
      {"float 1", [](auto& m, auto n) { return double(m.GetFloat(1, n)); }, 8, 1.5},
      {"double 1", [](auto& m, auto n) { return m.GetDouble(1, n); }, 16, 12.5},
  };
  for (const auto& c : cases) {
    for (const int more : {0, 1}) {
      KesMessage message = loaded;
      EXPECT_EQ(c.get(message, static_cast<std::int16_t>(c.enough + more)), c.value) << c.name;
      EXPECT_TRUE(message.MessageOK()) << c.name;
    }
    KesMessage message = loaded;
    EXPECT_EQ(c.get(message, static_cast<std::int16_t>(c.enough - 1)), 0) << c.name;
    EXPECT_FALSE(message.MessageOK()) << c.name;
  }
  EXPECT_FALSE(Loaded("\x02").GetBit(1));
  for (const std::int16_t index : {std::int16_t{-1}, std::int16_t{350}, std::int16_t{32767}}) {
    KesMessage message = loaded;  // outside the data area, however much is said to be available
    EXPECT_EQ(message.GetLong(index, 32767), 0);
    EXPECT_FALSE(message.MessageOK());
  }
}

TEST_F(KesMessages, ReadsTextsAndBytes) {
  using namespace std::string_literals;
  const KesMessage loaded = Loaded("ab\xE9\0cd"s);
  const KesMessage full = Loaded(std::string(1400, 'z'));
  const struct {
    const char* name;
    const KesMessage& reply;
    std::int16_t count, available;
    std::string text, chars, bytes;
    bool ok = true;
  } cases[] = {
      {"up to the 0", loaded, 6, 6, "ab\xC3\xA9", "ab\xE9\0\0\0"s, "ab\xE9\0cd"s},
      {"fewer", loaded, 2, 6, "ab", "ab", "ab"},
      {"none", loaded, 0, 0, "", "", ""},
      {"more than available", loaded, 7, 6, "", "", "", false},
      {"negative", loaded, -1, 6, "", "", "", false},
      {"the whole area", full, 1400, 1400, std::string(1400, 'z'), std::string(1400, 'z'),
       std::string(1400, 'z')},
      {"beyond the area", full, 1401, 2000, "", "", "", false},
  };
  for (const auto& c : cases) {
    KesMessage a = c.reply;
    KesMessage b = c.reply;
    KesMessage d = c.reply;
    EXPECT_EQ(a.GetString(c.count, c.available), c.text) << c.name;
    EXPECT_EQ(b.GetCharArray(c.count, c.available), c.chars) << c.name;
    EXPECT_EQ(d.GetByteArray(c.count, c.available), c.bytes) << c.name;
    EXPECT_EQ(a.MessageOK() && b.MessageOK() && d.MessageOK(), c.ok) << c.name;
    EXPECT_EQ(a.MessageOK() || b.MessageOK() || d.MessageOK(), c.ok) << c.name;
  }
  KesMessage shorter = loaded;
  EXPECT_EQ(shorter.GetCharArray(1401, 2000).size(), 1401U);  // ended early, by the 0 byte
}

TEST_F(KesMessages, ReadsFieldsOfThirteenCharacters) {
  using namespace std::string_literals;
  const struct {
    std::string field;
    std::int32_t value;
    bool ok = true;
  } cases[] = {
      {"0000000000042", 42},   {"          -17", -17},        {"12           ", 12},
      {"         99\0x"s, 99}, {"   2147483647", 2147483647}, {"   2147483648", 0, false},
      {"          2.5", 2},    {"           3x", 0, false},   {"             ", 0, false},
  };
  for (const auto& c : cases) {
    KesMessage message = Loaded("            1" + c.field);
    EXPECT_EQ(message.GetLongText(1, 26), c.value) << c.field;
    EXPECT_EQ(message.MessageOK(), c.ok) << c.field;
    EXPECT_EQ(message.GetLongText(0, 13), 1);
    EXPECT_EQ(message.GetLongText(1, 25), 0);
    EXPECT_FALSE(message.MessageOK());
  }
}

}  // namespace
}  // namespace tarn
