#include "app/device.h"

#include <cmath>

#include "app/shutdown.h"

namespace tarnwick::app {
namespace {

engine::SessionRequest sessionRequest(const Application& app) {
  engine::SessionRequest request;
  request.deviceName = app.devices.selected;
  request.blockLength = app.preferences.bufferSize;
  request.sampleRate = app.preferences.sampleRate;
  request.systemReference = app.surface.mainWindow ? app.surface.mainWindow() : nullptr;
  return request;
}

// The virtual device plays its file as it is; a file made for another rate sounds wrong, which the user should know.
void tellSourceRate(Application& app) {
  const double rate = app.virtualDevice->sourceRate();
  if (app.engine.session.deviceName == sound::kVirtualDriverName && rate > 0.0 && rate != app.preferences.sampleRate) {
    app.log.add(L"The virtual source's sample rate is " + std::to_wstring(std::lround(rate)) + L" Hz, the session's " +
                std::to_wstring(std::lround(app.preferences.sampleRate)) + L" Hz.");
  }
}

// What runs may differ from what was asked for: the device's limits count.
void tellBlockLength(Application& app) {
  const int32_t running = app.engine.session.blockLength;
  if (app.preferences.bufferSize >= 1 && running != app.preferences.bufferSize) {
    app.log.add(L"The device runs at " + std::to_wstring(running) + L" samples a block, not at the requested " +
                std::to_wstring(app.preferences.bufferSize) + L".");
  }
}

}  // namespace

void RefreshDevices(Application& app) {
  void* window = app.surface.mainWindow ? app.surface.mainWindow() : nullptr;
  engine::DeviceList& list = app.devices;
  if (list.selected.empty()) {
    list.selected = app.wantedDevice;  // one that was off may be on again
  }
  engine::RefreshDeviceList(app.engine, app.backEnd, list, app.host.ui, window);
  app.surface.refresh();
}

void SelectDevice(Application& app, const std::wstring& name) {
  app.devices.selected = name;
  app.wantedDevice = name;
}

bool StartDevice(Application& app, std::wstring* error, bool interactive) {
  if (!app.engine.asioRunning.load()) {
    app.sessionNumber.fetch_add(1);
  }
  if (!engine::StartAsio(app.engine, app.backEnd, sessionRequest(app), app.host.ui, error, interactive)) {
    return false;
  }
  ShowLatencies(app);
  tellBlockLength(app);
  tellSourceRate(app);
  return true;
}

void LookAfterLostDevice(Application& app) {
  std::optional<LostDevice> lost;
  {
    const std::lock_guard lock(app.lostDeviceMutex);
    lost.swap(app.lostDevice);
  }
  if (!lost || lost->session != app.sessionNumber.load() || !app.engine.asioRunning.load()) {
    return;
  }
  app.log.add(L"Audio device lost: " + lost->reason + L" It can be started again once it is back.");
  app.deviceLost = true;
  if (app.options.seconds > 0.0) {
    app.exitCode = 1;  // what was to be counted will not come
    BeginShutdown(app);
    return;
  }
  if (app.engine.hostRunning.load()) {
    engine::StopHostAsync(app.host);
  }
  CloseLostDevice(app);
}

void CloseLostDevice(Application& app) {
  if (app.deviceLost && !app.engine.hostRunning.load()) {
    app.deviceLost = false;
    std::wstring error;
    if (!StopDevice(app, &error, false)) {
      app.log.add(error);
    }
  }
}

bool StopDevice(Application& app, std::wstring* error, bool interactive) {
  if (!engine::StopAsio(app.engine, app.host.ui, error, interactive)) {
    return false;
  }
  ShowLatencies(app);
  return true;
}

void ShowLatencies(Application& app) {
  app.latencies = engine::ReadLatencies(app.engine.session);
  std::wstring text = engine::LatencyText(app.latencies, app.engine.session.sampleRate.load());
  if (app.engine.asioRunning.load() && text != app.latencyText) {
    app.log.add(text);
  }
  app.latencyText = std::move(text);
  app.surface.refresh();
}

int64_t FramesForSeconds(double seconds, double sampleRate) {
  // 1.12 s at 44100 Hz are 49392 frames, of which the product falls short or goes beyond by its rounding alone.
  constexpr double kRounding = 1e-6;
  return static_cast<int64_t>(std::ceil(seconds * sampleRate - kRounding));
}

int64_t BlocksForSeconds(const Options& options, const Preferences& preferences) {
  const sound::VirtualOptions& device = options.virtualDevice;
  const int32_t length = engine::ChooseBlockLength(preferences.bufferSize, device.minimumBlock, device.maximumBlock,
                                                   device.preferredBlock);
  return (FramesForSeconds(options.seconds, preferences.sampleRate) + length - 1) / length;
}

}  // namespace tarnwick::app
