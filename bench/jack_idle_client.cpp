// A JACK client that does nothing: how many xruns the default server counts while it is there. It prints "running" when
// it has joined the server's cycle, and the count when told to end.
#include <jack/jack.h>
#include <jack/statistics.h>

#include <atomic>
#include <csignal>
#include <cstdio>

namespace {

std::atomic<int> xruns{0};
std::atomic<int> cycles{0};

}  // namespace

int main() {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  // Before any other thread is made, so that all of them leave the signals to the wait below.
  sigprocmask(SIG_BLOCK, &ends, nullptr);
  jack_client_t* const client = jack_client_open("idle", JackNoStartServer, nullptr);
  if (client == nullptr) {
    return 1;
  }
  const auto cycle = [](jack_nframes_t, void*) {
    cycles.fetch_add(1, std::memory_order_relaxed);
    return 0;
  };
  const auto xrun = [](void*) {
    xruns.fetch_add(1, std::memory_order_relaxed);
    return 0;
  };
  jack_set_process_callback(client, cycle, nullptr);
  jack_set_xrun_callback(client, xrun, nullptr);
  if (jack_activate(client) != 0) {
    jack_client_close(client);
    return 1;
  }
  std::printf("running\n");
  std::fflush(stdout);
  int signal = 0;
  sigwait(&ends, &signal);
  std::printf("%d xruns in %d cycles, longest delay %.0f us\n", xruns.load(), cycles.load(),
              static_cast<double>(jack_get_max_delayed_usecs(client)));
  jack_client_close(client);
  return 0;
}
