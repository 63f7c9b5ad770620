#include "server/tarn_scale_server.hpp"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "base/first_failure.hpp"
#include "base/number_text.hpp"
#include "connections/serial_connection.hpp"
#include "platform/attempt.hpp"
#include "server/settings_file.hpp"

namespace tarn {
namespace {

constexpr std::string_view kSection = "Settings";
constexpr std::string_view kNewFileName = "Default.scl";

bool BooleanFromText(std::string_view text) {
  if (EqualIgnoringCase(text, "True")) return true;
  if (EqualIgnoringCase(text, "False")) return false;
  const auto number = LocaleNumber(text, ".");
  if (!number) ThrowTypeMismatch();
  return *number != 0;
}

std::string_view BooleanText(bool value) {
  return value ? "True" : "False";
}

std::size_t Slot(std::int16_t number) {
  return static_cast<std::size_t>(number - 1);
}

/// The settings of a scale, to be compared. The lamps are saved too, but it is the server that
/// writes them.
std::string SettingsText(const TarnScale& scale) {
  PropertyBag bag;
  const auto noLamps = [&bag] {
    for (const char* lamp : {"ActivityLED", "ErrorLED"}) bag.WriteBoolean(lamp, false, true);
  };
  noLamps();  // their entries have the same place in each text
  scale.WriteProperties(bag);
  noLamps();
  return bag.Contents();
}

}  // namespace

TarnScaleServer::TarnScaleServer(Host& host, StartMode mode)
    : host_(host), site_(std::make_shared<ServerSite>(host)) {
  try {
    ReadSettingsStore();
    OpenLogQuietly([this] { Log().Open(currentLogName_); });
    if (file_.name.empty()) {
      file_.name = kNewFileName;
      LoadScaleSettings(true);
    } else {
      LoadScaleSettings(false);
    }
    if (StartsEachScale(mode))
      RunEachScale();
    else if (mode != StartMode::NoScale)
      RunScales(true);
  } catch (...) {
    // The scales that run by now must not outlive a server whose creation fails.
    scales_.Clear();
    site_->Close();
    throw;
  }
}

TarnScaleServer::~TarnScaleServer() {
  ShutDown();
}

// --- Start-up and shut-down ------------------------------------------------------------------

/// A value that cannot be read keeps its default, and does not affect the others.
void TarnScaleServer::ReadSettingsStore() {
  const auto read = [this](std::string_view key, const std::function<void(std::string)>& use) {
    const bool isRead = Attempt(host_, "The setting " + std::string(key) + " cannot be read", [&] {
      if (auto text = host_.Settings().Get(kSection, key)) use(*std::move(text));
    });
    if (!isRead) Inform("Error reading registry!", kCritical);
  };
  read("LastFile", [this](std::string text) { file_.name = std::move(text); });
  read("LogFile", [this](std::string text) { currentLogName_ = std::move(text); });
  read("LoggingEnabled", [this](const std::string& text) {
    loggingEnabled_ = BooleanFromText(text);
    Log().Enabled(loggingEnabled_);
  });
  Log().StoreEachLine(IsSwitchedOn("StoreEachLine"));
}

void TarnScaleServer::OpenLogQuietly(const std::function<void()>& open) {
  Attempt(host_, "The activity log " + currentLogName_ + " cannot be opened", open);
}

bool TarnScaleServer::StartsEachScale(StartMode mode) {
  return mode == StartMode::EachScale ||
         (mode == StartMode::AsSettingsSay && IsSwitchedOn("StartEachScale"));
}

/// A setting of the store that is not a published one.
bool TarnScaleServer::IsSwitchedOn(std::string_view key) {
  bool on = false;
  Attempt(host_, "The setting " + std::string(key) + " cannot be read", [&] {
    const auto text = host_.Settings().Get(kSection, key);
    on = text && BooleanFromText(*text);
  });
  return on;
}

void TarnScaleServer::ShutDown() {
  if (!std::exchange(running_, false)) return;
  Attempt(host_, "The last settings file cannot be remembered",
          [this] { host_.Settings().Set(kSection, "LastFile", file_.name); });
  for (Subscription& subscription : onScaleChanged_) subscription.Reset();
  scales_.Clear();
  site_->Close();
}

void TarnScaleServer::MakeWay() {
  scales_.ClosePorts();
  site_->Close();
}

void TarnScaleServer::RequireRunning() const {
  if (!running_) ThrowObjectNotSet("The scale server has shut down");
}

// --- Settings file ---------------------------------------------------------------------------

void TarnScaleServer::LoadScaleSettings(bool INITNEW) {
  RequireRunning();
  if (INITNEW || !LoadCurrentFile()) NewConfiguration();
}

bool TarnScaleServer::LoadCurrentFile() {
  std::optional<PropertyBag> bag;
  const bool isRead = Attempt(host_, file_.name + " cannot be loaded",
                              [&] { bag = ReadSettingsFile(host_.Files(), file_.name); });
  if (!isRead) {
    unreadableFile_ = AbsoluteFileName();
    Inform("Can't open configuration settings file: " + file_.name, kExclamation);
    return false;
  }
  if (!scales_.Load(*bag, site_)) {
    unreadableFile_ = AbsoluteFileName();
  } else if (unreadableFile_ == AbsoluteFileName()) {
    unreadableFile_.clear();
  }
  RememberFile();
  MarkPortsQuietly();
  WatchChanges();
  file_.dirty = false;
  file_.isNew = false;
  return true;
}

/// To be called when the table holds what the file holds.
void TarnScaleServer::RememberFile() {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = scales_.At(number);
    std::string& text = inFile_[Slot(number)];
    text.clear();
    if (!scale) continue;
    Attempt(host_, scale->Title() + ": its settings cannot be compared",
            [&] { text = SettingsText(*scale); });
  }
}

