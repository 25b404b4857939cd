// A JACK server of the tests' own, a host for the device, and a second client that looks at both from outside.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <jack/jack.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/jack_driver.h"
#include "support/eventually.h"

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

// A host that copies input k to output k, and keeps what it is told.
class JackHost {
 public:
  explicit JackHost(const std::string& server)
      : backEnd_(JackBackEnd({.log = [this](const std::wstring& line) { keep(lines_, line); },
                              .deviceLost = [this](const std::wstring& reason) { keep(losses_, reason); },
                              .waiting = {},
                              .xruns = [this](uint64_t total) { xruns = total; }},
                             {server})),
        driver_(backEnd_.loadAsioDriver(JackDeviceName({server}))) {}
  AudioDriver* operator->() { return driver_.get(); }
  AudioBackEnd& backEnd() { return backEnd_; }

  AsioError init(double rate = 48000.0) { return driver_->ASIOInit({.sampleRate = rate}); }
  AsioError create() {
    int32_t inputs = 0;
    int32_t outputs = 0;
    driver_->ASIOGetChannels(inputs, outputs);
    int32_t ignored = 0;
    driver_->ASIOGetBufferSize(ignored, ignored, block, ignored);
    std::vector<AudioBufferInfo> asked;
    for (int32_t k = 0; k < inputs + outputs; ++k) {
      asked.push_back({.isInput = k < inputs, .channelNum = k < inputs ? k : k - inputs});
    }
    const AudioCallbacks callbacks{.context = this,
                                   .bufferSwitch = [](void* host, int32_t half, bool) { of(host).process(half); },
                                   .sampleRateDidChange = [](void* host, double rate) { of(host).rateChanged(rate); }};
    const AsioError result =
        driver_->ASIOCreateBuffers(asked.data(), static_cast<int32_t>(asked.size()), block, callbacks);
    if (result == ASE_OK) {
      inputs_ = static_cast<size_t>(inputs);
      infos = asked;
    }
    return result;
  }
  // From loading to the first block.
  void run(double rate = 48000.0) {
    ASSERT_EQ(init(rate), ASE_OK);
    ASSERT_EQ(create(), ASE_OK);
    calls = 0;
    ASSERT_EQ(driver_->ASIOStart(), ASE_OK);
    ASSERT_TRUE(Eventually([this] { return calls > 0; }));
  }
  void close() {
    EXPECT_EQ(driver_->ASIOStop(), ASE_OK);
    EXPECT_EQ(driver_->ASIODisposeBuffers(), ASE_OK);
    EXPECT_EQ(driver_->ASIOExit(), ASE_OK);
  }
  float* input(size_t channel, int32_t half) { return static_cast<float*>(infos[channel].buffers[half]); }
  float* output(size_t channel, int32_t half) { return static_cast<float*>(infos[inputs_ + channel].buffers[half]); }
  // A copy of what was told so far.
  std::vector<std::wstring> lines() { return copy(lines_); }
  std::vector<std::wstring> losses() { return copy(losses_); }

  // In place of the copying, called with the half and the number of blocks before this one.
  std::function<void(int32_t, int64_t)> onBlock;
  std::atomic<int64_t> calls{0};
  std::atomic<int64_t> wrongHalves{0};
  std::atomic<uint64_t> xruns{0};
  std::vector<AudioBufferInfo> infos;
  int32_t block = 0;
  double toldRate = 0.0;  // written before the first block

 private:
  static JackHost& of(void* context) { return *static_cast<JackHost*>(context); }
  void process(int32_t half) {
    const int64_t call = calls;
    wrongHalves += half != call % 2;
    if (onBlock) {
      onBlock(half, call);
    } else {
      for (size_t k = 0; k < inputs_ && inputs_ + k < infos.size(); ++k) {
        std::memcpy(output(k, half), input(k, half), static_cast<size_t>(block) * sizeof(float));
      }
    }
    calls = call + 1;
  }
  void rateChanged(double rate) {
    if (calls == 0) {
      toldRate = rate;
    }
  }
  void keep(std::vector<std::wstring>& where, const std::wstring& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    where.push_back(text);
  }
  std::vector<std::wstring> copy(const std::vector<std::wstring>& from) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return from;
  }

  std::mutex mutex_;
  std::vector<std::wstring> lines_;
  std::vector<std::wstring> losses_;
  AudioBackEnd backEnd_;
  std::unique_ptr<AudioDriver> driver_;
  size_t inputs_ = 0;
};

// A client that sends the number of each frame and notes how many frames ago the one that it hears was sent.
class Prober {
 public:
  explicit Prober(const std::string& server)
      : client(jack_client_open("prober", static_cast<jack_options_t>(JackNoStartServer | JackServerName), nullptr,
                                server.c_str())) {
    out_ = jack_port_register(client, "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    in_ = jack_port_register(client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(client, &Prober::cycle, this);
    jack_activate(client);
  }
  Prober(const Prober&) = delete;
  Prober& operator=(const Prober&) = delete;
  ~Prober() { jack_client_close(client); }

  // Frames of a round trip over these connections, the shortest of some hundred periods.
  int64_t roundTrip(const std::vector<std::pair<const char*, const char*>>& connections) {
    for (const auto& [from, to] : connections) {
      EXPECT_EQ(jack_connect(client, from, to), 0) << from << " to " << to;
    }
    shortest_ = kNever;
    const int64_t begin = cycles_;
    EXPECT_TRUE(Eventually([&] { return cycles_ > begin + 300; }));
    for (const auto& [from, to] : connections) {
      jack_disconnect(client, from, to);
    }
    return shortest_;
  }
  std::vector<std::string> connectionsOf(const char* port) const {
    std::vector<std::string> names;
    const char** all = jack_port_get_all_connections(client, jack_port_by_name(client, port));
    for (const char** name = all; name != nullptr && *name != nullptr; ++name) {
      names.emplace_back(*name);
    }
    jack_free(static_cast<void*>(all));
    return names;
  }

  jack_client_t* const client;

 private:
  static constexpr int64_t kNever = INT64_MAX;
  // Both ends of a connection are in this process and share a buffer, which the server's own wake-ups keep in order: a
  // thread sanitizer cannot see those.
  __attribute__((no_sanitize("thread"))) static int cycle(jack_nframes_t frames, void* self) {
    auto& prober = *static_cast<Prober*>(self);
    auto* const out = static_cast<float*>(jack_port_get_buffer(prober.out_, frames));
    const float heard = *static_cast<float*>(jack_port_get_buffer(prober.in_, frames));
    if (heard > 0.0f) {
      prober.shortest_ = std::min<int64_t>(prober.shortest_, prober.sent_ - static_cast<int64_t>(heard));
    }
    for (jack_nframes_t k = 0; k < frames; ++k) {
      out[k] = static_cast<float>(prober.sent_++);
    }
    ++prober.cycles_;
    return 0;
  }

  jack_port_t* out_ = nullptr;
  jack_port_t* in_ = nullptr;
  int64_t sent_ = 1;
  std::atomic<int64_t> shortest_{kNever};
  std::atomic<int64_t> cycles_{0};
};

}  // namespace tarnwick::platform
