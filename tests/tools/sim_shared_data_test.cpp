// The simulated shared-data terminal: its table of variables, what it answers, what goes wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/fake_terminal.hpp"
#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/shared_data_terminal.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

using namespace std::string_literals;

Variable VariableOf(const std::string& declaration) {
  VariableTable table;
  AddVariables(table, "x " + declaration);
  return table.variables.at("x");
}

TEST(VariableTable, ValuesAreEncodedByTheirType) {
  const std::pair<const char*, const char*> cases[] = {
      {"bit = 1", "01"},
      {"bit", "00"},
      {"char = \"A\"", "41"},
      {"char = 66", "42"},
      {"byte = 300", "ff"},
      {"short = -2", "feff"},
      {"long = 16909060", "04030201"},
      {"float = -1.5", "0000c0bf"},
      {"double = 12.5", "0000000000002940"},
      {"string 4 = \"a#:\"  # more", "61233a00"},
      {"chararray 3 = \"\"", "000000"},
      {"bytearray 4 = 1 0 255", "0100ff00"},
      {"longarray 2 = -1", "ffffffff00000000"},
      {"longtext 2 = 42 -7", "20202020202020202020343200 20202020202020202020 2d3700"}};
  for (const auto& [declaration, digits] : cases) {
    Variable variable = VariableOf(declaration);
    const std::string bytes = variable.Bytes(0);
    EXPECT_EQ(bytes, Hex(digits)) << declaration;
    variable.Write("", 0);
    variable.Write(bytes + "more", 0);
    EXPECT_EQ(variable.Bytes(0), bytes) << declaration;
  }
}

TEST(VariableTable, ValuesLiveByTheirBehaviour) {
  Variable counting = VariableOf("longarray 2 = 10 20 : count 5 every 500ms");
  EXPECT_EQ(counting.Bytes(499), Hex("0a00000014000000"));
  EXPECT_EQ(counting.Bytes(1000), Hex("140000001e000000"));
  counting.Write(Hex("01000000"), 1200);
  EXPECT_EQ(counting.Bytes(1800), Hex("0600000005000000"));
  Variable trigger = VariableOf("bit = 0 : after 300ms 0");
  trigger.Write("\x01", 1000);
  EXPECT_EQ(trigger.Bytes(1299), "\x01");
  EXPECT_EQ(trigger.Bytes(1300), "\0"s);
  Variable fixed = VariableOf("byte = 7 : fixed");
  fixed.Write("\x09", 0);
  EXPECT_EQ(fixed.Bytes(0), "\x07");
}

TEST(VariableTable, AWrongLineIsNamed) {
  std::istringstream wrongLines(
      "x;x bits;x byte 2;x string;x string 0;x string 1401;x longtext 108;x longarray 1.5;"
      "x long = one;x long = 1 2;x string 2 = \"abc\";= 5;0123456789 bit;x : live;x : live load;"
      "x bit : live net;x : press X;x long : count 1;x long : count 1 every 0s;"
      "x bit : after 1s 2 3;x bit : silent 1;x : fixed");
  for (std::string wrong; std::getline(wrongLines, wrong, ';');) {
    VariableTable table;
    EXPECT_THAT([&] { AddVariables(table, "# one\n\ny bit\n" + wrong); },
                testing::ThrowsMessage<UsageError>(testing::StartsWith("Variable table, line 4: ")))
        << wrong;
  }
  VariableTable table;
  EXPECT_THROW(AddVariables(table, std::string(VariableTable::kMaxText + 1, '#')), UsageError);
  EXPECT_THROW(ScaleVariables('f'), UsageError);
  AddVariables(table, "x bit = 0\r\nx byte = 5\r\n");
  EXPECT_EQ(table.variables.at("x").Bytes(0), "\x05");
}

