// One connection to the server. libjack writes nothing to the program's streams once the first was tried.
#pragma once

#include <jack/jack.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/audio/jack/jack_events.h"

namespace tarnwick::platform {

// User-interface thread.
class JackClient {
 public:
  // Null when no server answers. An empty name means libjack's default server.
  static std::unique_ptr<JackClient> open(const std::string& serverName, const BackEndHooks& hooks);
  JackClient(const JackClient&) = delete;
  JackClient& operator=(const JackClient&) = delete;
  // Takes no longer when the server has gone.
  ~JackClient();

  jack_client_t* handle() const { return handle_; }
  JackEvents& events() { return events_; }
  const JackEvents& events() const { return events_; }

  int32_t period() const { return static_cast<int32_t>(jack_get_buffer_size(handle_)); }  // samples
  uint32_t rate() const { return jack_get_sample_rate(handle_); }                         // Hz
  // Full names of the server's physical audio ports that bring sound in (capture) or let it out, in its order.
  std::vector<std::string> physicalPorts(bool capture) const;
  // The longest latency of those ports, in samples; 0 without any.
  int32_t physicalLatency(bool capture) const;

  // The session is prepared for these: any other period or rate from now on is a loss.
  void expect(int32_t period, uint32_t rate);

 private:
  JackClient(jack_client_t* handle, const BackEndHooks& hooks) : handle_(handle), events_(hooks) {}
  void listen();

  jack_client_t* const handle_;
  JackEvents events_;
  // Written by the user-interface thread, read by libjack's threads. 0 = nothing expected yet.
  std::atomic<uint32_t> expectedPeriod_{0};
  std::atomic<uint32_t> expectedRate_{0};
};

// The longest latency of a port in samples: for capture from the device to the port, else from the port to the device.
int32_t JackPortLatency(jack_port_t* port, bool capture);

}  // namespace tarnwick::platform
