#include "tools/tarnscale/program.hpp"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <map>
#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "connections/serial_connection.hpp"
#include "platform/program.hpp"
#include "tools/arguments.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {
namespace {

constexpr std::string_view kProgram = "tarnscale";
constexpr std::string_view kServerStore = "server";
constexpr int kHighestStoredPort = 256;
constexpr double kHighestPort = 32767;

}  // namespace

void AddPort(std::map<int, std::string>& ports, std::string_view text) {
  const auto equals = text.find('=');
  const auto number = LocaleNumber(text.substr(0, equals), ".");
  const bool whole =
      number && *number >= 1 && *number <= kHighestPort && *number == RoundHalfEven(*number);
  if (!whole || equals == std::string_view::npos || equals + 1 == text.size()) {
    throw UsageError("--port '" + Printable(text) +
                     "': write N=DEVICE, such as --port 3=/dev/ttyUSB0");
  }
  ports.insert_or_assign(static_cast<int>(*number), std::string(text.substr(equals + 1)));
}

Program::Program(CommonOptions options)
    : options_(std::move(options)),
      host_(CreateNativeHost(OptionsOfHost())),
      console_(host_->CreateConsole()) {
  AddStoredPorts();
}

bool Program::UsesServerStore() const {
  return options_.store == kServerStore;
}

HostOptions Program::OptionsOfHost() {
  HostOptions options;
  if (options_.store.empty())
    options.settingsPlace = ProgramSettingsPlace(kProgram);
  else if (!UsesServerStore())
    options.settingsPlace = options_.store;
  options.terminalNetwork = options_.terminalNetwork;
  for (const std::string& port : options_.ports) AddPort(options.portMap, port);
  options.trace = [this](std::string_view text) {
    if (trace_)
      trace_(text);
    else
      Complain(text);
  };
  return options;
}

/// Only a host can read the store. A port of the command line stays as it is. A user whose own
/// store is out of reach, since he has no home for example, does without.
void Program::AddStoredPorts() {
  try {
    for (int number = 1; number <= kHighestStoredPort; ++number) {
      const auto device = host_->Settings().Get("Ports", std::to_string(number));
      if (device && !device->empty()) storedPorts_.emplace(number, *device);
    }
  } catch (const AutomationError& error) {
    const std::string text = std::string("cannot read the settings store: ") + error.what();
    if (!options_.store.empty()) throw Failure(text + "; another place for it: --store PLACE");
    Say("note: " + text);
  }
  host_->AddPorts(storedPorts_);
}

std::string Program::StorePlace() const {
  if (options_.store.empty()) return ProgramSettingsPlace(kProgram);
  return UsesServerStore() ? ProgramSettingsPlace("TarnSclServer") : options_.store;
}

void Program::NoteUnusedPorts(
    const std::function<std::shared_ptr<TarnScale>(std::int16_t)>& scaleAt) {
  std::map<int, std::string> named;
  for (const std::string& port : options_.ports) AddPort(named, port);
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = scaleAt(number);
    const auto connection = scale ? scale->Connection() : nullptr;
    const auto serial = std::dynamic_pointer_cast<SerialConnection>(connection);
    if (serial) named.erase(serial->ComPort());
  }
  for (const auto& [number, device] : named) {
    Say("note: no scale of '" + Printable(options_.file) + "' has port=" + std::to_string(number) +
        ", so --port " + std::to_string(number) + "=" + Printable(device) + " does nothing");
  }
}

int Program::Finish(int status) {
  const std::string failure = console_->WriteFailure();
  if (failure.empty()) return status;
  Complain("standard output cannot be written: " + failure);
  return kFailed;
}

void Program::Say(std::string_view text) {
  if (!options_.quiet) errors_.WriteLine(text);
}

void Program::Complain(std::string_view text) {
  errors_.WriteLine("tarnscale: " + std::string(text));
}

void Program::EndNow(int status) {
  console_->LeaveNow();
  errors_.Finish();
  std::_Exit(status);
}

/// What the server would read from its store. The store of the Automation server keeps its log
/// unless --log is given.
RunSettings::Values Program::SettingsOfRun(const std::string& file) {
  RunSettings::Values values = {{"LastFile", file}, {"StoreEachLine", "True"}};
  if (UsesServerStore() && options_.log.empty()) return values;
  const bool logging = !options_.log.empty();
  values["LogFile"] = logging ? host_->Files().AbsoluteName(options_.log) : NullFile();
  values["LoggingEnabled"] = logging ? "True" : "False";
  return values;
}

std::unique_ptr<TarnServerConnection> Program::StartServer() {
  // The server would start with an empty configuration where it cannot read the file.
  RequireSettingsFile(*host_, options_.file);
  OpenLog();  // the server itself would start without it
  const std::string file = host_->Files().AbsoluteName(options_.file);
  host_->BeginSettings(SettingsOfRun(file));
  std::unique_ptr<TarnServerConnection> connection;
  try {
    connection = std::make_unique<TarnServerConnection>(*host_, StartMode::NoScale);
  } catch (const std::exception& error) {
    throw Failure(std::string("the server does not start: ") + error.what());
  }
  std::int32_t any = 0;
  const auto server = connection->TarnScaleServer(any);
  if (server->CurrentFileNew()) {
    throw Failure("the server did not load '" + Printable(file) + "'");
  }
  NoteUnusedPorts([&server](std::int16_t number) { return server->GetScale(number); });
  return connection;
}

std::shared_ptr<TextStream> Program::OpenLog() {
  if (options_.log.empty()) return nullptr;
  try {
    return host_->Files().OpenForAppending(options_.log);
  } catch (const AutomationError& error) {
    throw Failure(std::string("cannot open the activity log: ") + error.what());
  }
}

}  // namespace tarn::tool
