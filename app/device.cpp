#include "app/device.h"

#include <cmath>

namespace tarnwick::app {
namespace {

engine::SessionRequest sessionRequest(const Application& app) {
  engine::SessionRequest request;
  request.deviceName = app.devices.selected;
  request.blockLength = app.options.bufferSize;
  request.sampleRate = app.options.sampleRate;
  return request;
}

// The virtual device plays its file as it is; a file made for another rate sounds wrong, which the user should know.
void tellSourceRate(Application& app) {
  const double rate = app.virtualDevice->sourceRate();
  if (app.engine.session.deviceName == platform::kVirtualDriverName && rate > 0.0 && rate != app.options.sampleRate) {
    app.log.add(L"The virtual source's sample rate is " + std::to_wstring(std::lround(rate)) + L" Hz, the session's " +
                std::to_wstring(std::lround(app.options.sampleRate)) + L" Hz.");
  }
}

}  // namespace

void RefreshDevices(Application& app) {
  engine::RefreshDeviceList(app.engine, app.backEnd, app.devices, app.host.ui);
}

bool StartDevice(Application& app, std::wstring* error, bool interactive) {
  if (!engine::StartAsio(app.engine, app.backEnd, sessionRequest(app), app.host.ui, error, interactive)) {
    return false;
  }
  ShowLatencies(app);
  tellSourceRate(app);
  return true;
}

bool StopDevice(Application& app, std::wstring* error, bool interactive) {
  if (!engine::StopAsio(app.engine, app.host.ui, error, interactive)) {
    return false;
  }
  ShowLatencies(app);
  return true;
}

void ShowLatencies(Application& app) {
  app.latencyText = engine::LatencyText(app.engine.session);
  if (app.engine.asioRunning.load()) {
    app.log.add(app.latencyText);
  }
}

int64_t BlocksForSeconds(const Options& options) {
  const platform::VirtualOptions& device = options.virtualDevice;
  const int32_t length =
      engine::ChooseBlockLength(options.bufferSize, device.minimumBlock, device.maximumBlock, device.preferredBlock);
  return static_cast<int64_t>(std::ceil(options.seconds * options.sampleRate / length));
}

}  // namespace tarnwick::app
