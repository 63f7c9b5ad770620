#include "tools/tarnsim/shared_data_terminal.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "shareddata/message_layout.hpp"

namespace tarn::sim {
namespace {

constexpr std::uint64_t kVariableStream = 6;  // no other part of the simulation uses it
constexpr std::size_t kWeightWidth = 12;
constexpr std::size_t kUnitsWidth = 3;

/// Returns the part after the node: "/k1/wt101" asks for wt101.
std::string_view VariableName(std::string_view destination) {
  return destination.substr(destination.rfind('/') + 1);
}

std::string ReplyTo(const MessageHeaderStruct& request, std::string_view data) {
  MessageHeaderStruct header = request;
  header.source = request.destination;
  header.destination = request.source;
  header.length = LittleEndian(static_cast<std::uint16_t>(data.size()));
  std::string reply(kMessageHeaderLength, '\0');
  std::memcpy(reply.data(), &header, sizeof(header));
  return reply.append(data);
}

/// Texts end with a 0 byte.
std::string Right(std::string text, std::size_t width) {
  if (text.size() < width) text.insert(0, width - text.size(), ' ');
  return text += '\0';
}

}  // namespace

SharedDataTerminal::SharedDataTerminal(const Options& options, std::unique_ptr<Indicator> indicator)
    : options_(options),
      random_(options.seed, kVariableStream),
      indicator_(std::move(indicator)),
      nextPrint_(options.printEvery) {
  noteSubscription_ =
      indicator_->Noted.Subscribe([this](std::string_view text) { Noted.Raise(text); });
  printSubscription_ =
      indicator_->PrintPressed.Subscribe([this] { printReadsLeft_ = options_.printReads; });
}

void SharedDataTerminal::Tick(double now) {
  now_ = now;
  indicator_->AdvanceTo(now);
  if (options_.printEvery > 0 && now >= nextPrint_) {
    nextPrint_ += options_.printEvery * (std::floor((now - nextPrint_) / options_.printEvery) + 1);
    Press({TerminalCommand::Key::Print});
  }
  std::vector<Waiting> due;
  const auto firstDue =
      std::stable_partition(waiting_.begin(), waiting_.end(),
                            [now](const Waiting& waiting) { return waiting.due > now; });
  std::move(firstDue, waiting_.end(), std::back_inserter(due));
  waiting_.erase(firstDue, waiting_.end());
  for (const Waiting& waiting : due) Raise(waiting.reply, waiting.to);
}

void SharedDataTerminal::Receive(std::string_view datagram, const Peer& from) {
  auto reply = AnswerTo(datagram);
  if (reply && !options_.faults.silent.Holds(now_)) SendThroughFaults(std::move(*reply), from);
}

// --- What is asked ---------------------------------------------------------------------------

std::optional<std::string> SharedDataTerminal::AnswerTo(std::string_view request) {
  if (request.size() < kMessageHeaderLength) {
    Noted.Raise("a request that is too short");
    return std::nullopt;
  }
  const MessageHeaderStruct header = HeaderOf(request);
  const std::string name(VariableName(FieldText(header.destination)));
  const auto found = options_.table.variables.find(name);
  if (found == options_.table.variables.end()) {
    Noted.Raise("no variable " + name);
    return options_.answerUnknown ? std::optional(ReplyTo(header, {})) : std::nullopt;
  }
  Variable& variable = found->second;
  if (variable.behaviour == Variable::Behaviour::Silent) return std::nullopt;
  if (header.command == kReadCommand) return ReplyTo(header, ReadValue(variable));
  if (header.command != kWriteCommand) {
    Noted.Raise("neither a read nor a write of " + name);
    return std::nullopt;
  }
  Noted.Raise("write of " + name);
  WriteValue(variable, request.substr(kMessageHeaderLength, DataLength(header)));
  return ReplyTo(header, {});
}

std::string SharedDataTerminal::ReadValue(Variable& variable) {
  if (variable.behaviour == Variable::Behaviour::Live) return LiveBytes(variable.live);
  if (variable.behaviour == Variable::Behaviour::Press) return std::string(1, '\0');
  return variable.Bytes(now_);
}

void SharedDataTerminal::WriteValue(Variable& variable, std::string_view bytes) {
  if (variable.behaviour == Variable::Behaviour::Live) return;
  if (variable.behaviour != Variable::Behaviour::Press) {
    variable.Write(bytes, now_);
    return;
  }
  if (variable.key == TerminalCommand::Key::PresetTare) {
    if (bytes.size() < sizeof(double)) return;
    const auto tare = FromLittleEndian<double>(bytes);
    if (std::isfinite(tare)) Press({variable.key, tare});
  } else if (!bytes.empty() && bytes.front() != '0' && bytes.front() != '\0') {
    Press({variable.key});
  }
}

/// In the status, bit 0 of the first byte is motion. In the second byte, bit 1 is a valid weight
/// and bit 4 the print key.
std::string SharedDataTerminal::LiveBytes(LiveValue value) {
  const Reading& reading = indicator_->Present();
  switch (value) {
    case LiveValue::Status: {
      const bool print = printReadsLeft_ > 0;
      if (print) --printReadsLeft_;
      std::string status(3, '\0');
      status[0] = static_cast<char>(reading.motion ? 0x01 : 0x00);
      status[1] = static_cast<char>((reading.OutOfRange() ? 0x00 : 0x02) | (print ? 0x10 : 0x00));
      return status;
    }
    case LiveValue::Gross:
      return Right(options_.graduation.Text(reading.gross), kWeightWidth);
    case LiveValue::Net:
      return Right(options_.graduation.Text(reading.Displayed()), kWeightWidth);
    case LiveValue::Tare:
      return Right(options_.graduation.Text(reading.tare), kWeightWidth);
    case LiveValue::Units:
      break;
  }
  std::string units(UnitsText(options_.units));
  units.resize(kUnitsWidth, ' ');
  return units += '\0';
}

// --- What goes wrong on the way --------------------------------------------------------------

void SharedDataTerminal::SendThroughFaults(std::string reply, const Peer& to) {
  const ReplyFaults& faults = options_.faults;
  if (random_.Chance(faults.lost)) return;
  if (random_.Chance(faults.foreign)) {
    std::string foreign = reply;
    foreign.replace(offsetof(MessageHeaderStruct, source), 10, std::string_view("/zz/other\0", 10));
    Send(std::move(foreign), to);
  }
  if (random_.Chance(faults.malformed)) reply = Spoilt(std::move(reply));
  if (random_.Chance(faults.doubled)) Send(reply, to);
  if (random_.Chance(faults.late))
    Queue({now_ + faults.lateBy, std::move(reply), to, false, false});
  else if (random_.Chance(faults.reordered))
    Queue({now_ + kLongestHold, std::move(reply), to, true, false});
  else if (random_.Chance(faults.joined))
    Queue({now_ + kLongestHold, std::move(reply), to, false, true});
  else
    Send(std::move(reply), to);
}

std::string SharedDataTerminal::Spoilt(std::string reply) {
  switch (random_.Below(3)) {
    case 0:
      reply.resize(random_.Below(reply.size()));
      break;
    case 1:
      reply[offsetof(MessageHeaderStruct, length)] = static_cast<char>(random_.Below(256));
      break;
    default:
      for (char& c : reply) c = static_cast<char>(random_.Below(256));
  }
  return reply;
}

void SharedDataTerminal::Queue(Waiting waiting) {
  if (waiting_.size() < kMostWaiting) waiting_.push_back(std::move(waiting));
}

void SharedDataTerminal::Send(std::string reply, const Peer& to) {
  std::vector<std::string> behind;
  std::erase_if(waiting_, [&](Waiting& waiting) {
    const bool goes = (waiting.heldBack || waiting.joins) && waiting.to.port == to.port &&
                      waiting.to.host == to.host;
    if (goes && waiting.joins) reply.insert(0, waiting.reply);
    if (goes && waiting.heldBack) behind.push_back(std::move(waiting.reply));
    return goes;
  });
  Raise(reply, to);
  for (const std::string& held : behind) Raise(held, to);
}

void SharedDataTerminal::Raise(std::string_view reply, const Peer& to) {
  FrameSent.Raise(reply);
  Answer.Raise(reply, to);
}

}  // namespace tarn::sim
