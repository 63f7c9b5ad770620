// What a broker needs for the weights of many servers: publishers in one thread, each weight with
// its moment inside, and a subscriber in another that looks how old it is when it arrives.
//
// Usage: bench_mqtt PORT BROKER_PID [SERVERS] [SCALES] [RATE] [SECONDS] [SUBSCRIBERS]
//                                        (100 servers, 32 scales, 5 a second, 10 s, 1 subscriber)
#include <mosquitto.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "outlets/scale_state.hpp"

namespace tarn {
namespace {

using Clock = std::chrono::steady_clock;

std::int64_t Microseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch())
      .count();
}

/// Seconds that the process has run on a processor.
double ProcessorTime(const std::string& pid) {
  double nanoseconds = 0;
  std::ifstream("/proc/" + pid + "/schedstat") >> nanoseconds;
  return nanoseconds / 1e9;
}

struct Client {
  explicit Client(const std::string& id, int port) : handle(mosquitto_new(id.c_str(), true, this)) {
    mosquitto_int_option(handle, MOSQ_OPT_TCP_NODELAY, 1);
    if (mosquitto_connect(handle, "127.0.0.1", port, 600) != MOSQ_ERR_SUCCESS) {
      std::fputs("bench_mqtt: no broker at this port\n", stderr);
      std::exit(1);
    }
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { mosquitto_destroy(handle); }

  mosquitto* handle;
};

struct Subscriber : Client {
  Subscriber(const std::string& id, int port) : Client(id, port) {
    mosquitto_message_callback_set(handle, [](mosquitto*, void* self, const mosquitto_message* m) {
      static_cast<Subscriber*>(self)->Take(*m);
    });
    mosquitto_subscribe(handle, nullptr, "bench/#", 0);
    thread = std::thread([this] {
      while (!ending) mosquitto_loop(handle, 100, 1000);
    });
  }
  ~Subscriber() {
    ending = true;
    thread.join();
  }
  /// The moment stands in front of the JSON.
  void Take(const mosquitto_message& message) {
    const std::int64_t sent = std::atoll(static_cast<const char*>(message.payload));
    if (sent != 0) delays.push_back(static_cast<int>(Microseconds() - sent));
  }

  std::vector<int> delays;
  std::atomic<bool> ending = false;
  std::thread thread;
};

ScaleState Weight(int scale) {
  ScaleState state;
  state.scale = scale;
  state.alias = "Line " + std::to_string(scale);
  state.time = std::chrono::system_clock::now();
  state.reading = {.gross = "133.40", .tare = "10.00", .net = "123.40", .units = "kg"};
  state.reading.quality = Quality::Good;
  state.reading.age = 12;
  return state;
}

/// Spreads the weights of a second evenly; returns how many there were.
long Publish(std::vector<std::unique_ptr<Client>>& servers, int scales, double rate,
             double seconds) {
  std::vector<std::string> topics;
  for (std::size_t server = 0; server < servers.size(); ++server) {
    for (int scale = 1; scale <= scales; ++scale) {
      topics.push_back("bench/" + std::to_string(server) + "/" + std::to_string(scale) + "/weight");
    }
  }
  const auto start = Clock::now();
  const double aSecond = static_cast<double>(topics.size()) * rate;
  long count = 0;
  for (double passed = 0; passed < seconds;
       passed = std::chrono::duration<double>(Clock::now() - start).count()) {
    for (; static_cast<double>(count) < passed * aSecond; ++count) {
      const auto place = static_cast<std::size_t>(count) % topics.size();
      const auto scale = static_cast<int>(place) % scales + 1;
      const std::string payload = std::to_string(Microseconds()) + WeightJson(Weight(scale));
      mosquitto_publish(servers[place / static_cast<std::size_t>(scales)]->handle, nullptr,
                        topics[place].c_str(), static_cast<int>(payload.size()), payload.data(), 0,
                        true);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    for (const auto& server : servers) {
      if (mosquitto_want_write(server->handle)) mosquitto_loop_write(server->handle, 1000);
    }
  }
  return count;
}

int Main(const std::vector<std::string>& arguments) {
  const auto number = [&](std::size_t i, double usual) {
    return i < arguments.size() ? std::atof(arguments[i].c_str()) : usual;
  };
  if (arguments.size() < 2) {
    std::fputs("Usage: bench_mqtt PORT BROKER_PID [SERVERS SCALES RATE SECONDS SUBSCRIBERS]\n",
               stderr);
    return 2;
  }
  const int port = std::atoi(arguments[0].c_str());
  mosquitto_lib_init();
  std::vector<std::unique_ptr<Subscriber>> subscribers;
  for (int i = 0; i < static_cast<int>(number(6, 1)); ++i) {
    subscribers.push_back(std::make_unique<Subscriber>("sub" + std::to_string(i), port));
  }
  std::vector<std::unique_ptr<Client>> servers;
  for (int i = 0; i < static_cast<int>(number(2, 100)); ++i) {
    servers.push_back(std::make_unique<Client>("server" + std::to_string(i), port));
    mosquitto_loop(servers.back()->handle, 1000, 1);  // the broker's word of welcome
  }
  const double before = ProcessorTime(arguments[1]);
  const auto start = Clock::now();
  const long count = Publish(servers, static_cast<int>(number(3, 32)), number(4, 5), number(5, 10));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count() - 1;
  const double used = ProcessorTime(arguments[1]) - before;
  std::printf("%ld weights in %.1f s (%.0f a second): broker %.1f %% of a core, %.1f us a weight\n",
              count, seconds, static_cast<double>(count) / seconds, 100 * used / seconds,
              1e6 * used / static_cast<double>(count));
  for (const auto& subscriber : subscribers) {
    subscriber->ending = true;
    subscriber->thread.join();
    subscriber->thread = std::thread([] {});
    std::vector<int>& delays = subscriber->delays;
    if (delays.empty()) continue;
    std::sort(delays.begin(), delays.end());
    const auto at = [&](double part) {
      return static_cast<double>(
                 delays[static_cast<std::size_t>(part * static_cast<double>(delays.size() - 1))]) /
             1000;
    };
    std::printf("%zu arrived; delay median %.2f ms, 99th percentile %.2f ms\n", delays.size(),
                at(0.5), at(0.99));
  }
  return 0;
}

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  return tarn::Main({argv + 1, argv + argc});
}
