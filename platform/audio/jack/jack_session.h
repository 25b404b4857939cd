// The ports and buffers of one session, and the way of a block: the server's cycle hands its inputs to the host and
// takes the host's outputs at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/audio/audio_driver.h"
#include "platform/audio/jack/jack_client.h"

namespace tarnwick::platform {

class JackSession {
 public:
  explicit JackSession(JackClient& client) : client_(client) {}
  JackSession(const JackSession&) = delete;
  JackSession& operator=(const JackSession&) = delete;
  ~JackSession();

  // Registers a port for each channel and fills in its buffers: an output's two halves, and silence for an input, which
  // from the start on is given the server's own memory in each cycle.
  AsioError create(AudioBufferInfo* infos, int32_t count, int32_t blockLength, const AudioCallbacks& callbacks);
  // Joins the server's cycle and connects the ports.
  AsioError start();
  // No callback runs or begins once this has returned. Harmless while stopped.
  void stop();

  bool running() const { return active_; }
  // The longest latency of the session's ports in samples, from or to the device.
  int32_t latency(bool input) const;

 private:
  struct Port {
    jack_port_t* port = nullptr;
    AudioBufferInfo* info = nullptr;  // the host's entry: where it looks for the channel's samples
  };

  static int cycle(jack_nframes_t frames, void* self);
  void runBlock(jack_nframes_t frames);
  void playSilence(jack_nframes_t frames);
  void connect();
  void showSilence();

  JackClient& client_;
  AudioCallbacks callbacks_;
  uint32_t blockLength_ = 0;
  std::vector<Port> inputs_;
  std::vector<Port> outputs_;
  std::vector<float> samples_;  // one block of silence, then both halves of each output
  bool active_ = false;         // in the server's cycle; user-interface thread
  int32_t half_ = 0;            // of the next block; the server's thread

  // A block may go to the host while deliver_ is set; written by the user-interface thread. inBlock_ is written by the
  // server's thread: who clears the first and then sees the second clear has seen the last block.
  std::atomic<bool> deliver_{false};
  std::atomic<bool> inBlock_{false};
};

}  // namespace tarnwick::platform
