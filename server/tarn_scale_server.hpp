// The object that owns everything: the table of 32 scales, the host form, the settings, the log.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "platform/host.hpp"
#include "platform/text_stream.hpp"
#include "scale/tarn_scale.hpp"
#include "server/scale_table.hpp"
#include "server/server_site.hpp"

namespace tarn {

/// How the server starts its scales.
enum class StartMode {
  AsSettingsSay,  ///< EachScale when "StartEachScale" in section "Settings" is True, else AllScales
  AllScales,      ///< the published way: the first scale that fails ends the start
  EachScale,      ///< each enabled scale by itself; failures are reported and skipped
  NoScale,        ///< the owner starts them
};

/// A scale that did not start, and why.
struct StartFailure {
  std::int16_t number = 0;
  std::string alias;
  std::string reason;
  bool isRetried = false;     ///< its connection tries again by itself
  bool isPermission = false;  ///< the user may not open the port
};

/// What a reload of the settings file did.
struct Reloaded {
  std::vector<std::int16_t> replaced;  ///< the scales whose settings have changed
  std::vector<std::int16_t> damaged;   ///< entries that cannot be read, whose scales run on
  std::vector<StartFailure> failures;  ///< of the replaced scales
};

/// One per process, shared by all clients through TarnServerConnection. Everything happens on the
/// thread of the message loop; the host outlives the server.
///
/// Problems of the settings store and the settings file reach clients only as InfoMessage. Errors
/// of scales, connections and protocols propagate to the caller.
class TarnScaleServer {
 public:
  /// Message-box styles of InfoMessage.
  static constexpr std::int32_t kCritical = 16;
  static constexpr std::int32_t kExclamation = 48;

  /// The whole start-up: host form, settings store, log, settings file, scales. In AllScales mode
  /// the error of a scale that does not start is thrown. A log that cannot be opened is only
  /// traced, since no client could name another one otherwise.
  TarnScaleServer(Host& host, StartMode mode);
  TarnScaleServer(const TarnScaleServer&) = delete;
  TarnScaleServer& operator=(const TarnScaleServer&) = delete;
  ~TarnScaleServer();

  // Published members, in the order of the interface.

  std::shared_ptr<TextStream> LogFile() const { return Log().Stream(); }
  void LogFile(std::shared_ptr<TextStream> stream) { Log().Stream(std::move(stream)); }
  void LoggingEnabled(bool enabled);
  bool LoggingEnabled() const { return loggingEnabled_; }
  bool SummitEnabled() const { return true; }
  /// Writing closes the log and opens the one of that name for appending. A log that cannot be
  /// opened is an error, and its name stays: LogFile is none then, and the file is tried again when
  /// this or LoggingEnabled is written, at the next start, and by every print that is to be logged.
  void CurrentLogName(std::string name);
  const std::string& CurrentLogName() const { return currentLogName_; }
  void CurrentFileNew(bool value) { file_.isNew = value; }
  bool CurrentFileNew() const { return file_.isNew; }
  void CurrentFileDirty(bool value) { file_.dirty = value; }
  bool CurrentFileDirty() const { return file_.dirty; }
  void CurrentFileName(std::string name) { file_.name = std::move(name); }
  const std::string& CurrentFileName() const { return file_.name; }
  /// The folder that the program was started from, whatever the value.
  std::string GetServerPath(std::int32_t value) const;
  /// True: a new configuration. False: the one of CurrentFileName, or a new one where that cannot
  /// be read. Does not start the scales.
  void LoadScaleSettings(bool INITNEW);
  /// Objects that clients have made, and places without an object, are saved as the defaults of
  /// their places, which InfoMessage and the trace then name. A file whose last load failed, or did
  /// not restore all that it holds, is first copied to NAME.unreadable.
  void SaveScaleSettings();
  /// Error 91 at an empty slot.
  void SetComPortsUsed();
  /// False for every number outside 1 to 31. Deliberately port 32 is never marked.
  bool GetComPortUsed(std::int32_t portNo) const;
  /// Starts the enabled scales in order; the first error ends that and propagates to the caller.
  void RunAllScales();
  void StopAllScales();
  /// Error 9 outside 1 to 32. Null for a slot whose scale could not be restored.
  std::shared_ptr<TarnScale> GetScale(std::int16_t sno) const;

  Event<const std::string&, std::int32_t> InfoMessage;  ///< message, style

  // Beside the published interface.

  /// Starts every enabled scale. One that fails is reported through InfoMessage and in the result;
  /// the others start all the same. A connection that fails with AutoReconnect on is tried again.
  std::vector<StartFailure> RunEachScale();
  /// The failures of the latest RunEachScale. In that of the start-up no client could have
  /// subscribed yet.
  const std::vector<StartFailure>& StartFailures() const { return startFailures_; }

  /// Reads CurrentFileName again. Each scale whose settings in the file have changed since it was
  /// last read or saved is replaced by a new one, which is then started if it is enabled, as by
  /// RunEachScale; `prepare` gets it before that. All others go on undisturbed, whatever clients
  /// have changed in them. Errors of the file and 321: nothing has changed then.
  Reloaded Reload(const std::function<void(TarnScale& scale)>& prepare = {});
  /// The slot of that number has another scale since a reload. It is not started yet; who
  /// subscribes to single scales subscribes to it now.
  Event<std::int16_t> ScaleReplaced;
  /// Goes on with the file that has the name of the log now, where another program has moved it.
  /// An error of the file leaves the log as it is.
  void ReopenLog();

  /// Ends the server: stores the name of the settings file, releases the scales, closes the log and
  /// unloads the host form. Members that need the server are error 91 afterwards.
  void ShutDown();
  /// Closes what another server needs: ports, sockets and the log. Called for a server that is
  /// created during the last events of this one's shut-down, which then continues. No events.
  void MakeWay();

 private:
  /// State of the settings file.
  struct FILEMGMT {
    std::string name;
    bool dirty = false;
    bool isNew = false;  // "new" in the type library
  };

  ActivityLog& Log() const { return site_->Log(); }
  void ReadSettingsStore();
  /// Opens the log, or tries again; the failure is traced.
  void OpenLogQuietly(const std::function<void()>& open);
  void RequireRunning() const;
  void RunScales(bool skipEmptySlots);
  std::string AbsoluteFileName() const { return host_.Files().AbsoluteName(file_.name); }
  void KeepUnreadableFile();
  void ReportPlaces(const std::string& what, const std::vector<std::string>& places);
  void NewConfiguration();
  bool LoadCurrentFile();
  void RememberFile();
  void WatchChanges();
  void WatchChanges(std::int16_t number);
  void StartScale(std::int16_t number, std::vector<StartFailure>& failures);
  void ReportFailures(const std::vector<StartFailure>& failures);
  void MarkPortsQuietly();
  bool StartsEachScale(StartMode mode);
  bool IsSwitchedOn(std::string_view key);
  void Inform(const std::string& message, std::int32_t style);

  Host& host_;
  std::shared_ptr<ServerSite> site_;
  ScaleTable scales_;
  FILEMGMT file_;
  std::string unreadableFile_;  // with its folder; empty when all of the file is in the table
  /// What the settings file says of each scale; empty where it says nothing that can be read.
  std::array<std::string, kScaleCount> inFile_;
  std::string currentLogName_ = "Default.log";
  bool loggingEnabled_ = false;
  bool running_ = true;
  std::array<bool, kScaleCount + 1> comPortUsed_{};
  std::vector<StartFailure> startFailures_;
  std::array<Subscription, kScaleCount> onScaleChanged_;
};

}  // namespace tarn
