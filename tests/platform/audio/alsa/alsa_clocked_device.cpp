// An ALSA plug-in for the tests: a sound card with a clock and no sound. 44.1 kHz, two channels of 16 bits, periods of
// 64, 128, 256 or 512 frames. With `unplug MS` in its configuration it is pulled out MS milliseconds after its start.
#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <new>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kRate = 44100;
constexpr unsigned kFrameBytes = 4;

struct Device {
  snd_pcm_ioplug_t io = {};
  int timer = -1;
  long unplugMilliseconds = -1;
  bool runs = false;
  Clock::time_point begin = Clock::time_point::max();
};

Device& of(snd_pcm_ioplug_t* io) {
  return *static_cast<Device*>(io->private_data);
}

bool pulled(const Device& device) {
  return device.unplugMilliseconds >= 0 && device.begin != Clock::time_point::max() &&
         Clock::now() > device.begin + std::chrono::milliseconds(device.unplugMilliseconds);
}

void setTimer(const Device& device, int64_t nanoseconds) {
  itimerspec time = {};
  time.it_value = time.it_interval = {nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
  timerfd_settime(device.timer, 0, &time, nullptr);
}

int prepare(snd_pcm_ioplug_t* io) {
  return pulled(of(io)) ? -ENODEV : 0;
}

int start(snd_pcm_ioplug_t* io) {
  of(io).begin = Clock::now();
  of(io).runs = true;
  setTimer(of(io), static_cast<int64_t>(io->period_size) * 1'000'000'000 / kRate + 1);
  return 0;
}

int stop(snd_pcm_ioplug_t* io) {
  of(io).runs = false;
  setTimer(of(io), 0);
  return 0;
}

snd_pcm_sframes_t pointer(snd_pcm_ioplug_t* io) {
  if (pulled(of(io))) {
    snd_pcm_ioplug_set_state(io, SND_PCM_STATE_DISCONNECTED);
    return -ENODEV;
  }
  if (!of(io).runs) {
    return 0;
  }
  const auto passed = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - of(io).begin).count();
  const auto frames = static_cast<snd_pcm_uframes_t>(passed * kRate / 1'000'000'000);
  const snd_pcm_uframes_t limit = io->appl_ptr + (io->stream == SND_PCM_STREAM_CAPTURE ? io->buffer_size : 0);
  return frames > limit ? -EPIPE : static_cast<snd_pcm_sframes_t>(frames);
}

int revents(snd_pcm_ioplug_t* io, pollfd* descriptors, unsigned count, unsigned short* events) {
  uint64_t ticks = 0;
  const bool ticked = count == 1 && (descriptors[0].revents & POLLIN) != 0 && read(of(io).timer, &ticks, 8) == 8;
  *events = static_cast<unsigned short>(!ticked ? 0 : io->stream == SND_PCM_STREAM_CAPTURE ? POLLIN : POLLOUT);
  return 0;
}

int closeDevice(snd_pcm_ioplug_t* io) {
  close(of(io).timer);
  delete &of(io);
  return 0;
}

snd_pcm_ioplug_callback_t makeCallbacks() {
  snd_pcm_ioplug_callback_t result = {};
  result.start = &start;
  result.stop = &stop;
  result.pointer = &pointer;
  result.close = &closeDevice;
  result.prepare = &prepare;
  result.poll_revents = &revents;
  return result;
}
const snd_pcm_ioplug_callback_t kCallbacks = makeCallbacks();

void constrain(snd_pcm_ioplug_t* io) {
  const unsigned accesses[] = {SND_PCM_ACCESS_MMAP_INTERLEAVED, SND_PCM_ACCESS_RW_INTERLEAVED};
  const unsigned formats[] = {SND_PCM_FORMAT_S16_LE};
  const unsigned periods[] = {64 * kFrameBytes, 128 * kFrameBytes, 256 * kFrameBytes, 512 * kFrameBytes};
  snd_pcm_ioplug_set_param_list(io, SND_PCM_IOPLUG_HW_ACCESS, 2, accesses);
  snd_pcm_ioplug_set_param_list(io, SND_PCM_IOPLUG_HW_FORMAT, 1, formats);
  snd_pcm_ioplug_set_param_list(io, SND_PCM_IOPLUG_HW_PERIOD_BYTES, 4, periods);
  snd_pcm_ioplug_set_param_minmax(io, SND_PCM_IOPLUG_HW_CHANNELS, 2, 2);
  snd_pcm_ioplug_set_param_minmax(io, SND_PCM_IOPLUG_HW_RATE, kRate, kRate);
  snd_pcm_ioplug_set_param_minmax(io, SND_PCM_IOPLUG_HW_PERIODS, 2, 64);
}

}  // namespace

extern "C" {

SND_PCM_PLUGIN_DEFINE_FUNC(tarnwick_clocked) {
  (void)root;
  auto* device = new (std::nothrow) Device;
  if (!device) {
    return -ENOMEM;
  }
  snd_config_t* unplug = nullptr;
  if (snd_config_search(conf, "unplug", &unplug) >= 0) {
    snd_config_get_integer(unplug, &device->unplugMilliseconds);
  }
  device->timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  device->io.version = SND_PCM_IOPLUG_VERSION;
  device->io.name = "clocked test device";
  device->io.flags = SND_PCM_IOPLUG_FLAG_BOUNDARY_WA;
  device->io.callback = &kCallbacks;
  device->io.private_data = device;
  device->io.poll_fd = device->timer;
  device->io.poll_events = POLLIN;
  device->io.mmap_rw = 1;
  const int error = snd_pcm_ioplug_create(&device->io, name, stream, mode);
  if (error < 0) {
    close(device->timer);
    delete device;
    return error;
  }
  constrain(&device->io);
  *pcmp = device->io.pcm;
  return 0;
}

SND_PCM_PLUGIN_SYMBOL(tarnwick_clocked)
}
