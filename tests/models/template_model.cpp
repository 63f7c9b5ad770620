// Records cut by a template, step by step, beside the protocols over a serial line and over TCP.
#include "protocols/template_protocol.hpp"

#include "tests/models/models.hpp"
#include "tests/models/scale_story.hpp"

namespace tarn {
namespace {

using Config = TarnRecordTemplateConfig;

/// Nothing is found in an empty rest, not even an empty text.
std::size_t Find(const std::string& buffer, const std::string& text, std::size_t from) {
  return from >= buffer.size() ? std::string::npos : buffer.find(text, from);
}

class TemplateModel : public ModelProtocol {
 public:
  explicit TemplateModel(ScaleSide& itsSide)
      : ModelProtocol(itsSide, itsSide.host.ports.empty() ? 19 : 18) {
    Template(NewObject<Config>(*side.site, Config::kClassName));
    if (Type() == 19) config->DemandOutput("\b");
    onTimer_ = timer.TimedOutEvent.Subscribe([this] { RecordTimedOut(); });
    onArrival_ =
        side.Socket().DataArrival.Subscribe([this](std::int32_t bytes) { Arrived(bytes); });
  }

  void Template(std::shared_ptr<Config> newConfig) {
    config = std::move(newConfig);
    onChange_ = config->ConfigChanged.Subscribe([this] { ConfigChanged(); });
  }
  using ModelProtocol::WeightData;
  void WeightData(std::shared_ptr<tarn::WeightData> record) override {
    record->WeightAvailable(false);
    record->ClearWeight();
  }
  using ModelProtocol::TarnRecordTemplateData;
  void TarnRecordTemplateData(std::shared_ptr<tarn::TarnRecordTemplateData> record) override {
    data = std::move(record);
    ConfigChanged();
  }
  void Connect() override {
    TarnScale& scale = *side.scale;
    if (Type() == 18) {
      Prepare(1, 0);
      scale.watchdog(false);
    }
    scale.ActivityTimeoutTime(0);
    scale.UpdateRate(0);
    scale.ActivityLED(false);
    scale.ErrorLED(false);
    recordStarted = false;
    if (Type() == 18) return;
    const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(scale.Connection());
    ethernet->TakeSocket(1, *side.site);
    ethernet->SocketProtocol(0);
    ethernet->LocalPort(0);
    ethernet->RemotePort(1749);
  }
  void P() override {
    const std::string bytes = side.host.locale.ToBytes(config->DemandOutput());
    if (Type() == 18)
      side.Port().Output(bytes);
    else if (side.Socket().State() == SocketState::Connected)
      side.Socket().SendData(bytes);
  }

  std::shared_ptr<Config> config;

 private:
  void ConfigChanged() {
    if (!data) return;
    data->SetNumFields(config->NumFields());
    for (std::int16_t i = 1; i <= 20; ++i) data->SetFieldName(i, config->FieldName(i));
    data->RaiseConfigChanged();
  }
  void Receive() override {
    StartRecord();
    while (side.Port().InBufferCount() > 0) buffer += Input();
    TakeRecord();
  }
  void Arrived(std::int32_t bytes) {
    for (std::int32_t read = 0; read < bytes;) {
      const std::string piece = side.Socket().GetData();
      read += static_cast<std::int32_t>(piece.size());
      buffer += piece;
    }
    const std::string alive = "!!I'm Alive!!";
    for (std::size_t at = 0; (at = buffer.find(alive)) != std::string::npos;) {
      buffer.erase(at, alive.size());
    }
    if (buffer.empty()) return;
    StartRecord();
    TakeRecord();
  }
  void StartRecord() {
    if (recordStarted) return;
    timer.TimeoutTime(config->Timeout());
    recordStarted = true;
  }
  void TakeRecord() {
    std::vector<std::string> fields;
    if (ParseRecord(fields) < 1) return;
    side.scale->ActivityLED(true);
    side.scale->ErrorLED(false);
    timer.TimeoutTime(buffer.empty() ? 0 : config->Timeout());
    if (buffer.empty()) recordStarted = false;
    std::int16_t number = 0;
    for (const std::string& field : fields) data->SetFieldData(++number, Utf8(field));
    data->RaiseNewDataReady();
  }
  void RecordTimedOut() {
    if (side.scale->Disabled()) return;
    buffer = "";
    recordStarted = false;
    side.scale->ActivityLED(false);
    side.scale->ErrorLED(true);
    data->SetTimeoutError();
  }
  int ParseRecord(std::vector<std::string>& fields) {
    const auto bytes = [this](const std::string& text) { return side.host.locale.ToBytes(text); };
    const std::string start = bytes(config->StartString());
    const std::string delimiter = bytes(config->Delimiter());
    const std::string terminator = bytes(config->Terminator());
    std::size_t p = 0;
    if (!start.empty()) {
      p = Find(buffer, start, 0);
      if (p == std::string::npos) return 0;
      p += start.size();
    }
    for (bool last = false; !last;) {
      std::size_t length = delimiter.size();
      std::size_t q = Find(buffer, delimiter, p);
      if (q == std::string::npos && !terminator.empty()) {
        q = Find(buffer, terminator, p);
        length = terminator.size();
        last = true;
      }
      if (q == std::string::npos) return 0;
      fields.push_back(buffer.substr(p, q - p));
      p = q + length;
      last = last || static_cast<int>(fields.size()) == config->NumFields();
    }
    buffer.erase(0, p);
    return static_cast<int>(fields.size());
  }

