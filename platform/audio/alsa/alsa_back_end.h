// The ALSA back end: the machine's sound cards, each a driver with the operations of every other.
//
// A device's capture and playback run as one, block for block; a device may have only one of them. The block length is
// the device's period. ASIOInit opens the device, so it fails with ASE_NotPresent while another program has it.
// The log tells which requests the device did not fulfil: another sample rate (sampleRateDidChange follows before the
// first block), periods that are not the block length, and from a run xruns, stalls and suspends, all of which are
// recovered from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/audio/audio_back_ends.h"

namespace tarnwick::platform {

// The directions of a device that are used.
struct AlsaChoice {
  int32_t channels = 0;                   // in each direction; 0 = as many as it has
  std::vector<int32_t> sampleTypes = {};  // in order of preference; empty = float, 32, 24, 16 bits
  bool mapped = true;                     // straight in the device's memory where it allows that
};

struct AlsaDevice {
  std::wstring name = {};       // at most kMaximumDriverName characters
  std::string capturePcm = {};  // ALSA's name; empty = no such direction
  std::string playbackPcm = {};
  int32_t periods = 2;  // blocks that playback holds, 2 or more
  AlsaChoice choice = {};
};

struct AlsaOptions {
  bool hardware = true;                  // the sound cards
  std::vector<AlsaDevice> devices = {};  // listed before them
};

// Silences ALSA's own messages on the standard error stream, for the whole program.
AudioBackEnd AlsaBackEnd(BackEndHooks hooks, AlsaOptions options = {});

}  // namespace tarnwick::platform
