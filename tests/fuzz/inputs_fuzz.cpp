// Every reader of bytes from outside, with a fuzzer's bytes: one program, in which the environment
// variable TARN_FUZZ says which reader of the table at the end is meant.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "connections/ethernet_connection.hpp"
#include "outlets/client/event_stream_reader.hpp"
#include "outlets/http/api.hpp"
#include "outlets/journal/journal_check.hpp"
#include "outlets/journal/journal_store.hpp"
#include "outlets/mqtt/mqtt_command.hpp"
#include "platform/native_host.hpp"
#include "platform/serial_settings.hpp"
#include "scale/tarn_scale.hpp"
#include "server/scale_table.hpp"
#include "server/server_site.hpp"
#include "server/settings_file.hpp"
#include "shareddata/message_layout.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/fakes/memory_folder.hpp"
#include "tests/models/models.hpp"
#include "tests/support/fake_terminal.hpp"
#include "tools/tarnscale/capture_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/line_guess.hpp"
#include "tools/tarnscale/scale_keys.hpp"
#include "tools/tarnsim/load_model.hpp"
#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/shared_data_terminal.hpp"
#include "tools/tarnsim/terminal_command.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn {
namespace {

/// Calls it; a refusal of that kind is an answer, too.
template <class Refusal>
void Try(const std::function<void()>& call) {
  try {
    call();
  } catch (const Refusal&) {
    // refused
  }
}

void Require(bool condition) {
  if (!condition) std::abort();
}

/// Captures of lines, which users send around and edit, and what a line says about itself.
void TryCapture(std::string_view bytes) {
  const tool::LineGuess guess = tool::GuessOf(bytes);
  Require(guess.heard == bytes.size() && guess.found.bytes <= bytes.size());
  const std::string title = "# tarnscale capture 1\n";
  Try<tool::Failure>([&] {
    const tool::Capture capture = tool::ReadCapture(title + std::string(bytes));
    // Whatever was understood is written so that it is read back.
    std::string text = title;
    for (const tool::CapturedPiece& piece : capture.pieces) text += CaptureLine(piece);
    const auto same = [](const tool::CapturedPiece& a, const tool::CapturedPiece& b) {
      return a.time == b.time && a.arrived == b.arrived && a.bytes == b.bytes;
    };
    Require(std::ranges::equal(tool::ReadCapture(text).pieces, capture.pieces, same));
  });
}

/// Any bytes as a settings file: they are refused, or they give a configuration that can be saved
/// and comes back the same.
void TrySettingsFile(std::string_view bytes) {
  Try<AutomationError>([&] {
    const PropertyBag bag = DecodeSettings(bytes);
    FakeHost host;
    const auto site = std::make_shared<ServerSite>(host);
    ScaleTable table;
    table.Load(bag, site);
    for (int number = 1; number <= kScaleCount; ++number) {
      const auto scale = table.At(number);
      if (!scale) continue;
      PropertyBag one;
      WriteObject(one, "Scale", *scale);
      const PropertyBag read = PropertyBag::FromContents(one.Contents());
      const auto again = ReadObject<TarnScale>(read, "Scale", *site, "TarnScale");
      PropertyBag two;
      WriteObject(two, "Scale", *again);
      Require(one.Contents() == two.Contents());
    }
    table.Clear();
  });
}

/// Any bytes as the file of the settings store: reading and writing fail clearly, or what was
/// written reads back and what stood there stays.
void TrySettingsStore(std::string_view bytes) {
  // One host and one file for all runs; each run leaves nothing behind.
  static const std::string file = (std::filesystem::temp_directory_path() /
                                   ("fuzz-store-" + std::to_string(std::random_device()())))
                                      .string();
  static const auto host = [] {
    HostOptions options;
    options.settingsPlace = file;
    return CreateNativeHost(options);
  }();
  std::ofstream(file, std::ios::binary) << bytes;
  SettingsStore& settings = host->Settings();
  // A value of everything that is awkward in such a file: taken from the input.
  const std::string value(bytes.substr(0, bytes.size() / 2));
  Try<AutomationError>([&] {
    const auto before = settings.Get("Settings", "LastFile");
    settings.Set("Settings", "LogFile", value);
    Require(settings.Get("Settings", "LogFile") == value);
    Require(settings.Get("Settings", "LastFile") == before);
  });
  std::filesystem::remove(file);
}

/// What the last request asked for, answered with the bytes.
std::string Answer(const FakeSocket& socket, std::string_view bytes) {
  if (socket.sent.empty()) return std::string(bytes);
  const Request request(socket.sent.back());
  return ReplyOf(request.name, request.header.sequenceNumber, bytes);
}

/// Any datagrams at the engine of the terminal data sets, with their own objects behind it. The
/// first byte chooses the data set; with the BASIC exchange every type of variable is polled. Then
/// deeds, each a byte and a length: raw bytes, a reply to the last request that carries the bytes,
/// a single read that meanwhile gets them, or time.
void TryTerminalValues(std::string_view input) {
  if (input.size() < 2) return;
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  scale->ScaleNumber(1);
  scale->Connection(NewObject<EthernetConnection>(*site, "EthernetConnection"));
  const auto engine = NewObject<SummitProtocol>(*site, "SummitProtocol");
  scale->Protocol(engine);
  engine->pType(ProtocolType{20 + static_cast<std::uint8_t>(input[0]) % 4});
  const auto basic = std::dynamic_pointer_cast<TarnKesBasicData>(scale->SummitData());
  if (basic) {
    auto& config = dynamic_cast<TarnKesBasicConfig&>(*engine->Configuration());
    for (int type = 1; type <= 13; ++type) {
      config.AddVariable(std::to_string(type), "v" + std::to_string(type), SDTagType{type},
                         type < 9 ? 8 : 40, true, true);
    }
  }
  scale->Disabled(false);
  scale->RunScale();
  host.loop.Advance(200);

  auto& socket = dynamic_cast<FakeSocket&>(*site->Winsock(1));
  input.remove_prefix(1);
  while (input.size() >= 2) {
    const auto deed = static_cast<std::uint8_t>(input[0]);
    const std::string_view bytes = input.substr(2, static_cast<std::uint8_t>(input[1]));
    input.remove_prefix(2 + bytes.size());
    TagValue value;
    if (deed % 4 == 0) socket.Deliver(bytes);
    if (deed % 4 == 1) socket.Deliver(Answer(socket, bytes));
    if (deed % 4 == 2) {
      host.loop.Post([&socket, bytes] { socket.Deliver(Answer(socket, bytes)); });
      if (basic) basic->SDRead(std::to_string(deed / 4 % 16), value);
      if (basic) basic->SDWrite(std::to_string(deed / 4 % 16), value);
    }
    if (deed % 4 == 3) host.loop.Advance(10.0 * deed);
  }
  // The rounds go on, whatever came.
  if (engine->Configuration()->GetTagInfoCount() == 0) return;
  host.loop.Advance(1500);
  const std::size_t before = socket.sent.size();
  host.loop.Advance(1500);
  Require(socket.sent.size() != before);
}

/// Any text where a number, a number pattern or a line setting is expected.
void TryTexts(std::string_view text) {
  Try<AutomationError>([&] {
    const double value = NumericPrefix(text);
    Require(std::isfinite(value));
    // A number's own text reads back as the number, to the digits that it shows.
    const auto again = LocaleNumber(GeneralNumberText(value, ","), ",");
    Require(again && std::fabs(*again - value) <= std::fabs(value) * 1e-14);
    Require(!FormatNumber(value, NumberPattern("#,##0.000##")).empty());
  });
  if (const auto number = LocaleNumber(text, ".")) Require(std::isfinite(*number));
  Try<AutomationError>([&] { WholeNumber(text); });
  Try<AutomationError>([&] {
    const SerialSettings settings = ParseSerialSettings(text);
    Require(settings.baud > 0 && settings.dataBits >= 4 && settings.dataBits <= 8);
    Require(settings.CharacterTime() > 0);
  });
}

/// A setting as KEY=VALUE: whatever was accepted can be saved and comes back.
void TryPair(std::string_view pair) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  tool::ApplyPair(*scale, *site, "connection=serial");
  Try<tool::UsageError>([&] { tool::ApplyPair(*scale, *site, pair); });
  PropertyBag bag;
  WriteObject(bag, "Scale", *scale);
  ReadObject<TarnScale>(PropertyBag::FromContents(bag.Contents()), "Scale", *site, "TarnScale");
}

