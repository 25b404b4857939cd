// Feeds noise to the program on the default JACK server and measures the processor time that it takes a block:
// jack_load_client PID PORTS SECONDS. One noise port goes to each of the program's inputs in_1... in place of the
// device's. It waits two seconds, then measures for SECONDS and prints microseconds a block and the cycles measured.
// The time is that of all of the program's threads, as the kernel's scheduler counts it.
#include <jack/jack.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Feeder {
  std::vector<jack_port_t*> ports;
  std::vector<float> noise;
  std::atomic<int64_t> cycles{0};
};

int cycle(jack_nframes_t frames, void* self) {
  auto& feeder = *static_cast<Feeder*>(self);
  const auto first = static_cast<size_t>(feeder.cycles.fetch_add(1, std::memory_order_relaxed)) * frames;
  for (size_t k = 0; k < feeder.ports.size(); ++k) {
    auto* const out = static_cast<float*>(jack_port_get_buffer(feeder.ports[k], frames));
    for (jack_nframes_t n = 0; n < frames; ++n) {
      out[n] = feeder.noise[(first + 997 * k + n) % feeder.noise.size()];
    }
  }
  return 0;
}

// Nanoseconds that the threads of a process have run.
int64_t runTime(const std::string& pid) {
  int64_t sum = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/" + pid + "/task")) {
    int64_t ran = 0;
    std::ifstream(thread.path() / "schedstat") >> ran;
    sum += ran;
  }
  return sum;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    return 2;
  }
  const std::string pid = argv[1];
  const std::chrono::seconds time(std::atoi(argv[3]));
  Feeder feeder;
  uint32_t random = 1;
  for (int k = 0; k < 48000; ++k) {
    random = random * 1664525 + 1013904223;
    feeder.noise.push_back(static_cast<float>(static_cast<int32_t>(random)) * (0.25f / 2147483648.0f));
  }
  jack_client_t* const client = jack_client_open("load", JackNoStartServer, nullptr);
  if (client == nullptr) {
    return 1;
  }
  const int count = std::atoi(argv[2]);
  for (int k = 1; k <= count; ++k) {
    feeder.ports.push_back(jack_port_register(client, ("noise_" + std::to_string(k)).c_str(), JACK_DEFAULT_AUDIO_TYPE,
                                              JackPortIsOutput, 0));
  }
  jack_set_process_callback(client, &cycle, &feeder);
  if (jack_activate(client) != 0) {
    return 1;
  }
  for (int k = 1; k <= count; ++k) {
    const std::string number = std::to_string(k);
    const std::string input = "tarnwick:in_" + number;
    jack_disconnect(client, ("system:capture_" + number).c_str(), input.c_str());
    if (jack_connect(client, ("load:noise_" + number).c_str(), input.c_str()) != 0) {
      std::fprintf(stderr, "%s cannot be fed\n", input.c_str());
      return 1;
    }
  }
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const int64_t cyclesBefore = feeder.cycles;
  const int64_t before = runTime(pid);
  std::this_thread::sleep_for(time);
  const int64_t ran = runTime(pid) - before;
  const int64_t cycles = feeder.cycles - cyclesBefore;
  std::printf("%.1f %lld\n", static_cast<double>(ran) / 1000.0 / static_cast<double>(cycles),
              static_cast<long long>(cycles));
  jack_client_close(client);
  return 0;
}
