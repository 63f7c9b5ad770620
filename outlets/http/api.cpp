#include "outlets/http/api.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <utility>

#include "base/number_text.hpp"
#include "outlets/http/page_files.hpp"

namespace tarn::http {
namespace {

using Status = CommandResult::Status;

constexpr std::uint64_t kUsualRecords = 100;

/// Whether the path is the pattern's; takes the number of the scale from it.
bool Matches(std::string_view pattern, std::string_view path, int& scale) {
  constexpr std::string_view kScale = "{scale}";
  const auto place = pattern.find(kScale);
  if (place == pattern.npos) return pattern == path;
  if (path.substr(0, place) != pattern.substr(0, place)) return false;
  path.remove_prefix(place);
  const std::string_view number = path.substr(0, path.find('/'));
  if (path.substr(number.size()) != pattern.substr(place + kScale.size())) return false;
  const auto value = ParseNumber(number);
  if (!value || *value == 0 || *value > kScaleCount || number[0] == '0') return false;
  scale = static_cast<int>(*value);
  return true;
}

/// A number of the query; the default where it is missing, nothing where it is none.
std::optional<std::uint64_t> NumberOf(const Request& request, std::string_view name,
                                      std::uint64_t usual) {
  const std::string* text = request.Find(name);
  return text == nullptr ? usual : ParseNumber(*text);
}

std::string RecordCsv(const Weighing& weighing) {
  std::string line = std::to_string(weighing.number) + "," + UtcText(weighing.time) + "," +
                     std::to_string(weighing.scale);
  const Reading& r = weighing.reading;
  for (const std::string& text : {weighing.alias, r.gross, r.tare, r.net, r.units})
    AppendCsv(line, text);
  AppendCsv(line, PrintOriginName(weighing.origin));
  AppendCsv(line, FieldsText(weighing.fields));
  return line + "\n";
}

Reply RecordsReply(const std::vector<Weighing>& weighings, std::uint64_t latest, bool asCsv) {
  Reply reply;
  if (asCsv) {
    reply.contentType = "text/csv; charset=utf-8";
    reply.body = "number,time,scale,alias,gross,tare,net,unit,origin,fields\n";
    for (const Weighing& weighing : weighings) reply.body += RecordCsv(weighing);
    return reply;
  }
  JsonWriter json(reply.body);
  json.BeginObject().Member("latest", latest).Key("records").BeginArray();
  for (const Weighing& weighing : weighings) WriteWeighing(json, weighing);
  json.EndArray().EndObject();
  return reply;
}

std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += "0123456789abcdef"[byte >> 4U];
    text += "0123456789abcdef"[byte & 15U];
  }
  return text;
}

/// What every reply says to a browser.
void AddCommonHeaders(const Request& request, Reply& reply) {
  auto& headers = reply.headers;
  headers.emplace_back("X-Content-Type-Options", "nosniff");
  headers.emplace_back("Content-Security-Policy", "default-src 'self'; frame-ancestors 'none'");
  headers.emplace_back("Referrer-Policy", "no-referrer");
  headers.emplace_back("Cache-Control", reply.fixedBody.empty() ? "no-store" : "no-cache");
  if (!IsForeignOriginAllowed(*request.rights, request.origin)) return;
  headers.emplace_back("Access-Control-Allow-Origin", request.origin);
  headers.emplace_back("Vary", "Origin");
}

Reply ReplyOf(const CommandResult& result, int scale, std::string_view command) {
  switch (result.status) {
    case Status::Given:
      break;
    case Status::Refused:
      return ErrorReply(409, result.words);
    case Status::Failed:
      return ErrorReply(502, result.words);
    case Status::NoScale:
      return ErrorReply(404, result.words);
  }
  Reply reply;
  JsonWriter json(reply.body);
  json.BeginObject().Member("scale", scale).Member("command", command);
  json.Member("result", "given").EndObject();
  return reply;
}

}  // namespace

Api::Api(Parts parts)
    : parts_(std::move(parts)),
      streams_(parts_.loop, parts_.source, parts_.book),
      startedAt_(parts_.clock()),
      self_(std::make_shared<Api*>(this)) {
  AddPage();
  AddReading();
  AddCommands();
}

void Api::AddPage() {
  for (const PageFile& file : PageFiles()) {
    Add({.method = "GET",
         .path = std::string(file.path),
         .access = Access::Anybody,
         .handler = [&file](const Request&, const Answer& answer) {
           answer({.contentType = file.contentType, .fixedBody = file.bytes});
         }});
  }
}

