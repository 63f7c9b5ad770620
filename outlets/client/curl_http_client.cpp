// Only this file knows libcurl.
#include <curl/curl.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "outlets/client/http_client.hpp"

namespace tarn {
namespace {

constexpr long kReplyTime = 10'000;  // milliseconds
constexpr long kSilenceTime = 45;    // seconds; a server writes something every 15 s

class CurlTransfer;

/// The library tells which sockets it waits for and until when; the loop watches them and calls it.
/// Nothing is handed on inside the library's callbacks, since whoever gets it may end the transfer.
class CurlHttpClient final : public HttpClient {
 public:
  CurlHttpClient(MessageLoop& loop, DescriptorWatcher& descriptors, ServerPlace place);
  ~CurlHttpClient() override { curl_multi_cleanup(multi_); }

  std::unique_ptr<HttpTransfer> Get(const std::string& path, OnReply onReply) override;
  std::unique_ptr<HttpTransfer> Post(const std::string& path, std::string body,
                                     OnReply onReply) override;
  std::unique_ptr<HttpTransfer> Stream(const std::string& path, OnBytes onBytes,
                                       OnReply onEnd) override;

  const ServerPlace& Place() const { return place_; }
  void Add(CURL* easy, CurlTransfer& transfer);
  void Remove(CURL* easy);

 private:
  static int OnSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* own);
  static int OnTimer(CURLM* multi, long milliseconds, void* self);
  void Watch(curl_socket_t socket, int what);
  void Work(curl_socket_t socket, int ready);
  void HandOn();

  DescriptorWatcher& descriptors_;
  ServerPlace place_;
  CURLM* multi_;
  std::map<CURL*, CurlTransfer*> transfers_;
  std::map<curl_socket_t, std::unique_ptr<DescriptorWatch>> watches_;
  std::unique_ptr<Timer> timer_;
  Subscription onTick_;
};

class CurlTransfer final : public HttpTransfer {
 public:
  CurlTransfer(CurlHttpClient& client, const std::string& path)
      : client_(client), easy_(curl_easy_init()) {
    const ServerPlace& place = client.Place();
    Set(CURLOPT_URL, (place.url + path).c_str());
    if (!place.socketPath.empty()) Set(CURLOPT_UNIX_SOCKET_PATH, place.socketPath.c_str());
    if (!place.token.empty()) AddHeader("Authorization: Bearer " + place.token);
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_NOPROXY, "*");  // the scales of a plant are not behind the office's proxy
    Set(CURLOPT_CONNECTTIMEOUT_MS, kReplyTime);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_WRITEFUNCTION, &CurlTransfer::OnWrite);
  }
  ~CurlTransfer() override {
    client_.Remove(easy_);
    curl_easy_cleanup(easy_);
    curl_slist_free_all(headers_);
  }

  template <class Value>
  void Set(CURLoption option, Value value) {
    curl_easy_setopt(easy_, option, value);
  }
  void AddHeader(const std::string& header) {
    headers_ = curl_slist_append(headers_, header.c_str());
  }
  void Begin(HttpClient::OnBytes onBytes, HttpClient::OnReply onReply) {
    onBytes_ = std::move(onBytes);
    onReply_ = std::move(onReply);
    Set(CURLOPT_HTTPHEADER, headers_);
    client_.Add(easy_, *this);
  }

  /// Hands on what a stream has brought. May destroy this.
  void HandOnBytes() {
    if (!onBytes_ || Status() != 200 || received_.empty()) return;
    const std::string bytes = std::exchange(received_, {});
    const HttpClient::OnBytes onBytes = onBytes_;
    onBytes(bytes);
  }
  /// May destroy this.
  void Finish(CURLcode code) {
    HttpReply reply;
    if (code == CURLE_OK)
      reply.status = Status();
    else
      reply.error = curl_easy_strerror(code);
    reply.body = std::move(received_);
    const HttpClient::OnReply onReply = std::move(onReply_);
    onReply(reply);
  }

 private:
  static std::size_t OnWrite(char* bytes, std::size_t size, std::size_t count, void* self) {
    std::string& received = static_cast<CurlTransfer*>(self)->received_;
    // Another number than that of the bytes ends the transfer.
    if (received.size() + size * count > HttpClient::kLongestReply) return 0;
    received.append(bytes, size * count);
    return size * count;
  }
  int Status() const {
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    return static_cast<int>(status);
  }

  CurlHttpClient& client_;
  CURL* easy_;
  curl_slist* headers_ = nullptr;
  HttpClient::OnBytes onBytes_;
  HttpClient::OnReply onReply_;
  std::string received_;
};

