// Simulated terminals that print records, against the template that reads them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocols/tarn_record_template_config.hpp"
#include "tests/tools/simulated_line.hpp"
#include "tools/tarnsim/template_terminal.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

TemplateTerminal::Options Plain() {
  TemplateTerminal::Options options;
  options.layout.fields = ParseRecordFields("number,id,gross,tare,net,units");
  options.layout.graduation = MakeGraduation(100, 0.01, {});
  return options;
}

struct Bench : TerminalBench<TemplateTerminal> {
  explicit Bench(const TemplateTerminal::Options& options)
      : TerminalBench(options, options.layout.graduation, "", {}, "115200,n,8,1") {}
};

TEST(TemplateRecord, IsWhatATemplateReads) {
  TemplateLayout layout = Plain().layout;
  layout.startString = "#";
  const Reading reading{.gross = 1250, .tare = 250, .netMode = true};
  std::string buffer;
  for (const std::string& piece : BuildTemplateRecord(layout, reading, 7, 6)) buffer += piece;
  EXPECT_EQ(buffer, "#7,A007,12.50,2.50,10.00,kg\r\n");
  std::vector<std::string> fields;
  EXPECT_EQ(CutRecord({20, "#", ",", "\r\n"}, buffer, fields), 6);
  EXPECT_EQ(buffer, "");
  layout.delimiterAtEnd = true;
  EXPECT_EQ(BuildTemplateRecord(layout, reading, 1001, 2),
            (std::vector<std::string>{"#1001,", "A001,\r\n"}));
  std::string tooMany = "net";
  for (int i = 0; i < 20; ++i) tooMany += ",net";
  for (const std::string& wrong :
       {std::string(), std::string("net,"), std::string("weight"), tooMany}) {
    EXPECT_THROW(ParseRecordFields(wrong), UsageError) << wrong;
  }
}

TEST(TemplateTerminal, PrintsByItselfAndOnDemand) {
  TemplateTerminal::Options options = Plain();
  options.layout.fields = ParseRecordFields("number,units");
  options.demand = "\x05P";
  options.printEvery = 1000;
  Bench bench(options);
  EXPECT_EQ(bench.SentUntil(2500), "1,kg\r\n2,kg\r\n");
  for (const char* piece : {"P\x05", "P\x05P\x05\x05", "x"}) bench.line->Received.Raise(piece);
  EXPECT_EQ(bench.SentUntil(2900), "3,kg\r\n4,kg\r\n");
  options.demand = "";
  Bench silent(options);
  silent.line->Received.Raise("anything");
  EXPECT_EQ(silent.SentUntil(900), "");
  for (int i = 0; i < 1000; ++i) silent.terminal.Press({TerminalCommand::Key::Print});
  EXPECT_LE(silent.SentUntil(900'000).size(), 1000 * 9U);
}

TEST(TemplateTerminal, FieldsMayComeSlowlyWithKeepAliveTextsBetweenThem) {
  TemplateTerminal::Options options = Plain();
  options.layout.fields = ParseRecordFields("number,units");
  options.printEvery = 1000;
  options.fieldDelay = 300;
  options.keepAlive = 600;
  Bench bench(options);
  const std::string alive(TemplateTerminal::kKeepAliveText);
  EXPECT_EQ(bench.SentUntil(1280), alive + "1," + alive);
  EXPECT_EQ(bench.SentUntil(1600), "kg\r\n");
  options.keepAlive = 0;
  options.fieldDelay = 0;
  options.shortRecords = 1;
  EXPECT_EQ(Bench(options).SentUntil(1500), "1\r\n");
}

}  // namespace
}  // namespace tarn::sim
