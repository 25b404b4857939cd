// A JACK server of the tests' own, a host for the device, and a second client that looks at both from outside.
#pragma once

#include <fcntl.h>
#include <jack/jack.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "platform/audio/device_host.h"
#include "platform/audio/jack/jack_driver.h"

namespace tarnwick::platform {

using tests::Eventually;

struct ServerShape {
  int rate = 48000;
  int period = 256;
  int captures = 2;
  int playbacks = 2;
};

// `jackd -d dummy` without real-time scheduling, under a name that no other run has.
class JackServer {
 public:
  explicit JackServer(std::string serverName) : name(std::move(serverName)) {}
  JackServer(const JackServer&) = delete;
  JackServer& operator=(const JackServer&) = delete;
  ~JackServer() { end(SIGTERM); }

  // False when the server does not answer within seconds.
  bool begin(const ServerShape& shape) {
    std::vector<std::string> words = {"jackd", "-n", name, "-r", "-d", "dummy"};
    for (const auto& [option, value] :
         {std::pair{"-r", shape.rate}, {"-p", shape.period}, {"-C", shape.captures}, {"-P", shape.playbacks}}) {
      words.insert(words.end(), {option, std::to_string(value)});
    }
    std::vector<char*> arguments;
    std::transform(words.begin(), words.end(), std::back_inserter(arguments), [](std::string& w) { return w.data(); });
    arguments.push_back(nullptr);
    process_ = fork();
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const int nowhere = open("/dev/null", O_RDWR);
      dup2(nowhere, STDOUT_FILENO);
      dup2(nowhere, STDERR_FILENO);
      putenv(const_cast<char*>("JACK_NO_AUDIO_RESERVATION=1"));
      execvp("jackd", arguments.data());
      _exit(127);
    }
    return process_ > 0 && Eventually([this] { return listed(); });
  }
  void end(int signal) {
    if (process_ <= 0) {
      return;
    }
    kill(process_, signal);
    if (!Eventually([this] { return waitpid(process_, nullptr, WNOHANG) == process_; })) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    process_ = 0;
  }
  bool listed() const { return !JackBackEnd({}, {name}).asioGetDriverNames().empty(); }

  const std::string name;

 private:
  pid_t process_ = 0;
};

struct JackHost : DeviceHost {
  explicit JackHost(const std::string& server)
      : DeviceHost([&](const BackEndHooks& hooks) { return JackBackEnd(hooks, {server}); }, JackDeviceName({server})) {}
};

// A client that looks at the server, sends the number of each frame and listens to one port.
class Onlooker {
 public:
  explicit Onlooker(const std::string& server)
      : client(jack_client_open("onlooker", static_cast<jack_options_t>(JackNoStartServer | JackServerName), nullptr,
                                server.c_str())) {
    out_ = jack_port_register(client, "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    in_ = jack_port_register(client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(client, &Onlooker::cycle, this);
    jack_activate(client);
  }
  Onlooker(const Onlooker&) = delete;
  Onlooker& operator=(const Onlooker&) = delete;
  ~Onlooker() { jack_client_close(client); }

  static constexpr int64_t kSilence = INT64_MAX;
  // How many frames ago the number was sent that the port gives: the least of some hundred periods.
  int64_t lagOf(const char* port, int64_t periods = 300) {
    EXPECT_EQ(jack_connect(client, port, "onlooker:in"), 0);
    shortest_ = kSilence;
    const int64_t begin = cycles_;
    EXPECT_TRUE(Eventually([&] { return cycles_ > begin + periods; }));
    jack_disconnect(client, port, "onlooker:in");
    return shortest_;
  }
  std::vector<std::string> connectionsOf(const std::string& port) const {
    std::vector<std::string> names;
    const char** all = jack_port_get_all_connections(client, jack_port_by_name(client, port.c_str()));
    for (const char** name = all; name != nullptr && *name != nullptr; ++name) {
      names.emplace_back(*name);
    }
    jack_free(static_cast<void*>(all));
    return names;
  }
  int32_t latency(const char* port, jack_latency_callback_mode_t mode) const {
    jack_latency_range_t range{};
    jack_port_get_latency_range(jack_port_by_name(client, port), mode, &range);
    return static_cast<int32_t>(range.max);
  }

  jack_client_t* const client;

 private:
  // Both ends of a connection are in this process and share a buffer, which the server's own wake-ups keep in order: a
  // thread sanitizer cannot see those.
  __attribute__((no_sanitize("thread"))) static int cycle(jack_nframes_t frames, void* self) {
    auto& onlooker = *static_cast<Onlooker*>(self);
    auto* const out = static_cast<float*>(jack_port_get_buffer(onlooker.out_, frames));
    const float heard = *static_cast<float*>(jack_port_get_buffer(onlooker.in_, frames));
    if (heard != 0.0f) {
      onlooker.shortest_ = std::min<int64_t>(onlooker.shortest_, onlooker.sent_ - static_cast<int64_t>(heard));
    }
    for (jack_nframes_t k = 0; k < frames; ++k) {
      out[k] = static_cast<float>(onlooker.sent_++);
    }
    onlooker.cycles_ += 1;
    return 0;
  }

  jack_port_t* out_ = nullptr;
  jack_port_t* in_ = nullptr;
  int64_t sent_ = 1;
  std::atomic<int64_t> shortest_{kSilence};
  std::atomic<int64_t> cycles_{0};
};

}  // namespace tarnwick::platform
