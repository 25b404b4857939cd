#include "platform/audio/jack/jack_client.h"

#include <algorithm>
#include <mutex>

namespace tarnwick::platform {
namespace {

constexpr char kClientName[] = "tarnwick";

// Without this a mere look for a server writes several lines to the standard error stream.
void silenceLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    const auto drop = [](const char* /*line*/) {};
    jack_set_error_function(drop);
    jack_set_info_function(drop);
  });
}

}  // namespace

std::unique_ptr<JackClient> JackClient::open(const std::string& serverName, const BackEndHooks& hooks) {
  silenceLibrary();
  jack_status_t status{};
  jack_client_t* const handle =
      serverName.empty()
          ? jack_client_open(kClientName, JackNoStartServer, &status)
          : jack_client_open(kClientName, static_cast<jack_options_t>(JackNoStartServer | JackServerName), &status,
                             serverName.c_str());
  if (handle == nullptr) {
    return nullptr;
  }
  std::unique_ptr<JackClient> client(new JackClient(handle, hooks));
  client->listen();
  return client;
}

JackClient::~JackClient() {
  jack_client_close(handle_);
}

void JackClient::listen() {
  jack_on_info_shutdown(
      handle_,
      [](jack_status_t, const char* reason, void* self) {
        static_cast<JackClient*>(self)->events_.lose(JackLoss::serverEnded, 0, reason);
      },
      this);
  jack_set_buffer_size_callback(
      handle_,
      [](jack_nframes_t period, void* self) {
        auto& client = *static_cast<JackClient*>(self);
        const uint32_t expected = client.expectedPeriod_.load();
        if (expected != 0 && period != expected) {
          client.events_.lose(JackLoss::periodChanged, period, nullptr);
        }
        return 0;
      },
      this);
  jack_set_sample_rate_callback(
      handle_,
      [](jack_nframes_t rate, void* self) {
        auto& client = *static_cast<JackClient*>(self);
        const uint32_t expected = client.expectedRate_.load();
        if (expected != 0 && rate != expected) {
          client.events_.lose(JackLoss::rateChanged, rate, nullptr);
        }
        return 0;
      },
      this);
  jack_set_xrun_callback(
      handle_,
      [](void* self) {
        static_cast<JackClient*>(self)->events_.xrun();
        return 0;
      },
      this);
  jack_set_freewheel_callback(
      handle_,
      [](int starting, void* self) {
        auto& client = *static_cast<JackClient*>(self);
        if (starting != 0 && client.expectedRate_.load() != 0) {
          client.events_.lose(JackLoss::freewheeling, 0, nullptr);
        }
      },
      this);
}

std::vector<std::string> JackClient::physicalPorts(bool capture) const {
  std::vector<std::string> names;
  const unsigned long flags = JackPortIsPhysical | (capture ? JackPortIsOutput : JackPortIsInput);
  const char** ports = jack_get_ports(handle_, nullptr, JACK_DEFAULT_AUDIO_TYPE, flags);
  for (const char** port = ports; port != nullptr && *port != nullptr; ++port) {
    names.emplace_back(*port);
  }
  jack_free(static_cast<void*>(ports));
  return names;
}

int32_t JackClient::physicalLatency(bool capture) const {
  int32_t longest = 0;
  for (const std::string& name : physicalPorts(capture)) {
    longest = std::max(longest, JackPortLatency(jack_port_by_name(handle_, name.c_str()), capture));
  }
  return longest;
}

void JackClient::expect(int32_t period, uint32_t rate) {
  expectedPeriod_.store(static_cast<uint32_t>(period));
  expectedRate_.store(rate);
}

int32_t JackPortLatency(jack_port_t* port, bool capture) {
  jack_latency_range_t range{};
  if (port != nullptr) {
    jack_port_get_latency_range(port, capture ? JackCaptureLatency : JackPlaybackLatency, &range);
  }
  return static_cast<int32_t>(range.max);
}

}  // namespace tarnwick::platform
