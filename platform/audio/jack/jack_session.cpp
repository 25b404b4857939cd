#include "platform/audio/jack/jack_session.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

namespace tarnwick::platform {

JackSession::~JackSession() {
  stop();
  for (const std::vector<Port>* ports : {&inputs_, &outputs_}) {
    for (const Port& port : *ports) {
      if (!client_.events().lost()) {
        jack_port_unregister(client_.handle(), port.port);
      }
    }
  }
}

AsioError JackSession::create(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                              const AudioCallbacks& callbacks) {
  blockLength_ = static_cast<uint32_t>(blockLength);
  callbacks_ = callbacks;
  for (int32_t k = 0; k < count; ++k) {
    AudioBufferInfo& info = infos[k];
    const std::string name = (info.isInput ? "in_" : "out_") + std::to_string(info.channelNum + 1);
    jack_port_t* const port = jack_port_register(client_.handle(), name.c_str(), JACK_DEFAULT_AUDIO_TYPE,
                                                 info.isInput ? JackPortIsInput : JackPortIsOutput, 0);
    if (port == nullptr) {
      client_.events().log(L"The JACK server has no room for " + std::to_wstring(count) + L" ports.");
      return ASE_NoMemory;
    }
    (info.isInput ? inputs_ : outputs_).push_back({port, &info});
  }
  samples_.assign((1 + 2 * outputs_.size()) * blockLength_, 0.0f);
  float* next = samples_.data() + blockLength_;
  for (const Port& port : outputs_) {
    for (void*& half : port.info->buffers) {
      half = next;
      next += blockLength_;
    }
  }
  showSilence();
  return jack_set_process_callback(client_.handle(), &JackSession::cycle, this) == 0 ? ASE_OK : ASE_HWMalfunction;
}

// The server's memory is shown to the host in a cycle only.
void JackSession::showSilence() {
  for (const Port& port : inputs_) {
    port.info->buffers[0] = port.info->buffers[1] = samples_.data();
  }
}

AsioError JackSession::start() {
  half_ = 0;
  std::fill(samples_.begin(), samples_.end(), 0.0f);
  if (!client_.events().watch()) {
    return ASE_NoMemory;
  }
  deliver_.store(true);
  active_ = true;
  if (jack_activate(client_.handle()) != 0) {
    stop();
    return ASE_HWMalfunction;
  }
  connect();
  return ASE_OK;
}

void JackSession::connect() {
  int32_t failures = 0;
  for (const bool input : {true, false}) {
    const std::vector<std::string> physical = client_.physicalPorts(input);
    for (const Port& port : input ? inputs_ : outputs_) {
      const auto channel = static_cast<size_t>(port.info->channelNum);
      if (channel >= physical.size()) {
        continue;
      }
      const char* const own = jack_port_name(port.port);
      const char* const device = physical[channel].c_str();
      const int result = jack_connect(client_.handle(), input ? device : own, input ? own : device);
      failures += result != 0 && result != EEXIST ? 1 : 0;
    }
  }
  if (failures > 0) {
    client_.events().log(L"The JACK server refused " + std::to_wstring(failures) + L" connections to the device.");
  }
  // The ports' own latencies would follow later by themselves.
  jack_recompute_total_latencies(client_.handle());
}

void JackSession::stop() {
  if (!active_) {
    return;
  }
  deliver_.store(false, std::memory_order_seq_cst);
  while (inBlock_.load(std::memory_order_seq_cst)) {
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  // Also when the server has gone: it ends the thread that waits for the next cycle.
  jack_deactivate(client_.handle());
  active_ = false;
  showSilence();
  client_.events().unwatch();
}

int32_t JackSession::latency(bool input) const {
  int32_t longest = 0;
  for (const Port& port : input ? inputs_ : outputs_) {
    longest = std::max(longest, JackPortLatency(port.port, input));
  }
  return longest;
}

// On the server's real-time thread. libjack ends that thread by a cancellation that may strike anywhere: held off here,
// because neither the host nor this file's state survives being cut short.
int JackSession::cycle(jack_nframes_t frames, void* self) {
  auto& session = *static_cast<JackSession*>(self);
  int cancelState = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  session.inBlock_.store(true, std::memory_order_seq_cst);
  if (frames != session.blockLength_) {
    session.client_.events().lose(JackLoss::periodChanged, frames, nullptr);
  }
  if (session.deliver_.load(std::memory_order_seq_cst) && !session.client_.events().lost()) {
    session.runBlock(frames);
  } else {
    session.playSilence(frames);
  }
  session.inBlock_.store(false, std::memory_order_seq_cst);
  pthread_setcancelstate(cancelState, nullptr);
  return 0;
}

void JackSession::runBlock(jack_nframes_t frames) {
  const int32_t half = half_;
  half_ = 1 - half;
  const size_t bytes = frames * sizeof(float);
  for (const Port& port : inputs_) {
    port.info->buffers[half] = jack_port_get_buffer(port.port, frames);
  }
  if (!callbacks_.bufferSwitch(callbacks_.context, half, true)) {
    // This half holds an old block, and would for the next one as well.
    for (const Port& port : outputs_) {
      std::memset(port.info->buffers[half], 0, bytes);
    }
  }
  for (const Port& port : outputs_) {
    std::memcpy(jack_port_get_buffer(port.port, frames), port.info->buffers[half], bytes);
  }
}

void JackSession::playSilence(jack_nframes_t frames) {
  for (const Port& port : outputs_) {
    std::memset(jack_port_get_buffer(port.port, frames), 0, frames * sizeof(float));
  }
}

}  // namespace tarnwick::platform
