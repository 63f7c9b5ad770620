#include "tools/tarnscale/program.hpp"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <map>
#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "platform/program.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {
namespace {

constexpr std::string_view kProgram = "tarnscale";
constexpr std::string_view kSection = "Settings";
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

/// Only a host can read the store. A port of the command line stays as it is.
void Program::AddStoredPorts() {
  std::map<int, std::string> ports;
  try {
    for (int number = 1; number <= kHighestStoredPort; ++number) {
      const auto device = host_->Settings().Get("Ports", std::to_string(number));
      if (device && !device->empty()) ports.emplace(number, *device);
    }
  } catch (const AutomationError& error) {
    throw Failure(std::string("cannot read the settings store: ") + error.what() +
                  "; another place for it: --store PLACE");
  }
  host_->AddPorts(std::move(ports));
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

/// The server reads the names of its settings file and its log from the store. In the store of
/// tarnscale the command line sets the log every time. The store of the Automation server keeps its
/// log unless --log is given.
void Program::PrepareStore(const std::string& file) {
  const auto set = [this](std::string_view key, std::string_view value) {
    host_->Settings().Set(kSection, key, value);
  };
  try {
    set("LastFile", file);
    if (UsesServerStore() && options_.log.empty()) return;
    const bool logging = !options_.log.empty();
    set("LogFile", logging ? host_->Files().AbsoluteName(options_.log)
                           : ProgramDataFolder(kProgram) + "/tarnscale.log");
    set("LoggingEnabled", logging ? "True" : "False");
  } catch (const AutomationError& error) {
    throw Failure(std::string("cannot write the settings store: ") + error.what() +
                  "; another place for it: --store PLACE");
  }
}

std::unique_ptr<TarnServerConnection> Program::StartServer() {
  // The server would start with an empty configuration where it cannot read the file.
  RequireSettingsFile(*host_, options_.file);
  OpenLog();  // the server itself would start without it
  const std::string file = host_->Files().AbsoluteName(options_.file);
  PrepareStore(file);
  std::unique_ptr<TarnServerConnection> connection;
  try {
    connection = std::make_unique<TarnServerConnection>(*host_, StartMode::EachScale);
  } catch (const std::exception& error) {
    throw Failure(std::string("the server does not start: ") + error.what());
  }
  std::int32_t any = 0;
  const auto server = connection->TarnScaleServer(any);
  // Another tarnscale may have written to the store meanwhile.
  const bool logging = !options_.log.empty();
  const bool logIsRight =
      (UsesServerStore() && !logging) ||
      (server->LoggingEnabled() == logging &&
       (!logging || server->CurrentLogName() == host_->Files().AbsoluteName(options_.log)));
  if (server->CurrentFileName() != file || server->CurrentFileNew() || !logIsRight) {
    throw Failure("the server did not load '" + Printable(file) + "' with " +
                  (logging ? "its log" : "no log") +
                  "; where several tarnscale start at once, give each its own --store PLACE");
  }
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
