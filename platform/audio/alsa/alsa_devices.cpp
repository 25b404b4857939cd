#include "platform/audio/alsa/alsa_devices.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "platform/text.h"

namespace tarnwick::platform {
namespace {

template <typename Type, void (*kFree)(Type*)>
struct Freeing {
  void operator()(Type* object) const { kFree(object); }
};
using CardInfo = std::unique_ptr<snd_ctl_card_info_t, Freeing<snd_ctl_card_info_t, snd_ctl_card_info_free>>;
using PcmInfo = std::unique_ptr<snd_pcm_info_t, Freeing<snd_pcm_info_t, snd_pcm_info_free>>;

struct Closing {
  void operator()(snd_ctl_t* control) const { snd_ctl_close(control); }
};
using Control = std::unique_ptr<snd_ctl_t, Closing>;

// Transfers over USB run ahead of the period's interrupt by up to a packet or two.
constexpr int32_t kUsbPeriods = 3;

CardInfo newCardInfo() {
  snd_ctl_card_info_t* info = nullptr;
  snd_ctl_card_info_malloc(&info);
  return CardInfo(info);
}

PcmInfo newPcmInfo() {
  snd_pcm_info_t* info = nullptr;
  snd_pcm_info_malloc(&info);
  return PcmInfo(info);
}

void addDevices(snd_ctl_t* control, std::vector<AlsaCardDevice>& found) {
  const CardInfo card = newCardInfo();
  const PcmInfo pcm = newPcmInfo();
  if (!card || !pcm || snd_ctl_card_info(control, card.get()) < 0) {
    return;
  }
  int device = -1;
  while (snd_ctl_pcm_next_device(control, &device) >= 0 && device >= 0) {
    AlsaCardDevice entry;
    entry.card = Trimmed(WideFromUtf8(snd_ctl_card_info_get_name(card.get())));
    entry.usb = std::string_view(snd_ctl_card_info_get_driver(card.get())) == "USB-Audio";
    entry.pcm = std::string("hw:CARD=") + snd_ctl_card_info_get_id(card.get()) + ",DEV=" + std::to_string(device);
    snd_pcm_info_set_device(pcm.get(), static_cast<unsigned>(device));
    snd_pcm_info_set_subdevice(pcm.get(), 0);
    for (const snd_pcm_stream_t stream : {SND_PCM_STREAM_CAPTURE, SND_PCM_STREAM_PLAYBACK}) {
      snd_pcm_info_set_stream(pcm.get(), stream);
      if (snd_ctl_pcm_info(control, pcm.get()) >= 0) {
        (stream == SND_PCM_STREAM_CAPTURE ? entry.captures : entry.plays) = true;
        entry.device = Trimmed(WideFromUtf8(snd_pcm_info_get_name(pcm.get())));
      }
    }
    if (entry.captures || entry.plays) {
      found.push_back(std::move(entry));
    }
  }
}

}  // namespace

std::vector<AlsaCardDevice> AlsaCardDevices() {
  std::vector<AlsaCardDevice> found;
  int card = -1;
  while (snd_card_next(&card) >= 0 && card >= 0) {
    snd_ctl_t* opened = nullptr;
    if (snd_ctl_open(&opened, ("hw:" + std::to_string(card)).c_str(), SND_CTL_NONBLOCK | SND_CTL_READONLY) >= 0) {
      const Control control(opened);
      addDevices(opened, found);
    }
  }
  return found;
}

std::vector<AlsaDevice> NameAlsaDevices(const std::vector<AlsaCardDevice>& found,
                                        const std::vector<AlsaDevice>& taken) {
  std::vector<AlsaDevice> named;
  std::vector<std::wstring> names;
  for (const AlsaDevice& device : taken) {
    names.push_back(device.name);
  }
  // By PCM: two cards of one make are two cards of one device each.
  const auto cardOf = [](const AlsaCardDevice& device) { return device.pcm.substr(0, device.pcm.find(',')); };
  for (const AlsaCardDevice& device : found) {
    const auto siblings = std::count_if(found.begin(), found.end(),
                                        [&](const AlsaCardDevice& other) { return cardOf(other) == cardOf(device); });
    std::wstring full = device.card.empty() ? L"Sound card" : device.card;
    if (siblings > 1 && !device.device.empty()) {
      full += L", " + device.device;
    }
    AlsaDevice entry;
    entry.name = DistinctDriverName(full, names);
    names.push_back(entry.name);
    entry.capturePcm = device.captures ? device.pcm : "";
    entry.playbackPcm = device.plays ? device.pcm : "";
    entry.periods = device.usb ? kUsbPeriods : entry.periods;
    named.push_back(std::move(entry));
  }
  return named;
}

}  // namespace tarnwick::platform
