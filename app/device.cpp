#include "app/device.h"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "app/application.h"
#include "platform/audio/audio_back_ends.h"
#include "platform/clock.h"
#include "platform/trace.h"

namespace tarnwick::app {
namespace {

// The virtual device's first block is the host's first, however long the effects take to load.
sound::VirtualOptions virtualOptions(const Options& options, const Preferences& preferences) {
  sound::VirtualOptions device = options.virtualDevice;
  device.held = options.start;
  if (options.seconds > 0.0) {
    device.blockLimit = BlocksForSeconds(options, preferences);
  }
  return device;
}

// Called on a thread of the back end.
void takeNews(Application& app, const std::wstring& reason) {
  {
    const std::lock_guard lock(app.device.newsMutex);
    app.device.news = LostDevice{app.device.sessionNumber.load(), reason};
  }
  app.ui.post([&app] { LookAfterLostDevice(app); });  // should it be turned away, a timer looks as well
}

platform::AudioBackEnd allBackEnds(Application& app, sound::VirtualDevice& virtualDevice) {
  platform::BackEndHooks hooks;
  hooks.log = [&app](const std::wstring& line) { app.ui.post([&app, line] { app.log.add(line); }); };
  hooks.deviceLost = [&app](const std::wstring& reason) { takeNews(app, reason); };
  hooks.xruns = [&app](uint64_t total) {
    const std::lock_guard lock(app.device.newsMutex);
    app.device.late = {total, platform::TimeOfDayText(platform::LocalTimeNow()).substr(0, 8)};
  };
  hooks.waiting = [&app](bool waiting) {
    if (app.surface.waitForDevice) {
      app.surface.waitForDevice(waiting);
    }
  };
  std::vector<platform::AudioBackEnd> all = platform::SystemBackEnds(hooks);
  all.push_back(virtualDevice.backEnd());
  return platform::CombineBackEnds(std::move(all));
}

void* mainWindow(const Application& app) {
  return app.surface.mainWindow ? app.surface.mainWindow() : nullptr;
}

engine::SessionRequest sessionRequest(const Application& app) {
  engine::SessionRequest request;
  request.deviceName = app.device.list.selected;
  request.blockLength = app.preferences.bufferSize;
  request.sampleRate = app.preferences.sampleRate;
  request.systemReference = mainWindow(app);
  return request;
}

// The virtual device plays its file as it is; a file made for another rate sounds wrong, which the user should know.
void tellSourceRate(Application& app) {
  const double rate = app.device.virtualDevice->sourceRate();
  if (app.engine.session.deviceName == sound::kVirtualDriverName && rate > 0.0 && rate != app.preferences.sampleRate) {
    app.log.add(L"The virtual source's sample rate is " + std::to_wstring(std::lround(rate)) + L" Hz, the session's " +
                std::to_wstring(std::lround(app.preferences.sampleRate)) + L" Hz.");
  }
}

// The device's limits count: it may run at another length than the one asked for.
void tellBlockLength(Application& app) {
  const int32_t running = app.engine.session.blockLength;
  if (app.preferences.bufferSize >= 1 && running != app.preferences.bufferSize) {
    app.log.add(L"The device runs at " + std::to_wstring(running) + L" samples a block, not at the requested " +
                std::to_wstring(app.preferences.bufferSize) + L".");
  }
}

}  // namespace

DeviceArea::DeviceArea(Application& app)
    : virtualDevice(std::make_unique<sound::VirtualDevice>(virtualOptions(app.options, app.preferences))),
      backEnd(allBackEnds(app, *virtualDevice)) {}

void RefreshDevices(Application& app) {
  engine::DeviceList& list = app.device.list;
  if (list.selected.empty()) {
    list.selected = app.device.wanted;  // one that was off may be on again
  }
  engine::RefreshDeviceList(app.engine, app.device.backEnd, list, app.preferences.sampleRate, app.host.ui,
                            mainWindow(app));
  app.changed(Changed::state);
}

void SelectDevice(Application& app, const std::wstring& name) {
  app.device.list.selected = name;
  app.device.wanted = name;
  app.changed(Changed::device);
}

bool StartDevice(Application& app, std::wstring* error, bool interactive) {
  if (!app.engine.asioRunning.load()) {
    app.device.sessionNumber.fetch_add(1);
    app.device.toldLate = {};
    const std::lock_guard lock(app.device.newsMutex);
    app.device.late = {};
  }
  const platform::TraceScope trace;
  if (!engine::StartAsio(app.engine, app.device.backEnd, sessionRequest(app), app.host.ui, error, interactive)) {
    app.log.addReasons();
    return false;
  }
  TakeLatencies(app);
  tellBlockLength(app);
  tellSourceRate(app);
  return true;
}

bool StopDevice(Application& app, std::wstring* error, bool interactive) {
  if (!engine::StopAsio(app.engine, app.host.ui, error, interactive)) {
    return false;
  }
  TakeLatencies(app);
  return true;
}

bool OpenDevicePanel(Application& app, std::wstring* error, bool interactive) {
  return engine::OpenControlPanel(app.engine, app.device.backEnd, app.device.list, mainWindow(app), app.host.ui, error,
                                  interactive);
}

void LookAfterLostDevice(Application& app) {
  std::optional<LostDevice> lost;
  {
    const std::lock_guard lock(app.device.newsMutex);
    lost.swap(app.device.news);
  }
  if (!lost || lost->session != app.device.sessionNumber.load() || !app.engine.asioRunning.load()) {
    return;
  }
  app.log.add(L"Audio device lost: " + lost->reason + L" It can be started again once it is back.");
  app.device.lost = true;
  if (app.options.seconds > 0.0) {
    app.ending.exitCode = 1;  // what was to be counted will not come
    BeginShutdown(app);
  } else if (app.engine.hostRunning.load()) {
    StopHost(app);
  }
  CloseLostDevice(app);
}

void CloseLostDevice(Application& app) {
  if (app.device.lost && !app.engine.hostRunning.load()) {
    app.device.lost = false;
    std::wstring error;
    if (!StopDevice(app, &error, false)) {
      app.log.add(error);
    }
  }
}

LateBlocks LateBlocksSoFar(Application& app) {
  const std::lock_guard lock(app.device.newsMutex);
  return app.device.late;
}

void TellLateBlocks(Application& app, std::chrono::steady_clock::time_point now) {
  constexpr std::chrono::seconds kBetween{10};
  ToldLateBlocks& told = app.device.toldLate;
  const uint64_t total = LateBlocksSoFar(app).total;
  if (total <= told.total || (told.at && now - *told.at < kBetween)) {
    return;
  }
  app.log.add(std::to_wstring(total) + (total == 1 ? L" block" : L" blocks") +
              L" came too late since the device was started (xruns); each is a gap in the sound. A longer buffer or " +
              L"fewer instances help.");
  told = {total, now};
}

void PostLatenciesChanged(Application& app) {
  if (!app.device.latenciesPosted.exchange(true) && !app.ui.post(platform::UiMessage::latenciesChanged)) {
    app.device.latenciesPosted.store(false);
  }
}

void TakeLatencies(Application& app) {
  app.device.latenciesPosted.store(false);
  app.device.latencies = engine::ReadLatencies(app.engine.session);
  std::wstring text = engine::LatencyText(app.device.latencies, app.engine.session.sampleRate.load());
  if (app.engine.asioRunning.load() && text != app.device.latencyText) {
    app.log.add(text);
  }
  app.device.latencyText = std::move(text);
  app.changed(Changed::state);
}

int64_t FramesForSeconds(double seconds, double sampleRate) {
  // 1.12 s at 44100 Hz are 49392 frames, of which the product falls short or goes beyond by its rounding alone.
  constexpr double kRounding = 1e-6;
  return static_cast<int64_t>(std::ceil(seconds * sampleRate - kRounding));
}

int64_t BlocksForSeconds(const Options& options, const Preferences& preferences) {
  const int32_t length = engine::ChooseBlockLength(preferences.bufferSize, sound::kShortestVirtualBlock,
                                                   sound::kLongestVirtualBlock, sound::kPreferredVirtualBlock);
  return (FramesForSeconds(options.seconds, preferences.sampleRate) + length - 1) / length;
}

}  // namespace tarnwick::app