void Api::AddReading() {
  const auto add = [this](std::string path, std::vector<std::string_view> query, Handler handler) {
    Add({.method = "GET",
         .path = std::move(path),
         .query = std::move(query),
         .handler = std::move(handler)});
  };
  add("/api/server", {},
      [this](const Request& request, const Answer& answer) { ServeServer(request, answer); });
  add("/api/scales", {}, [this](const Request&, const Answer& answer) { ServeScales(answer); });
  add("/api/scales/{scale}", {},
      [this](const Request& request, const Answer& answer) { ServeScale(request.scale, answer); });
  add("/api/scales/{scale}/line", {},
      [this](const Request& request, const Answer& answer) { ServeLine(request.scale, answer); });
  for (const bool asCsv : {false, true}) {
    add(asCsv ? "/api/records.csv" : "/api/records", {"after", "limit"},
        [this, asCsv](const Request& request, const Answer& answer) {
          ServeRecords(request, asCsv, answer);
        });
  }
  add("/api/events", {"scale", "after", "as"},
      [this](const Request& request, const Answer& answer) { ServeEvents(request, answer); });
  routes_.back().isStream = true;
}

void Api::AddCommands() {
  for (const ScaleCommand& command : ScaleCommands()) {
    Add({.method = "POST",
         .path = "/api/scales/{scale}/" + std::string(command.word),
         .handler = [this, &command](const Request& request, const Answer& answer) {
           ServeCommand(request, command, answer);
         }});
  }
}

/// Collects the methods that the path has where it has no such one.
const Api::Route* Api::Find(Request& request, std::string& allowed) const {
  for (const Route& route : routes_) {
    if (!Matches(route.path, request.path, request.scale)) continue;
    const bool answersHead = route.method == "GET" && !route.isStream;
    if (route.method == request.method || (answersHead && request.method == "HEAD")) return &route;
    if (!allowed.empty()) allowed += ", ";
    allowed += route.method;
    if (answersHead) allowed += ", HEAD";
  }
  return nullptr;
}

void Api::Serve(Request request, const Answer& answer) {
  const auto shared = std::make_shared<Request>(std::move(request));
  const Answer completed = [shared, answer](Reply reply) {
    AddCommonHeaders(*shared, reply);
    answer(std::move(reply));
  };
  try {
    Dispatch(*shared, completed);
  } catch (const std::exception& error) {
    completed(ErrorReply(500, error.what()));
  }
}

void Api::Dispatch(Request& request, const Answer& answer) {
  const Rights& rights = *request.rights;
  if (!IsHostAllowed(rights, request.host))
    return answer(ErrorReply(421, "this server does not know itself by the name in 'Host'"));
  if (request.fault == 413) return answer(ErrorReply(413, "a body has 4096 bytes at most"));
  if (request.fault != 0)
    return answer(ErrorReply(request.fault, "the path or a parameter cannot be read"));
  std::string allowed;
  const Route* route = Find(request, allowed);
  if (route == nullptr && allowed.empty()) return answer(ErrorReply(404, "there is no such path"));
  if (route == nullptr && request.method == "OPTIONS")
    return ServePreflight(request, allowed, answer);
  if (route == nullptr) {
    Reply reply = ErrorReply(405, "this path takes " + allowed);
    reply.headers.emplace_back("Allow", allowed);
    return answer(std::move(reply));
  }
  if (route->method != "GET" && !IsOriginAllowed(rights, request))
    return answer(ErrorReply(403, "pages of this origin may not give commands"));
  if (route->access == Access::Reader && !IsTokenRight(rights, request.authorization)) {
    Reply reply = ErrorReply(401, "this needs the header Authorization: Bearer TOKEN");
    reply.headers.emplace_back("WWW-Authenticate", "Bearer");
    return answer(std::move(reply));
  }
  for (const Parameter& parameter : request.query) {
    if (std::find(route->query.begin(), route->query.end(), parameter.name) != route->query.end())
      continue;
    return answer(ErrorReply(400, "this path has no parameter '" + parameter.name + "'"));
  }
  route->handler(request, answer);
}

/// A browser asks before a page of another origin may send a request; without the headers of
/// permission it does not.
void Api::ServePreflight(const Request& request, const std::string& allowed, const Answer& answer) {
  Reply reply{.status = 204};
  reply.headers.emplace_back("Allow", allowed + ", OPTIONS");
  if (IsForeignOriginAllowed(*request.rights, request.origin)) {
    reply.headers.emplace_back("Access-Control-Allow-Methods", allowed);
    reply.headers.emplace_back("Access-Control-Allow-Headers",
                               "Authorization, Content-Type, Last-Event-ID");
    reply.headers.emplace_back("Access-Control-Max-Age", "600");
  }
  answer(std::move(reply));
}

void Api::ServeServer(const Request& request, const Answer& answer) {
  Reply reply;
  JsonWriter json(reply.body);
  json.BeginObject().Member("version", parts_.words.version);
  json.Member("title", parts_.words.title).Key("commands").BeginArray();
  for (const int scale : parts_.source.Scales()) {
    if (request.rights->commands[static_cast<std::size_t>(scale)]) json.Value(scale);
  }
  json.EndArray().Member("time", UtcText(parts_.clock()));
  json.Member("startedAt", UtcText(startedAt_)).EndObject();
  answer(std::move(reply));
}

