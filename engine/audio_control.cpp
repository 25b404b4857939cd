#include "engine/audio_control.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "engine/engine_callbacks.h"
#include "engine/timing_report.h"
#include "platform/text.h"

namespace tarnwick::engine {
namespace {

using platform::ASE_OK;
using platform::AudioBackEnd;
using platform::AudioDriver;
using platform::AudioInitRequest;
using platform::EqualIgnoringCase;

bool sessionUses(const Engine& engine, const std::wstring& name) {
  return engine.asioRunning.load() && EqualIgnoringCase(engine.session.deviceName, name);
}

bool isOwn(const AudioBackEnd& backEnd, const std::wstring& name) {
  return std::find(backEnd.ownDevices.begin(), backEnd.ownDevices.end(), name) != backEnd.ownDevices.end();
}

bool deviceAnswers(const AudioBackEnd& backEnd, const std::wstring& name, double sampleRate, void* systemReference) {
  const std::unique_ptr<AudioDriver> driver = backEnd.loadAsioDriver(name);
  AudioInitRequest init;
  init.systemReference = systemReference;
  init.sampleRate = sampleRate;
  if (!driver || driver->ASIOInit(init) != ASE_OK) {
    return false;
  }
  driver->ASIOExit();
  return true;
}

// Some drivers answer nothing of use after they have shown their panel; this one answer is clear.
void tellPanel(platform::AsioError result, const HostUi& ui) {
  if (result == platform::ASE_NotPresent) {
    ui.log(L"The device has no control panel.");
  }
}

std::wstring latencyPart(int32_t samples, double rate) {
  if (samples < 0 || !(rate > 1.0)) {
    return L"-";
  }
  wchar_t text[64];
  std::swprintf(text, std::size(text), L"%ld samples (%.2f ms)", static_cast<long>(samples), samples * 1000.0 / rate);
  return text;
}

}  // namespace

void RefreshDeviceList(Engine& engine, const AudioBackEnd& backEnd, DeviceList& list, double sampleRate,
                       const HostUi& ui, void* systemReference) {
  const std::wstring remembered = list.selected;
  list = DeviceList{};
  std::vector<std::wstring> names = backEnd.asioGetDriverNames();
  names.resize(std::min(names.size(), platform::kMaximumDrivers));
  if (names.empty()) {
    list.placeholder = L"(No ASIO drivers found)";
  }
  size_t installed = 0;
  size_t online = 0;
  for (const std::wstring& name : names) {
    const bool answers = sessionUses(engine, name) || deviceAnswers(backEnd, name, sampleRate, systemReference);
    if (answers) {
      list.devices.push_back(name);
    }
    if (!isOwn(backEnd, name)) {
      installed += 1;
      online += answers ? 1 : 0;
    }
  }
  // The program's own device is listed, but is no answer of the machine's.
  if (installed == 0) {
    ui.log(L"No ASIO drivers detected.");
  } else if (online == 0) {
    ui.log(L"No ASIO devices are online (hardware ready). Installed drivers did not open.");
  }
  if (names.empty()) {
    return;
  }
  if (list.devices.empty()) {
    list.placeholder = L"(No online ASIO devices)";
  }
  const auto match = std::find_if(list.devices.begin(), list.devices.end(),
                                  [&](const std::wstring& name) { return EqualIgnoringCase(name, remembered); });
  if (match != list.devices.end()) {
    list.selected = *match;
  } else if (!remembered.empty()) {
    ui.log(L"Saved ASIO device is not available; selection cleared.");
  }
  ui.log(L"Device list refreshed.");
}

bool StartAsio(Engine& engine, const AudioBackEnd& backEnd, const SessionRequest& request, const HostUi& ui,
               std::wstring* error, bool interactive) {
  if (engine.asioRunning.load()) {
    return true;
  }
  SessionHooks hooks;
  hooks.callbacks = EngineCallbacks(engine);
  hooks.log = ui.log;
  hooks.resetTiming = [&engine] { ResetTiming(engine); };
  hooks.prepareMeters = [&engine](int32_t blockLength, double rate) {
    engine.pink.block.assign(static_cast<size_t>(blockLength), 0.0f);
    engine.instanceMeters.prepare(rate, blockLength);
    engine.inputMeters.prepare(rate, blockLength);
    engine.outputMeters.prepare(rate, blockLength);
  };
  std::wstring failure;
  if (!OpenSession(engine.session, backEnd, request, hooks, &failure)) {
    return Refuse(ui, failure, error, interactive, BoxKind::error);
  }
  engine.asioRunning.store(true);
  return true;
}

std::wstring StopAsioRefusal(const Engine& engine, const HostUi& ui) {
  if (!engine.asioRunning.load()) {
    return {};
  }
  return engine.hostRunning.load() ? L"Stop the instance host before stopping ASIO."
         : ui.recordRunning()      ? L"Stop Record before stopping ASIO."
         : ui.playbackRunning()    ? L"Stop Playback before stopping ASIO."
                                   : L"";
}

bool StopAsio(Engine& engine, const HostUi& ui, std::wstring* error, bool interactive) {
  if (!engine.asioRunning.load()) {
    return true;
  }
  const std::wstring refusal = StopAsioRefusal(engine, ui);
  if (!refusal.empty()) {
    return Refuse(ui, refusal, error, interactive, BoxKind::information, L"ASIO");
  }
  engine.asioRunning.store(false);
  if (!CloseSession(engine.session)) {
    ui.log(
        L"The device was closed, but its driver still holds a block of audio and does not return it; its memory stays "
        L"in "
        L"use. The driver is faulty: restart the program when the sound allows.");
  }
  engine.instanceMeters.markStale();
  engine.inputMeters.markStale();
  engine.outputMeters.markStale();
  return true;
}

Latencies ReadLatencies(const DeviceSession& session) {
  Latencies latencies;
  if (!session.started || session.currentDriver->ASIOGetLatencies(latencies.input, latencies.output) != ASE_OK) {
    return {};
  }
  return latencies;
}

std::wstring LatencyText(const Latencies& latencies, double sampleRate) {
  return L"Input Latency : " + latencyPart(latencies.input, sampleRate) + L", Output Latency : " +
         latencyPart(latencies.output, sampleRate);
}

std::wstring LatencyText(const DeviceSession& session) {
  return LatencyText(ReadLatencies(session), session.sampleRate.load());
}

bool OpenControlPanel(Engine& engine, const AudioBackEnd& backEnd, const DeviceList& list, void* systemReference,
                      const HostUi& ui, std::wstring* error, bool interactive) {
  if (list.selected.empty()) {
    return Refuse(ui, L"Select a valid ASIO device.", error, interactive);
  }
  if (sessionUses(engine, list.selected)) {
    tellPanel(engine.session.currentDriver->ASIOControlPanel(), ui);
    return true;
  }
  const std::unique_ptr<AudioDriver> driver = backEnd.loadAsioDriver(list.selected);
  if (!driver) {
    ui.log(L"ASIO loadDriver failed for control panel.");
    return Refuse(ui, L"ASIO loadDriver failed for control panel.", error, interactive, BoxKind::error);
  }
  AudioInitRequest init;
  init.systemReference = systemReference;
  if (driver->ASIOInit(init) != ASE_OK) {
    ui.log(L"ASIOInit failed (control panel).");
    return Refuse(ui, L"ASIOInit failed (control panel).", error, interactive, BoxKind::error);
  }
  tellPanel(driver->ASIOControlPanel(), ui);
  driver->ASIOExit();
  return true;
}

}  // namespace tarnwick::engine