class SharedDataTerminals : public testing::Test {
 protected:
  void Start(const ReplyFaults& faults = {}) {
    SharedDataTerminal::Options options;
    AddVariables(options.table,
                 ScaleVariables('b') + "pcl01 long = 5\npcl02 long = 5\nquiet bit : silent\n");
    options.graduation = MakeGraduation(100, 0.01, {});
    options.faults = faults;
    terminal = std::make_unique<SharedDataTerminal>(
        options, std::make_unique<Indicator>(Indicator::Options{options.graduation},
                                             ParseLoadScript("load 12.5"), LoadModel::Options{}));
    answer = terminal->Answer.Subscribe([this](std::string_view reply, const Peer& to) {
      answers.emplace_back(reply);
      EXPECT_EQ(to.port, 1705);
    });
    Wait(10'000);
  }
  void Wait(double milliseconds) {
    for (const double end = now + milliseconds; now < end;) terminal->Tick(now += 10);
  }
  /// Gives the request that was sent.
  std::string Send(const std::string& name, std::uint8_t command, const std::string& data) {
    answers.clear();
    std::string request = Reply("/w1/w0001", data, 77);
    request.replace(14, 10, ("/k5/" + name + std::string(10, '\0')).substr(0, 10));
    request[24] = static_cast<char>(command);
    request.resize(201);
    terminal->Receive(request, {"127.0.0.1", 1705});
    return request;
  }
  /// The data of the one reply, or how many there were.
  std::string Ask(const std::string& name, std::uint8_t command = 0x20,
                  const std::string& data = {}) {
    const std::string request = Send(name, command, data);
    if (answers.size() != 1) return std::to_string(answers.size()) + " replies";
    EXPECT_EQ(answers[0].substr(4, 20), request.substr(14, 10) + request.substr(4, 10));
    EXPECT_EQ(answers[0][26], 77);
    return answers[0].substr(29);
  }

  std::unique_ptr<SharedDataTerminal> terminal;
  std::vector<std::string> answers;
  double now = 0;
  Subscription answer;
};

TEST_F(SharedDataTerminals, AnswersReadsAndWritesOfItsVariables) {
  Start();
  const auto write = [this](const char* name, const std::string& data) {
    EXPECT_EQ(Ask(name, 0x10, data), "") << name;
  };
  EXPECT_EQ(Ask("wt201") + Ask("wt203"), "       12.50\0kg \0"s);
  for (const std::string& tare : {Hex("0000000000000440"), Hex("000000000000f87f"), "short"s}) {
    write("bas13", tare);  // 2.5, and what is no number
    EXPECT_EQ(Ask("wt202"), "       10.00\0"s);
  }
  write("pcl01", Hex("07000000"));
  EXPECT_EQ(Ask("pcl01"), Hex("07000000"));
  for (const char* name : {"quiet", "nosuch", ""}) EXPECT_EQ(Ask(name), "0 replies") << name;
  EXPECT_EQ(Ask("pcl01", 0x30), "0 replies");
}

TEST_F(SharedDataTerminals, SpoilsItsRepliesOnRequest) {
  const std::string good = Hex("05000000");
  Start({.silent = {1000, 500}});
  EXPECT_EQ(Ask("pcl01"), "0 replies");
  Wait(500);
  EXPECT_EQ(Ask("pcl01"), good);
  const struct {
    ReplyFaults faults;
    std::size_t atOnce;
    std::size_t later;  ///< within 300 ms
  } cases[] = {{{.lost = 1}, 0, 0},
               {{.doubled = 1}, 2, 2},
               {{.late = 1, .lateBy = 300}, 0, 1},
               {{.foreign = 1}, 2, 2},
               {{.joined = 1}, 0, 1}};
  for (const auto& c : cases) {
    Start(c.faults);
    Send("pcl01", 0x20, "");
    EXPECT_EQ(answers.size(), c.atOnce);
    Wait(290);
    EXPECT_TRUE(answers.empty() || c.faults.late == 0);
    Wait(10);
    ASSERT_EQ(answers.size(), c.later);
    EXPECT_EQ(answers.empty() ? good : answers.back().substr(29), good);
    EXPECT_EQ(answers.size() == 2 && answers[0] != answers[1], c.faults.foreign > 0);
    EXPECT_TRUE(c.faults.foreign == 0 || answers[0].substr(4, 4) == "/zz/");
  }
}

TEST_F(SharedDataTerminals, AReplyComesBehindTheNextOneOrInFrontOfItInOneDatagram) {
  const std::size_t length = Reply("/k5/pcl01", Hex("05000000")).size();
  for (const ReplyFaults& faults : {ReplyFaults{.reordered = 0.5}, ReplyFaults{.joined = 0.5}}) {
    Start(faults);
    int found = 0;
    for (int i = 0; i < 40; ++i) {
      const std::string name = i % 2 == 0 ? "pcl01" : "pcl02";
      Send(name, 0x20, "");
      const bool pair = answers.size() == 2 || (answers.size() == 1 && answers[0].size() > length);
      if (!pair) continue;
      ++found;
      EXPECT_EQ(answers[0].substr(8, 5) == name, faults.reordered > 0);
    }
    EXPECT_GT(found, 5);
  }
}

}  // namespace
}  // namespace tarn::sim