void TryScript(std::string_view text) {
  Try<sim::UsageError>([&] {
    sim::LoadModel model(sim::ParseLoadScript(text), {});
    for (int i = 0; i < 200; ++i) model.Convert();
  });
}

/// Whatever came before, a plain command is understood after a line end.
void TryCommands(std::string_view bytes) {
  sim::CommandReader reader;
  for (const char c : bytes) reader.Take(c);
  reader.Take('\r');
  const auto command = reader.Take('Z');
  Require(command && command->key == sim::TerminalCommand::Key::Zero);
}

/// A table of variables up to a 0 byte, and behind it what arrives; each variable is then written
/// and read.
void TryTerminal(std::string_view bytes) {
  sim::SharedDataTerminal::Options options;
  const std::size_t end = std::min(bytes.find('\0'), bytes.size());
  Try<sim::UsageError>([&] {
    sim::AddVariables(options.table, sim::ScaleVariables('a'));
    sim::AddVariables(options.table, bytes.substr(0, end));
  });
  options.graduation = sim::MakeGraduation(100, 0.01, {});
  sim::SharedDataTerminal terminal(
      options,
      std::make_unique<sim::Indicator>(sim::Indicator::Options{options.graduation},
                                       sim::ParseLoadScript("load 5"), sim::LoadModel::Options{}));
  const auto answer = terminal.Answer.Subscribe([](std::string_view reply, const sim::Peer&) {
    Require(reply.size() <= sizeof(ReplyMessageStruct));
  });
  for (double now = 0; now < 100; now += 50) {
    terminal.Tick(now);
    terminal.Receive(bytes.substr(end), {"127.0.0.1", 1701});
    for (const auto& [name, variable] : options.table.variables) {
      std::string request(kMessageHeaderLength, '\0');
      request.replace(14, name.size(), name);
      request[24] = static_cast<char>(now > 0 ? kReadCommand : kWriteCommand);
      terminal.Receive(request, {"127.0.0.1", 1701});
    }
  }
}