  std::shared_ptr<tarn::TarnRecordTemplateData> data;
  std::string buffer;
  bool recordStarted = false;
  ActivityTimer timer{side.site->TickTimer()};
  Subscription onTimer_, onArrival_, onChange_;
};

void Watch(ScaleSide& side) {
  const auto data = side.scale->TarnRecordTemplateData();
  const auto state = [data = data.get()] {
    std::string text = std::to_string(data->NumFields()) + (data->NoDataError() ? "!" : "");
    for (const std::string& field : data->FieldDataArray()) text += "|" + field;
    for (const std::string& name : data->FieldNameArray()) text += " " + name;
    return text;
  };
  side.Watch(data->NewDataReady, "NewDataReady", state);
  side.Watch(data->TimeoutError, "TimeoutError", state);
  side.Watch(data->ConfigChanged, "ConfigChanged", state);
}

void Configure(ScaleSide& side, int what, const std::string& text, std::int16_t number) {
  const auto real = std::dynamic_pointer_cast<TemplateProtocol>(side.scale->Protocol());
  const auto model = std::dynamic_pointer_cast<TemplateModel>(side.scale->Protocol());
  const auto config = real ? real->TemplateConfig() : model->config;
  const auto data = side.scale->TarnRecordTemplateData();
  if (what == 0) config->Delimiter(text);
  if (what == 1) config->StartString(text);
  if (what == 2) config->Terminator(text);
  if (what == 3) config->Timeout(number * 300);
  if (what == 4) config->FieldName(7, text);
  if (what == 5) config->DemandOutput(text + "\xC3\xBC");
  if (what >= 6) config->NumFields(number);
  if (what == 7) data->ClearRecord();
  if (what == 8) data->SetNoDataError(number > 1);
  if (what == 9) side.scale->Protocol()->TarnRecordTemplateData(data);
  if (what == 11) side.scale->watchdog(true);
  if (what != 10) return;
  const auto another = NewObject<Config>(*side.site, Config::kClassName);
  real ? real->TemplateConfig(another) : model->Template(another);
}

void PlayRecords(Random& random, bool network) {
  ScaleStory story(random, ".", network ? "EthernetConnection" : "SerialConnection",
                   network ? "KesDemandTemplateProtocol" : "DemandTemplateProtocol",
                   [](ScaleSide& side) { return std::make_shared<TemplateModel>(side); });
  Watch(story.real);
  Watch(story.model);
  const auto configure = [&] {
    static const std::vector<std::string> texts = {",",        ";",  "",   "#", "\r\n",
                                                   "\xC2\xA7", "<<", "ab", "aa"};
    const std::string text = random.OneOf(texts);
    const auto number =
        static_cast<std::int16_t>(random.Chance(90) ? 1 + random.Below(4) : random.Below(60) - 20);
    const int what = random.Below(12);
    story.Do("configure " + std::to_string(what) + text,
             [&](ScaleSide& side) { Configure(side, what, text, number); });
  };
  for (int changes = random.Below(10); changes >= 0; --changes) configure();
  story.Run();
  for (int i = 0; i < 20; ++i) {
    static const std::vector<std::string> pieces = {"1", "a",    "b",  "22", ",",  ",",   ",",
                                                    ";", "\r\n", "\n", "#",  "<<", "\xA7"};
    std::string bytes;
    for (int length = random.Below(12); length >= 0; --length) bytes += random.OneOf(pieces);
    if (network && random.Chance(40)) {
      const std::string alive = "!!I'm Alive!!";
      bytes.insert(random.Size(static_cast<int>(bytes.size())),
                   random.Chance(50) ? alive : alive.substr(0, 8) + alive + alive.substr(8));
      if (random.Chance(30)) bytes = alive;
    }
    if (!network && random.Chance(3)) bytes = random.Noise(60);
    network ? story.Deliver(bytes) : story.DeliverCut(bytes);
    if (random.Chance(30)) story.Any();
    if (random.Chance(15)) configure();
  }
}

}  // namespace

void PlaySerialTemplate(Random& random) {
  PlayRecords(random, false);
}
void PlayNetworkTemplate(Random& random) {
  PlayRecords(random, true);
}

}  // namespace tarn