Reloaded TarnScaleServer::Reload(const std::function<void(TarnScale& scale)>& prepare) {
  RequireRunning();
  const PropertyBag bag = ReadSettingsFile(host_.Files(), file_.name);
  Reloaded result;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    std::shared_ptr<TarnScale> scale;
    std::string text;
    const std::string what =
        "The settings file is damaged: entry of scale " + std::to_string(number);
    const bool isWhole = Attempt(host_, what, [&] {
      if (!ScaleTable::Holds(bag, number)) ThrowObjectNotSet("it is missing");
      scale = ScaleTable::Restored(bag, number, *site_);
      text = SettingsText(*scale);
    });
    if (!isWhole) {
      result.damaged.push_back(number);
    } else if (text != inFile_[Slot(number)]) {
      inFile_[Slot(number)] = std::move(text);
      scales_.Replace(number, nullptr);
      scale->ScaleNumber(number);
      scales_.Replace(number, std::move(scale));
      result.replaced.push_back(number);
    }
  }
  if (!result.damaged.empty()) {
    unreadableFile_ = AbsoluteFileName();
  } else if (unreadableFile_ == AbsoluteFileName()) {
    unreadableFile_.clear();
  }
  file_.isNew = false;
  MarkPortsQuietly();
  // All have left their ports by now, so scales may exchange them.
  std::erase_if(startFailures_, [&](const StartFailure& failure) {
    return std::find(result.replaced.begin(), result.replaced.end(), failure.number) !=
           result.replaced.end();
  });
  for (const std::int16_t number : result.replaced) {
    WatchChanges(number);
    Attempt(host_, "The new scale " + std::to_string(number) + " is not known everywhere", [&] {
      const auto scale = scales_.At(number);
      if (prepare && scale) prepare(*scale);
      ScaleReplaced.Raise(number);
    });
    StartScale(number, result.failures);
  }
  startFailures_.insert(startFailures_.end(), result.failures.begin(), result.failures.end());
  ReportFailures(result.failures);
  return result;
}

void TarnScaleServer::NewConfiguration() {
  scales_.FillNew(site_);
  inFile_.fill({});
  MarkPortsQuietly();
  WatchChanges();
  file_.dirty = false;
  file_.isNew = true;
}

void TarnScaleServer::SaveScaleSettings() {
  RequireRunning();
  PropertyBag bag;
  const bool saved = Attempt(host_, file_.name + " cannot be saved", [&] {
    bag = scales_.Save();
    KeepUnreadableFile();
    WriteSettingsFile(host_.Files(), file_.name, bag);
    host_.Settings().Set(kSection, "LastFile", file_.name);
  });
  if (!saved) {
    Inform("Can't write configuration settings file: " + file_.name, kExclamation);
    return;
  }
  RememberFile();
  file_.dirty = false;
  file_.isNew = false;
  ReportPlaces("Objects of clients are not saved; defaults take their place: ", bag.ClientMade());
  ReportPlaces("Nothing is set here, so defaults were saved: ", bag.NotSet());
}

/// Once only: after that the file's content is safe, whether the save then succeeds or not.
void TarnScaleServer::KeepUnreadableFile() {
  if (unreadableFile_.empty() || unreadableFile_ != AbsoluteFileName()) return;
  const std::string copy = tarn::KeepUnreadableFile(host_.Files(), file_.name);
  unreadableFile_.clear();
  if (!copy.empty()) {
    host_.Trace(file_.name + " could not be read whole; before the save it was kept as " + copy);
  }
}

void TarnScaleServer::ReportPlaces(const std::string& what,
                                   const std::vector<std::string>& places) {
  if (places.empty()) return;
  std::string text = what + places.front();
  for (std::size_t i = 1; i < places.size(); ++i) text += ", " + places[i];
  host_.Trace(text);
  Inform(text, kExclamation);
}

void TarnScaleServer::WatchChanges() {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) WatchChanges(number);
}