CurlHttpClient::CurlHttpClient(MessageLoop& loop, DescriptorWatcher& descriptors, ServerPlace place)
    : descriptors_(descriptors),
      place_(std::move(place)),
      multi_(curl_multi_init()),
      timer_(loop.CreateTimer()) {
  onTick_ = timer_->Tick.Subscribe([this] {
    timer_->Enabled(false);
    Work(CURL_SOCKET_TIMEOUT, 0);
  });
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &CurlHttpClient::OnSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &CurlHttpClient::OnTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
}

void CurlHttpClient::Add(CURL* easy, CurlTransfer& transfer) {
  transfers_.emplace(easy, &transfer);
  curl_multi_add_handle(multi_, easy);  // it asks for the timer
}

void CurlHttpClient::Remove(CURL* easy) {
  transfers_.erase(easy);
  curl_multi_remove_handle(multi_, easy);
}

int CurlHttpClient::OnSocket(CURL* /*easy*/, curl_socket_t socket, int what, void* self,
                             void* /*own*/) {
  static_cast<CurlHttpClient*>(self)->Watch(socket, what);
  return 0;
}

void CurlHttpClient::Watch(curl_socket_t socket, int what) {
  if (what == CURL_POLL_REMOVE) {
    watches_.erase(socket);
    return;
  }
  const bool reading = what != CURL_POLL_OUT;
  const bool writing = what != CURL_POLL_IN;
  if (const auto watch = watches_.find(socket); watch != watches_.end()) {
    watch->second->Want(reading, writing);
    return;
  }
  watches_[socket] = descriptors_.WatchDescriptor(
      socket, reading, writing, [this, socket](bool readable, bool writable) {
        Work(socket, (readable ? CURL_CSELECT_IN : 0) | (writable ? CURL_CSELECT_OUT : 0));
      });
}

int CurlHttpClient::OnTimer(CURLM* /*multi*/, long milliseconds, void* self) {
  Timer& timer = *static_cast<CurlHttpClient*>(self)->timer_;
  timer.Enabled(false);
  if (milliseconds < 0) return 0;
  timer.Interval(static_cast<std::int32_t>(std::clamp(milliseconds, 1L, 3'600'000L)));
  timer.Enabled(true);
  return 0;
}

void CurlHttpClient::Work(curl_socket_t socket, int ready) {
  int running = 0;
  curl_multi_socket_action(multi_, socket, ready, &running);
  HandOn();
}

/// Each call may end any of the transfers.
void CurlHttpClient::HandOn() {
  std::vector<CURL*> known;
  for (const auto& [easy, transfer] : transfers_) known.push_back(easy);
  for (CURL* easy : known) {
    const auto transfer = transfers_.find(easy);
    if (transfer != transfers_.end()) transfer->second->HandOnBytes();
  }
  std::vector<std::pair<CURL*, CURLcode>> ended;
  int waiting = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &waiting)) {
    if (message->msg == CURLMSG_DONE)
      ended.emplace_back(message->easy_handle, message->data.result);
  }
  for (const auto& [easy, code] : ended) {
    const auto transfer = transfers_.find(easy);
    if (transfer != transfers_.end()) transfer->second->Finish(code);
  }
}

std::unique_ptr<HttpTransfer> CurlHttpClient::Get(const std::string& path, OnReply onReply) {
  auto transfer = std::make_unique<CurlTransfer>(*this, path);
  transfer->Set(CURLOPT_TIMEOUT_MS, kReplyTime);
  transfer->Begin({}, std::move(onReply));
  return transfer;
}

std::unique_ptr<HttpTransfer> CurlHttpClient::Post(const std::string& path, std::string body,
                                                   OnReply onReply) {
  auto transfer = std::make_unique<CurlTransfer>(*this, path);
  transfer->Set(CURLOPT_TIMEOUT_MS, kReplyTime);
  transfer->Set(CURLOPT_POST, 1L);
  transfer->Set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  transfer->Set(CURLOPT_COPYPOSTFIELDS, body.c_str());
  transfer->AddHeader("Content-Type: application/json");
  transfer->Begin({}, std::move(onReply));
  return transfer;
}

std::unique_ptr<HttpTransfer> CurlHttpClient::Stream(const std::string& path, OnBytes onBytes,
                                                     OnReply onEnd) {
  auto transfer = std::make_unique<CurlTransfer>(*this, path);
  transfer->Set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  transfer->Set(CURLOPT_LOW_SPEED_TIME, kSilenceTime);
  transfer->AddHeader("Accept: text/event-stream");
  transfer->Begin(std::move(onBytes), std::move(onEnd));
  return transfer;
}

}  // namespace

std::unique_ptr<HttpClient> CreateHttpClient(MessageLoop& loop, DescriptorWatcher* descriptors,
                                             ServerPlace place) {
  if (descriptors == nullptr) return nullptr;
  return std::make_unique<CurlHttpClient>(loop, *descriptors, std::move(place));
}

}  // namespace tarn