void Api::ServeScales(const Answer& answer) {
  Reply reply;
  JsonWriter json(reply.body);
  json.BeginArray();
  for (const int scale : parts_.source.Scales()) {
    if (const auto state = parts_.source.State(scale)) WriteWeight(json, *state);
  }
  json.EndArray();
  answer(std::move(reply));
}

void Api::ServeScale(int scale, const Answer& answer) {
  const auto state = parts_.source.State(scale);
  if (!state) return answer(ErrorReply(404, "there is no such scale"));
  answer({.body = WeightJson(*state)});
}

void Api::ServeLine(int scale, const Answer& answer) {
  const auto state = parts_.source.State(scale);
  if (!state) return answer(ErrorReply(404, "there is no such scale"));
  Reply reply;
  JsonWriter json(reply.body);
  json.BeginObject().Member("scale", state->scale).Member("alias", state->alias);
  json.Member("quality", state->reading.quality ? QualityName(*state->reading.quality) : "off");
  json.Member("reason", state->reading.conditionWords);
  json.Member("readingsPerSecond", state->readingsPerSecond);
  json.Key("counters").BeginObject();
  for (const LineCounterRow& row : kLineCounters)
    json.Member(row.name, state->counters.*row.member);
  json.EndObject().Member("lastError", state->lastError);
  json.Member("latestBytes", Hex(parts_.source.LatestBytes(scale))).EndObject();
  answer(std::move(reply));
}

void Api::ServeRecords(const Request& request, bool asCsv, const Answer& answer) {
  const std::uint64_t latest = parts_.book.Latest();
  const auto limit = NumberOf(request, "limit", kUsualRecords);
  if (!limit || *limit == 0 || *limit > kMostRecords)
    return answer(ErrorReply(400, "'limit' must be a number from 1 to 1000"));
  const auto after = NumberOf(request, "after", latest - std::min(latest, *limit));
  if (!after) return answer(ErrorReply(400, "'after' must be the number of a record"));
  parts_.book.Fetch(*after, *limit,
                    [answer, latest, asCsv](const std::vector<Weighing>& weighings) {
                      answer(RecordsReply(weighings, latest, asCsv));
                    });
}

void Api::ServeEvents(const Request& request, const Answer& answer) {
  const auto scale = NumberOf(request, "scale", 0);
  const bool isScale = request.Find("scale") == nullptr || (scale && *scale != 0);
  if (!scale || !isScale || *scale > kScaleCount)
    return answer(ErrorReply(400, "'scale' must be a number from 1 to 32"));
  const std::string* as = request.Find("as");
  if (as != nullptr && *as != "run")
    return answer(ErrorReply(400, "'as' has no other value than 'run'"));
  EventOptions options{.asRun = as != nullptr, .scale = static_cast<int>(*scale)};
  // A browser that connects again sends the header, although its address still has the parameter.
  const std::string* after = request.Find("after");
  const std::string* id = request.lastEventId.empty() ? after : &request.lastEventId;
  if (id != nullptr) options.after = ParseNumber(*id);
  if (id != nullptr && !options.after)
    return answer(ErrorReply(400, "'Last-Event-ID' and 'after' take the number of a record"));
  if (streams_.Readers() >= kMostReaders)
    return answer(ErrorReply(503, "there are too many readers of events"));
  answer({.contentType = "text/event-stream", .events = streams_.Open(options)});
}

/// The command itself is given from the loop and not from here: some wait for the terminal, and
/// serve the loop meanwhile.
void Api::ServeCommand(const Request& request, const ScaleCommand& command, const Answer& answer) {
  const int scale = request.scale;
  AuditLog::Entry entry{request.peer, scale, std::string(command.word), "not allowed"};
  if (!request.rights->commands[static_cast<std::size_t>(scale)]) {
    parts_.audit.AddDenied(entry);
    return answer(ErrorReply(403, "commands to this scale are off: see --http-commands"));
  }
  const CommandBody body =
      ParseCommandBody(request, command.command == OperatorCommand::PresetTare);
  if (!body.fault.empty()) return answer(ErrorReply(400, body.fault));
  if (body.tare != 0) entry.command += " " + GeneralNumberText(body.tare);
  const auto done = [self = std::weak_ptr(self_), entry, word = command.word,
                     answer](const CommandResult& result) mutable {
    const auto api = self.lock();
    if (!api) return;
    entry.result = result.status == Status::Given ? "given" : result.words;
    (*api)->parts_.audit.Add(entry);
    answer(ReplyOf(result, entry.scale, word));
  };
  parts_.loop.Post([self = std::weak_ptr(self_), &command, scale, tare = body.tare, done] {
    if (const auto api = self.lock()) (*api)->parts_.source.Give(scale, command, tare, done);
  });
}

}  // namespace tarn::http