/// Writing a persistent setting makes the configuration dirty. The lamps are persistent too, but it
/// is the server that writes them.
void TarnScaleServer::WatchChanges(std::int16_t number) {
  const auto scale = scales_.At(number);
  onScaleChanged_[Slot(number)] =
      !scale ? Subscription() : scale->PropertyChanged.Subscribe([this](std::string_view name) {
        const bool lamp = name == "ActivityLED" || name == "ErrorLED";
        if (!lamp) file_.dirty = true;
      });
}

void TarnScaleServer::Inform(const std::string& message, std::int32_t style) {
  InfoMessage.Raise(message, style);
}

// --- Log -------------------------------------------------------------------------------------

void TarnScaleServer::LoggingEnabled(bool enabled) {
  RequireRunning();
  loggingEnabled_ = enabled;
  Log().Enabled(enabled);
  host_.Settings().Set(kSection, "LoggingEnabled", BooleanText(enabled));
  OpenLogQuietly([this] { Log().TryAgain(); });
}

void TarnScaleServer::CurrentLogName(std::string name) {
  RequireRunning();
  currentLogName_ = std::move(name);
  host_.Settings().Set(kSection, "LogFile", currentLogName_);
  // The new log is opened even if closing the old one fails; that error propagates afterwards.
  FirstFailure closing;
  closing.Try([this] { Log().Close(); });
  Log().Open(currentLogName_);
  closing.Rethrow();
}

void TarnScaleServer::ReopenLog() {
  RequireRunning();
  Log().Reopen(currentLogName_);
}

// --- Scales ----------------------------------------------------------------------------------

std::string TarnScaleServer::GetServerPath(std::int32_t /*value*/) const {
  return host_.ProgramFolder();
}

std::shared_ptr<TarnScale> TarnScaleServer::GetScale(std::int16_t sno) const {
  auto scale = scales_.At(sno);
  RequireRunning();
  return scale;
}

void TarnScaleServer::SetComPortsUsed() {
  RequireRunning();
  comPortUsed_.fill(false);
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto connection = scales_.Filled(number).Connection();
    if (!connection || connection->Ctype() != ConnectionType::serial) continue;
    const auto serial = std::dynamic_pointer_cast<SerialConnection>(connection);
    if (!serial) continue;
    // Port 32 is deliberately left out, as GetComPortUsed leaves it out.
    const std::int16_t port = serial->ComPort();
    if (port >= 1 && port < kScaleCount) comPortUsed_[static_cast<std::size_t>(port)] = true;
  }
}

/// An empty slot ends the marking, as it ends every operation on the whole table; a load goes on.
void TarnScaleServer::MarkPortsQuietly() {
  Attempt(host_, "Not all serial ports in use are known", [this] { SetComPortsUsed(); });
}

bool TarnScaleServer::GetComPortUsed(std::int32_t portNo) const {
  return portNo > 0 && portNo < kScaleCount && comPortUsed_[static_cast<std::size_t>(portNo)];
}

void TarnScaleServer::RunAllScales() {
  RequireRunning();
  RunScales(false);
}

/// An empty slot ends the published operation. The start-up skips it: one damaged entry of the
/// settings file would lock every client out.
void TarnScaleServer::RunScales(bool skipEmptySlots) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    if (skipEmptySlots && !scales_.At(number)) continue;
    TarnScale& scale = scales_.Filled(number);
    if (!scale.Disabled()) scale.RunScale();
  }
}

void TarnScaleServer::StopAllScales() {
  RequireRunning();
  for (std::int16_t number = 1; number <= kScaleCount; ++number) scales_.Filled(number).StopScale();
}

std::vector<StartFailure> TarnScaleServer::RunEachScale() {
  RequireRunning();
  std::vector<StartFailure> failures;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) StartScale(number, failures);
  startFailures_ = failures;
  ReportFailures(failures);
  return failures;
}

void TarnScaleServer::StartScale(std::int16_t number, std::vector<StartFailure>& failures) {
  const auto scale = scales_.At(number);
  const auto report = [&](const std::string& reason) {
    failures.push_back({number, scale ? scale->AliasName() : std::string(), reason});
  };
  const auto reportError = [&](const AutomationError& error, bool isRetried) {
    report(error.Description());
    failures.back().isRetried = isRetried;
    failures.back().isPermission = error.Number() == ErrorNumber::PermissionDenied;
  };
  try {
    if (!scale) ThrowObjectNotSet("its entry in the settings file is damaged");
    if (scale->Disabled()) return;
    if (const auto error = scale->RunUnattended()) reportError(*error, true);
  } catch (const AutomationError& error) {
    reportError(error, false);
  } catch (const std::exception& error) {
    report(error.what());
  }
}

void TarnScaleServer::ReportFailures(const std::vector<StartFailure>& failures) {
  for (const StartFailure& failure : failures) {
    const std::string alias = failure.alias.empty() ? "" : " (" + failure.alias + ")";
    Inform("Can't start scale " + std::to_string(failure.number) + alias + ": " + failure.reason,
           kExclamation);
  }
}

}  // namespace tarn