/// What users and lines give the tools; the first byte chooses.
void TryToolInputs(std::string_view bytes) {
  if (bytes.empty()) return;
  void (*const tries[])(std::string_view) = {TryPair, TryScript, TryCommands, TryTerminal};
  tries[static_cast<std::uint8_t>(bytes[0]) % 4](bytes.substr(1));
}

/// A stream of another tarnscale's events, whole and cut at the place that the first byte names.
void TryEventStream(std::string_view bytes) {
  if (bytes.empty()) return;
  const std::string_view stream = bytes.substr(1);
  const std::size_t cut = std::min<std::size_t>(static_cast<std::uint8_t>(bytes[0]), stream.size());
  std::string whole;
  std::string pieces;
  const auto read = [](std::string& seen) {
    return EventStreamReader([&seen](const EventStreamReader::Event& event) {
      seen += event.name + event.id + event.data + '\n';
      if (const auto known = EventOfJson(event.data))
        Require(EventOfJson(EventJson(*known)).has_value());
    });
  };
  read(whole).Take(stream);
  EventStreamReader inPieces = read(pieces);
  inPieces.Take(stream.substr(0, cut));
  inPieces.Take(stream.substr(cut));
  Require(whole == pieces);
}

/// A request of a stranger, a line for each thing that is parsed, the body last: it gets one
/// answer, and the tare of a command is a number.
void TryHttpRequest(std::string_view bytes) {
  class OneScale final : public ScaleSource {
   public:
    std::vector<int> Scales() const override { return {1}; }
    std::optional<ScaleState> State(int /*scale*/) const override { return ScaleState{}; }
    void Give(int /*scale*/, const ScaleCommand& /*command*/, double tare,
              const OnDone& done) override {
      Require(std::isfinite(tare));
      done({});
    }
  };
  static FakeHost host;
  static OneScale source;
  static RecentWeighings book;
  static const WallClock clock = [] { return WallTime(); };
  static AuditLog audit(host, clock, "");
  static http::Api api({host.loop, source, book, audit, clock, {}});
  static const auto rights = std::make_shared<const http::Rights>(
      http::Rights{.token = "t", .commands = http::ScaleSet(2), .origins = {"http://a"}});
  http::Request request;
  std::string target;
  for (std::string* part : {&request.method, &target, &request.host, &request.origin,
                            &request.authorization, &request.contentType, &request.lastEventId}) {
    *part = bytes.substr(0, bytes.find('\n'));
    bytes.remove_prefix(std::min(bytes.size(), part->size() + 1));
  }
  request.body = bytes;
  request.rights = rights;
  if (!http::ParseTarget(target, request)) request.fault = 400;
  if (request.host.empty()) request.host = "localhost";
  if (request.authorization.empty()) request.authorization = "Bearer t";
  int answers = 0;
  api.Serve(request, [&answers](const http::Reply& reply) {
    ++answers;
    Require(reply.status >= 200 && reply.status < 500);
  });
  host.loop.RunPending();
  host.traces.clear();
  Require(answers == 1);
}

std::unique_ptr<JournalStore> OpenJournal(MemoryDisk& disk) {
  return std::make_unique<JournalStore>(
      std::make_unique<MemoryFolder>(disk),
      JournalStore::Options{.clock = [] { return WallTime(); }, .days = 0});
}

