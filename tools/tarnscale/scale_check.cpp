#include "tools/tarnscale/scale_check.hpp"

#include <memory>

#include "connections/ethernet_connection.hpp"
#include "connections/serial_connection.hpp"
#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/show_text.hpp"

namespace tarn::tool {
namespace {

std::string ConnectionWord(ConnectionType type) {
  switch (type) {
    case ConnectionType::serial:
      return "serial";
    case ConnectionType::EtherNet:
      return "ethernet";
    case ConnectionType::arcnet:
      return "arcnet";
    default:
      return "none";
  }
}

class ScaleCheck {
 public:
  ScaleCheck(const ScaleFile& file, int number, const MissingDevice& missingDevice)
      : file_(file), number_(number), missingDevice_(missingDevice) {}

  std::vector<std::string> Run() {
    const auto scale = file_.At(number_);
    if (!scale) {
      Add(kNotRestored);
      return std::move(findings_);
    }
    title_ = ScaleTitle(number_, scale->AliasName());
    const auto connection = scale->Connection();
    const auto protocol = scale->Protocol();
    if (!IsConfigured(*scale, number_) || !connection || !protocol) return {};
    CheckPair(*scale, *connection, *protocol);
    if (const auto network = std::dynamic_pointer_cast<EthernetConnection>(connection))
      CheckAddress(network->IPAddress());
    if (const auto serial = std::dynamic_pointer_cast<SerialConnection>(connection);
        serial && !scale->Disabled()) {
      CheckPort(*serial);
    }
    return std::move(findings_);
  }

 private:
  void Add(const std::string& what) { findings_.push_back(title_ + ": " + what); }

  void CheckPair(const TarnScale& scale, const _Connection& connection, const _Protocol& protocol) {
    const bool isLinked = connection.Ctype() != ConnectionType::none;
    const ProtocolClass family = FamilyOf(protocol.ClassName());
    const bool speaks = WordOf(protocol.ClassName()) != "none";
    if (!scale.Disabled() && !isLinked)
      Add("it is enabled and has no connection: set connection=serial or connection=ethernet");
    if (!scale.Disabled() && !speaks) Add("it is enabled and has no protocol: set protocol=...");
    if (isLinked && !protocol.WorksOver(connection.Ctype())) {
      std::string fitting;
      for (const auto type :
           {ConnectionType::serial, ConnectionType::EtherNet, ConnectionType::arcnet}) {
        if (protocol.WorksOver(type))
          fitting += (fitting.empty() ? "" : " or ") + ConnectionWord(type);
      }
      Add("protocol=" + WordOf(protocol.ClassName()) + " does not work over connection=" +
          ConnectionWord(connection.Ctype()) + ": set connection=" + fitting);
    }
    const bool needsType = speaks && WordsOf(family).size() > 1;
    if (needsType && protocol.pType() == ProtocolType::NoProtType)
      Add("it has no type: set type=" + Joined(WordsOf(family), "|"));
    if (protocol.NeedsCorrectReadings() && !scale.CorrectReadings())
      Add("it will show no weight: with this protocol, type and connection that takes "
          "corrected=yes");
    if (scale.DetectMinimum() > 0) CheckDetection(scale, protocol);
  }

  void CheckDetection(const TarnScale& scale, const _Protocol& protocol) {
    const auto hindrance = protocol.CommandHindrance(OperatorCommand::TakePrint);
    if (!hindrance.empty()) Add("detect-minimum has no effect: " + std::string(hindrance));
    if (scale.DetectRearm() >= scale.DetectMinimum())
      Add("a load near detect-minimum may count twice: set detect-rearm below it, or to 0");
  }

  void CheckAddress(const std::string& address) {
    if (address.empty() || address == "0.0.0.0")
      Add("the terminal has no address: set address=...");
  }

  void CheckPort(const SerialConnection& serial) {
    for (int other = 1; other <= kScaleCount; ++other) {
      const auto scale = other == number_ ? nullptr : file_.At(other);
      if (!scale || scale->Disabled()) continue;
      const auto second = std::dynamic_pointer_cast<SerialConnection>(scale->Connection());
      if (!second || PortName(*second) != PortName(serial)) continue;
      Add(PortName(serial) + " is used by " + ScaleTitle(other, scale->AliasName()) +
          " too; only the first of them will start");
    }
    const std::string missing = missingDevice_(serial.ComPort(), serial.Device());
    if (missing.empty()) return;
    const std::string port = std::to_string(serial.ComPort());
    Add(Printable(missing) +
        " is not there now: plug it in, or name another with device=... or --port " + port +
        "=DEVICE");
  }

  static std::string PortName(const SerialConnection& serial) {
    return serial.Device().empty() ? "COM" + std::to_string(serial.ComPort())
                                   : Printable(serial.Device());
  }

  const ScaleFile& file_;
  int number_;
  const MissingDevice& missingDevice_;
  std::string title_ = ScaleTitle(number_, "");
  std::vector<std::string> findings_;
};

}  // namespace

std::vector<std::string> Findings(const ScaleFile& file, int number,
                                  const MissingDevice& missingDevice) {
  return ScaleCheck(file, number, missingDevice).Run();
}

}  // namespace tarn::tool
