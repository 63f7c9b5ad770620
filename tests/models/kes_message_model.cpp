// The messages of terminal variables, step by step, beside the real ones.
#include <cstring>

#include "shareddata/kes_message.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/models/message_model.hpp"
#include "tests/models/models.hpp"

namespace tarn {
namespace {

template <class Number>
std::string Memory(Number value) {
  std::string bytes(sizeof(value), '\0');
  std::memcpy(bytes.data(), &value, sizeof(value));
  return bytes;
}

class MessageStory {
 public:
  explicit MessageStory(Random& chance) : random(chance) {}

  void Step() {
    const int deed = random.Below(8);
    if (deed == 0)
      Begin();
    else if (deed < 3)
      Put();
    else
      deed < 5 ? Load() : Get();
    EXPECT_EQ(real.GetRequestBytes(), model.request);
    EXPECT_EQ(real.RequestSequence(), static_cast<std::uint8_t>(model.request[26]));
    EXPECT_EQ(real.ReplySequence(), static_cast<std::uint8_t>(model.header[26]));
    EXPECT_EQ(real.ReplySource(), model.ReplySource());
    EXPECT_EQ(real.MessageOK(), !model.errorFlag);
    EXPECT_EQ(real.HeaderLength() + real.ReplyDataCapacity(), 29 + 1400);
  }

 private:
  void Begin() {
    const std::string source = random.Text("/w01a", random.Chance(80) ? 10 : 12);
    const std::string destination = random.Text("/k9abc", random.Chance(80) ? 10 : 12);
    const auto sequence = static_cast<std::uint8_t>(random.Below(256));
    const bool write = random.Chance(50);
    EXPECT_EQ(write ? real.InitWriteRequest(source, destination, sequence)
                    : real.InitReadRequest(source, destination, sequence),
              model.Init(write ? 0x10 : 0x20, source, destination, sequence));
  }
  void Put() {
    std::string bytes(8, '\0'), text, latin(random.Size(215), '\xE9');
    for (char& c : bytes) c = random.Byte();
    for (std::size_t i = 0; i < latin.size(); ++i) text += "\xC3\xA9";
    const bool bit = random.Chance(50);
    const int kind = random.Below(7);
    if (kind == 0) real.PutBit(bit), model.Put(Memory(std::uint8_t{bit}));
    if (kind == 1) real.PutByte(From<std::uint8_t>(bytes)), model.Put(bytes.substr(0, 1));
    if (kind == 2) real.PutShort(From<std::int16_t>(bytes)), model.Put(bytes.substr(0, 2));
    if (kind == 3) real.PutLong(From<std::int32_t>(bytes)), model.Put(bytes.substr(0, 4));
    if (kind == 4) real.PutFloat(From<float>(bytes)), model.Put(bytes.substr(0, 4));
    if (kind == 5) real.PutDouble(From<double>(bytes)), model.Put(bytes);
    if (kind == 6) real.PutString(text), model.Put(latin);
  }
  /// Replies that end early, are counted wrongly, hold fields of text, or have others behind them.
  void Load() {
    static constexpr int kLengths[] = {0, 1, 2, 4, 8, 13, 26, 40, 1399, 1400, 1401, 40000};
    const int length = random.OneOf(kLengths);
    std::string received(29, '\0');
    for (char& c : received) c = random.Chance(50) ? random.OneOf(std::string("/k1wt0")) : '\0';
    received[26] = random.Byte();
    received[27] = static_cast<char>(length % 256);
    received[28] = static_cast<char>(length / 256);
    const bool fields = random.Chance(60);
    while (received.size() < static_cast<std::size_t>(29 + length)) {
      received += fields ? Field() : std::string(1, random.Chance(10) ? '\0' : random.Byte());
    }
    received.resize(static_cast<std::size_t>(29 + length));
    if (random.Chance(20)) received += "more";
    if (random.Chance(20)) received.resize(random.Size(static_cast<int>(received.size())));
    int count = static_cast<int>(received.size());
    if (random.Chance(20)) count += random.Below(40) - 20;
    EXPECT_EQ(real.LoadReply(received, count), model.LoadReply(received, count));
  }
  /// 13 characters, mostly a number.
  std::string Field() {
    static const std::string kEdges[] = {"2147483647", "2147483648", "-2147483648", "2.5", "3.5"};
    std::string field = random.Chance(20) ? "-" : "";
    for (int digits = random.Below(11); digits >= 0; --digits)
      field += random.Text("0123456789", 1);
    if (random.Chance(10)) field += random.OneOf(std::vector<std::string>{".5", "x", ".", " 1"});
    if (random.Chance(5)) field.clear();
    if (random.Chance(20)) field = random.OneOf(kEdges);
    field.resize(13, random.Chance(50) ? ' ' : '\0');
    if (random.Chance(30)) field = "  " + field.substr(0, 11);
    return field;
  }
  void Get() {
    static constexpr std::int16_t kAvailable[] = {-1, 0,  1,  2,  3,    4,    7,    8,
                                                  12, 13, 25, 26, 1399, 1400, 1401, 32767};
    static constexpr std::int16_t kIndexes[] = {-1, 0, 0, 0, 1, 2, 106, 107, 174, 349, 350, 32767};
    const std::int16_t n = random.OneOf(kAvailable);
    const std::int16_t i = random.OneOf(kIndexes);
    const std::int16_t count = random.OneOf(kAvailable);
    const int kind = random.Below(10);
    if (kind == 0) Expect(std::uint8_t{real.GetBit(n)}, Memory(model.Element(0, 1, n) == "\x01"));
    if (kind == 1) Expect(real.GetByte(n), model.Element(0, 1, n));
    if (kind == 2) Expect(real.GetShort(i, n), model.Element(i, 2, n));
    if (kind == 3) Expect(real.GetLong(i, n), model.Element(i, 4, n));
    if (kind == 4) Expect(real.GetFloat(i, n), model.Element(i, 4, n));
    if (kind == 5) Expect(real.GetDouble(i, n), model.Element(i, 8, n));
    std::string bytes, modelled;
    if (kind == 6)
      bytes = locale.ToBytes(real.GetString(count, n)),
      modelled = model.Bytes(count, n, true, false);
    if (kind == 7)
      bytes = real.GetCharArray(count, n), modelled = model.Bytes(count, n, true, true);
    if (kind == 8)
      bytes = real.GetByteArray(count, n), modelled = model.Bytes(count, n, false, true);
    EXPECT_EQ(bytes, modelled);
    if (kind == 9) Expect(real.GetLongText(i, n), Memory(model.LongText(i, n)));
  }
  /// Compared as bytes, since some are no numbers.
  template <class Number>
  static void Expect(Number number, std::string bytes) {
    bytes.resize(sizeof(number));
    EXPECT_EQ(Memory(number), bytes);
  }
  template <class Number>
  static Number From(const std::string& bytes) {
    Number number;
    std::memcpy(&number, bytes.data(), sizeof(number));
    return number;
  }

  Random& random;
  FakeLocale locale;
  KesMessage real{locale};
  MessageModel model;
};

}  // namespace

void PlayKesMessage(Random& random) {
  MessageStory story(random);
  for (int steps = 1 + random.Below(40); steps > 0 && !testing::Test::HasFailure(); --steps) {
    story.Step();
  }
}

}  // namespace tarn
