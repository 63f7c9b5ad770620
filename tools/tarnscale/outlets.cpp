#include "tools/tarnscale/outlets.hpp"

#include <chrono>
#include <exception>
#include <stdexcept>
#include <utility>

#include "base/automation_error.hpp"
#include "outlets/mqtt/mosquitto_connection.hpp"
#include "platform/program.hpp"
#include "platform/utf8.hpp"
#include "tools/tarnscale/attached.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/journal_commands.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {
namespace {

http::ScaleSet CommandsOf(const std::vector<std::string>& lists) {
  http::ScaleSet scales;
  if (lists == std::vector<std::string>{"all"}) return scales.set();
  for (const int scale : ScaleNumbers(lists)) scales.set(static_cast<std::size_t>(scale));
  return scales;
}

http::OutletSettings SettingsOf(const OutletOptions& options) {
  return {.listen = options.http,
          .tokenFile = options.httpTokenFile,
          .commands = CommandsOf(options.httpCommands),
          .hosts = options.httpHosts,
          .origins = options.httpOrigins,
          .usualTokenFile = [] { return ProgramDataFolder("tarnscale") + "/http-token"; },
          .healthGrace = options.healthGrace * 1000.0};
}

std::string FileName(const std::string& file) {
  return file.substr(file.find_last_of("/\\") + 1);
}

void RequireHttp(const OutletOptions& options) {
  const bool needsHttp = !options.httpTokenFile.empty() || !options.httpCommands.empty() ||
                         !options.httpHosts.empty() || !options.httpOrigins.empty();
  if (needsHttp) throw UsageError("--http-... goes with --http ADDRESS:PORT");
}

/// For commands of this machine that then need not open the ports. What stands in the way is said,
/// and the scales run all the same.
void ListenLocally(Program& program, http::HttpOutlet& outlet) {
  const std::string socket = LocalSocket(program, program.Options().file);
  const std::string note = "note: monitor, read and send do not find this program: ";
  if (socket.empty())
    return program.Say(note + "there is no folder for local sockets; see XDG_RUNTIME_DIR");
  try {
    outlet.ListenLocally(socket);
  } catch (const std::exception& error) {
    program.Say(note + error.what());
  }
}

std::unique_ptr<http::HttpOutlet> StartHttp(Program& program, ScaleSource& source,
                                            WeighingBook& book, AuditLog& audit,
                                            const OutletOptions& options) {
  if (options.http.empty()) RequireHttp(options);
  if (options.http.empty() && !http::IsBuiltIn()) return nullptr;
  const http::OutletSettings settings = SettingsOf(options);
  try {
    auto outlet = http::MakeHttpOutlet(program.Host(), source, book, audit, settings,
                                       {TARN_VERSION, FileName(program.Options().file)});
    if (!outlet->Url().empty()) program.Say("the scales are at " + outlet->Url());
    if (const std::string file = outlet->TokenFile(); !file.empty())
      program.Say("readers need the token in " + Printable(file));
    ListenLocally(program, *outlet);
    return outlet;
  } catch (const std::exception& error) {
    const std::string words = std::string("--http: ") + error.what();
    const auto* known = dynamic_cast<const AutomationError*>(&error);
    if (known && known->Number() == ErrorNumber::InvalidPropertyValue) throw UsageError(words);
    throw Failure(words);
  }
}

std::unique_ptr<WeighingBook> MakeBook(Program& program, const OutletOptions& options) {
  if (!options.journal.empty()) return OpenJournal(program, options);
  if (options.journalDays > 0) throw UsageError("--journal-days goes with --journal");
  return std::make_unique<RecentWeighings>();
}

std::unique_ptr<MqttOutlet> MakeMqtt(Program& program, ScaleSource& source, WeighingBook& book,
                                     AuditLog& audit, const MqttOptions& options) {
  if (options.url.empty()) {
    const bool needsMqtt =
        !options.root.empty() || !options.clientId.empty() || !options.user.empty() ||
        !options.passwordFile.empty() || !options.ca.empty() || !options.certificate.empty() ||
        !options.key.empty() || !options.commands.empty() || options.homeAssistant;
    if (needsMqtt) throw UsageError("--mqtt-... and --home-assistant go with --mqtt mqtt://HOST");
    return nullptr;
  }
  MqttSettings settings;
  try {
    settings = MqttSettingsOf(options, MachineName());
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
  NativeHost& host = program.Host();
  try {
    return std::make_unique<MqttOutlet>(host, source, book, std::move(settings.plan),
                                        settings.broker.Name(),
                                        MosquittoConnect(host, settings.broker), audit);
  } catch (const std::exception& error) {
    throw Failure(error.what());
  }
}

}  // namespace

Outlets::Outlets(Program& program, TarnScaleServer& server, const OutletOptions& options)
    : source_(server, std::chrono::system_clock::now),
      book_(MakeBook(program, options)),
      audit_(program.Host(), std::chrono::system_clock::now, options.audit),
      onEvent_(
          source_.Happened.Subscribe([this](const ScaleEvent& event) { book_->Enter(event); })),
      http_(StartHttp(program, source_, *book_, audit_, options)) {
  onRefused_ = book_->Refused.Subscribe(
      [this, &program, &server](const ScaleEvent& event, const std::string& reason) {
        program.Host().Trace("not kept: " + EventWords(event) + ": " + Printable(reason));
        if (std::exchange(isRefusing_, true)) return;
        server.InfoMessage.Raise("Weighings are refused: " + reason, TarnScaleServer::kCritical);
      });
  onEntered_ = book_->Entered.Subscribe([this, &server](const Weighing&) {
    if (!std::exchange(isRefusing_, false)) return;
    server.InfoMessage.Raise("Weighings are kept again", TarnScaleServer::kExclamation);
  });
  mqtt_ = MakeMqtt(program, source_, *book_, audit_, options.mqtt);
}

}  // namespace tarn::tool
