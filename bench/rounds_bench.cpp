// What reading terminal variables costs: diagnosed scales and their terminals in one process and
// one loop, over real sockets of 127.0.9.x.
//
// Usage: bench_rounds SCALES SECONDS
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "connections/ethernet_connection.hpp"
#include "platform/native_host.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/terminal_data.hpp"
#include "tests/support/fake_terminal.hpp"

namespace tarn {
namespace {

constexpr int kVariables = 64;

std::string AddressOf(int number) {
  return "127.0.9." + std::to_string(number);
}

/// Answers every read at once.
class Terminal {
 public:
  Terminal(Host& host, int number) : loop_(host.Loop()), socket_(host.CreateSocket()) {
    socket_->Transport(SocketTransport::Udp);
    socket_->LocalHost(AddressOf(number));
    socket_->Bind(1701);
    onArrival_ = socket_->DataArrival.Subscribe([this](std::int32_t) {
      const Request request(socket_->GetData());
      if (request.name == "cs121") roundBegan = loop_.Now();
      socket_->RemoteHost(socket_->SenderHost());
      socket_->RemotePort(socket_->SenderPort());
      socket_->SendData(
          ReplyOf(request.name, request.header.sequenceNumber, std::string(41, '\0')));
    });
  }

  double roundBegan = 0;

 private:
  MessageLoop& loop_;
  std::shared_ptr<SocketControl> socket_;
  Subscription onArrival_;
};

/// Milliseconds of as many bare round trips as a round has, between two sockets of the loop.
double BareRoundTrips(Host& host) {
  const auto open = [&host](int number) {
    auto socket = host.CreateSocket();
    socket->Transport(SocketTransport::Udp);
    socket->LocalHost(AddressOf(number));
    socket->Bind(0);
    return socket;
  };
  const auto near = open(251);
  const auto far = open(252);
  near->RemoteHost(AddressOf(252));
  near->RemotePort(far->LocalPort());
  far->RemoteHost(AddressOf(251));
  far->RemotePort(near->LocalPort());
  const std::string request(sizeof(RequestMessageStruct), '\0');
  int left = kVariables;
  const auto onFar = far->DataArrival.Subscribe([&](std::int32_t) { far->SendData("reply"); });
  const auto onNear = near->DataArrival.Subscribe([&](std::int32_t) {
    if (--left > 0) near->SendData(request);
  });
  const double before = host.Loop().Now();
  near->SendData(request);
  host.Loop().RunUntil([&] { return left == 0; }, 10000);
  return host.Loop().Now() - before;
}

int Measure(int scales, int seconds) {
  const auto host = CreateNativeHost({});
  const auto site = std::make_shared<ServerSite>(*host);
  std::vector<double> bare;
  for (int i = 0; i < 100; ++i) bare.push_back(BareRoundTrips(*host));
  std::sort(bare.begin(), bare.end());

  std::vector<std::unique_ptr<Terminal>> terminals;
  std::vector<std::shared_ptr<TarnScale>> all;
  std::vector<Subscription> subscriptions;
  std::vector<double> rounds;
  for (int n = 1; n <= scales; ++n) terminals.push_back(std::make_unique<Terminal>(*host, n));
  for (int n = 1; n <= scales; ++n) {
    const auto scale = NewObject<TarnScale>(*site, "TarnScale");
    scale->ScaleNumber(static_cast<std::int16_t>(n));
    const auto ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
    ethernet->IPAddress(AddressOf(n));
    scale->Connection(ethernet);
    scale->Protocol(NewObject<_Protocol>(*site, "SummitProtocol"));
    scale->Protocol()->pType(ProtocolType::ScaleDiagDataType);
    scale->Disabled(false);
    scale->RunScale();
    const auto data = std::dynamic_pointer_cast<TerminalData>(scale->SummitData());
    const Terminal& terminal = *terminals[static_cast<std::size_t>(n - 1)];
    subscriptions.push_back(data->NewDataReady.Subscribe(
        [&, now = &host->Loop()] { rounds.push_back(now->Now() - terminal.roundBegan); }));
    all.push_back(scale);
  }
  const auto idle = [] { return false; };
  host->Loop().RunUntil(idle, 1000);
  rounds.clear();
  const std::clock_t before = std::clock();
  host->Loop().RunUntil(idle, seconds * 1000);
  const double processor = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
  if (rounds.empty()) return EXIT_FAILURE;
  std::sort(rounds.begin(), rounds.end());
  std::printf(
      "%d scales: %.1f rounds/s of %d variables, a round %.2f ms (median; 99 %%: %.2f), "
      "bare round trips %.2f ms, %.1f %% of one core\n",
      scales, static_cast<double>(rounds.size()) / seconds, kVariables, rounds[rounds.size() / 2],
      rounds[rounds.size() * 99 / 100], bare[bare.size() / 2], 100 * processor / seconds);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "Usage: bench_rounds SCALES SECONDS\n");
    return 2;
  }
  return tarn::Measure(std::clamp(std::atoi(argv[1]), 1, 32), std::max(std::atoi(argv[2]), 1));
}
