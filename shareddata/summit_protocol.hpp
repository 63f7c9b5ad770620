// The engine behind the terminal data sets: reads a terminal's variables in rounds, one after the
// other, and writes them, over a datagram socket.
//
// docs/terminal-variables.md shows the cycle.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "platform/socket.hpp"
#include "scale/activity_timer.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"
#include "scale/summit_data.hpp"
#include "shareddata/kes_message.hpp"
#include "shareddata/sd_tag_info.hpp"
#include "shareddata/summit_config.hpp"
#include "shareddata/tag_access.hpp"

namespace tarn {

/// The configuration says which variables are read; the values go to the scale's SummitData. A
/// pType of 20 to 23 provides a matching pair of both unless a client has set its own. An exception
/// from either is traced, and the value counts as failed. Works over an Ethernet connection only,
/// from local port 1700 + the scale's number to port 1701; over any other it does nothing.
class SummitProtocol final : public Protocol,
                             public TagAccess,
                             public std::enable_shared_from_this<SummitProtocol> {
 public:
  static constexpr std::string_view kClassName = "SummitProtocol";
  static constexpr ProtocolClass kFamily = ProtocolClass::SummitDataClass;

  explicit SummitProtocol(std::shared_ptr<ScaleSite> site);
  ~SummitProtocol() override;

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  // Published members, in the order of the interface.

  /// Null sets a new base SummitConfig. Every change of the configuration notifies the data object
  /// through ConfigurationChanged, and restarts the round.
  void Configuration(std::shared_ptr<_SummitConfig> configuration);
  std::shared_ptr<_SummitConfig> Configuration() const override { return configuration_; }
  void Disconnect() override;
  /// The first round begins up to 200 ms later, when the connection has been opened.
  void Connect() override;

  using Protocol::pType;
  /// Replaces a base configuration or data object, and what the former type provided, by those of
  /// the new type.
  void pType(ProtocolType type) override;

  using Protocol::myScale;
  /// A different one, or null, ends everything that is in progress.
  void myScale(const std::shared_ptr<TarnScale>& scale) override;
  using Protocol::Connection;
  /// A different one, or null, ends everything that is in progress.
  void Connection(std::shared_ptr<_Connection> connection) override;
  using Protocol::WeightData;
  /// The record then shows that there are no weights.
  void WeightData(std::shared_ptr<tarn::WeightData> record) override;

  bool WorksOver(ConnectionType type) const override { return type == ConnectionType::EtherNet; }
  std::string_view CommandHindrance(OperatorCommand command) const override {
    return GoesToTerminal(command) ? "its protocol has no commands"
                                   : "its protocol has no weights to print";
  }

  // For the data object.

  SDAccessStatus ReadTag(const std::shared_ptr<SDTagInfo>& tag) override;
  SDAccessStatus WriteTag(const std::shared_ptr<SDTagInfo>& tag, const TagValue& value) override;

 private:
  /// A single read that waits for its answer.
  struct PendingRead {
    std::shared_ptr<SDTagInfo> tag;
    bool answered = false;
  };

  /// One step of a round, from a timer or a reply up to the next request. It owns what it works
  /// with: every object that it calls may be a client's, which may release the scale, the
  /// configuration, the data object and this engine.
  struct Turn {
    std::uint32_t number;
    std::shared_ptr<SummitProtocol> engine;
    std::shared_ptr<TarnScale> scale;
    std::shared_ptr<_SummitConfig> configuration;
    std::shared_ptr<_SummitData> data;
  };
  /// The state of the datagram, or of the timer's step, that is being processed.
  struct Datagram {
    std::set<std::string> filed;  ///< variables
    bool noDataReported = false;
  };
  using GetTrigger = std::string (_SummitConfig::*)(std::int16_t) const;

  /// Ends the turn that there was.
  Turn TakeTurn();
  /// Whether the turn goes on, to be checked after every call of an object that may be a client's.
  /// If it does not, the next round has already been scheduled.
  bool Holds(const Turn& turn);
  bool Attempt(const std::function<void()>& work) const;

  void BringPair(ProtocolType former);
  void ConfigurationHasChanged();
  std::shared_ptr<_SummitData> Data() const;
  void OfferAccess();
  bool IsRunning() const;

  // Messages.
  std::string Destination(std::string_view variable) const;
  bool BeginRequest(std::optional<KesMessage>& message, bool write, std::string_view variable,
                    std::uint8_t sequence);
  bool Send(const KesMessage& message);
  void WriteTrigger(const std::string& name, bool value);
  void ReadTrigger(const std::string& name);
  std::vector<std::string> TriggersOf(const Turn& turn, GetTrigger get);
  void ResetTriggers(const Turn& turn);
  void ArmUpdateTriggers(const Turn& turn);
  void ReadUpdateTriggers(const Turn& turn);

  // Arrivals.
  void mvarSocket_DataArrival(std::int32_t bytesTotal);
  void TakeReply(std::string_view bytes);
  void TakePollingReply(std::string_view bytes);
  void TakeReadReply(std::string_view bytes);
  void TakeWriteReply(std::string_view bytes);
  bool Load(std::optional<KesMessage>& message, std::string_view bytes);
  static bool Names(const KesMessage& reply, const std::string& variable);
  void FilePolledReply();
  void FileTriggerReply();

  // The round.
  void BeginRound(const Turn& turn);
  void PollNextTag(const Turn& turn);
  void RequestPolledTag(const Turn& turn, const std::shared_ptr<SDTagInfo>& tag);
  void CompleteRound(const Turn& turn);
  void FailRound();
  void EndRound();
  void ReportNoData();
  void myScaleActivityTimer_TimedOut();
  void myTriggerUpdateTimer_TimedOut();

  std::shared_ptr<ScaleSite> site_;
  std::shared_ptr<_SummitConfig> configuration_;
  std::shared_ptr<SocketControl> mvarSocket;
  std::string nodeName_;

  // One message for each sequence number: polling, single read, write.
  std::optional<KesMessage> pollingMessage_;
  std::optional<KesMessage> readMessage_;
  std::optional<KesMessage> writeMessage_;
  std::shared_ptr<PendingRead> pendingRead_;

  /// The number of the tag that is read next, from 1; 0 between rounds. Wider than a tag's
  /// number, which the last one may exhaust.
  std::int32_t pollingIndex_ = 0;
  std::int16_t triggerReads_ = 0;
  std::vector<std::string> readTriggers_;  ///< asked for and not answered yet
  /// The tag whose reply the round waits for.
  std::shared_ptr<SDTagInfo> polledTag_;
  std::weak_ptr<_SummitData> roundData_;
  bool resetTriggersDue_ = false;
  bool errorInRound_ = false;
  /// The number of the present turn; whatever ends that turn increases it.
  std::uint32_t turn_ = 0;
  Datagram datagram_;

  std::unique_ptr<ActivityTimer> myScaleActivityTimer;
  std::unique_ptr<ActivityTimer> myTriggerUpdateTimer;
  Subscription onActivityTimer_;
  Subscription onTriggerTimer_;
  Subscription onArrival_;
  Subscription onConfigurationChanged_;
};

}  // namespace tarn