/// The file of a journal with weighings behind it: what it holds is read, numbers go on behind it,
/// and what is added is found again, whatever came before.
void TryJournalFile(MemoryDisk& disk) {
  const std::uint64_t latest = OpenJournal(disk)->Latest();
  if (latest > ~std::uint64_t{0} / 2) return;  // no number is left
  for (int i = 0; i < 2; ++i) {
    const auto store = OpenJournal(disk);
    const auto result = store->Append({Weighing{}, Weighing{}});
    Require(result.refused == 0 && result.kept.size() == 2);
    Require(result.kept.front().number > latest);
    Require(OpenJournal(disk)->Latest() == result.kept.back().number);
    const auto fetched = store->Fetch(result.kept.front().number, 2);
    Require(fetched.size() == 1 && fetched[0].number == result.kept.back().number);
  }
}

/// Any bytes as the file of a journal, or changes to a sound one, each a place and a byte, all of
/// which must show.
void TryJournal(std::string_view bytes) {
  constexpr const char* kFile = "1970-01-01.tsv";
  if (bytes.empty()) return;
  MemoryDisk disk;
  if (bytes[0] % 2 == 0) {
    disk.files[kFile] = bytes.substr(1);
    return TryJournalFile(disk);
  }
  OpenJournal(disk)->Append({Weighing{}, Weighing{}});
  disk.files[kFile] += bytes.substr(1, bytes.size() % 5);
  OpenJournal(disk)->Append({Weighing{}});  // behind a mark
  std::string& file = disk.files[kFile];
  const std::string sound = file;
  for (bytes.remove_prefix(1); bytes.size() >= 3; bytes.remove_prefix(3)) {
    const auto place =
        static_cast<std::uint8_t>(bytes[0]) * 256U + static_cast<std::uint8_t>(bytes[1]);
    file[place % file.size()] = bytes[2];
  }
  MemoryFolder folder(disk);
  Require(CheckJournal(folder, {}).fault.has_value() == (file != sound));
  TryJournalFile(disk);
}

/// A model (tests/models) beside the system, with the bytes in place of chance: its cases draw from
/// them what is sent, how it is cut and what happens meanwhile.
template <void Play(Random&)>
void TryModel(std::string_view bytes) {
  Random random(bytes);
  Try<Random::Ended>([&] { Play(random); });
  Require(!testing::Test::HasFailure());
}

/// A command that a stranger publishes, and its topic: whatever it is, the answer is JSON.
void TryMqttCommand(std::string_view bytes) {
  const MqttCommand command = CommandOf(bytes);
  Require((command.command == nullptr) == !command.error.empty());
  Require(std::isfinite(command.tare) && command.id.size() <= kLongestCommandId);
  const std::string answer = AckJson(1, command, "given", command.error, "");
  Require(nlohmann::json::parse(answer).at("id") == command.id);
  const auto scale = CommandedScale("r", bytes);
  Require(!scale || bytes == "r/" + std::to_string(*scale) + "/cmd");
}

using Reader = void (*)(std::string_view bytes);

/// The names are those of the tests (CMakeLists.txt) and of the folders of the corpus.
Reader ReaderNamed(std::string_view wanted) {
  const std::pair<std::string_view, Reader> readers[] = {
      {"capture", TryCapture},
      {"event_stream", TryEventStream},
      {"http_request", TryHttpRequest},
      {"journal", TryJournal},
      {"mqtt_command", TryMqttCommand},
      {"settings_file", TrySettingsFile},
      {"settings_store", TrySettingsStore},
      {"terminal_values", TryTerminalValues},
      {"texts", TryTexts},
      {"tool_inputs", TryToolInputs},
      {"model_Continuous", TryModel<PlayContinuous>},
      {"model_Generic", TryModel<PlayGeneric>},
      {"model_KesSD", TryModel<PlayKesSD>},
      {"model_Mira", TryModel<PlayMira>},
      {"model_NetworkTemplate", TryModel<PlayNetworkTemplate>},
      {"model_SerialTemplate", TryModel<PlaySerialTemplate>},
      {"model_Summit", TryModel<PlaySummit>}};
  for (const auto& [name, reader] : readers) {
    if (name == wanted) return reader;
  }
  std::fputs("TARN_FUZZ names no reader of the table in inputs_fuzz.cpp\n", stderr);
  std::exit(2);
}

}  // namespace
}  // namespace tarn

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* const wanted = std::getenv("TARN_FUZZ");
  static const tarn::Reader reader = tarn::ReaderNamed(wanted != nullptr ? wanted : "");
  reader(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
