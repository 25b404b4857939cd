#include "app/auto_start.h"

#include "app/device.h"
#include "app/instances.h"

namespace tarnwick::app {

void AutoStart(Application& app) {
  std::wstring error;
  if (app.preferences.autoStartAsio && !StartDevice(app, &error, false)) {
    app.log.add(L"Auto-start of ASIO failed: " + error);
  }
  if (!app.preferences.autoStartInstances) {
    return;
  }
  if (!app.engine.asioRunning.load()) {
    app.log.add(L"Auto-start instances skipped: ASIO session is not running.");
  } else if (!engine::StartHost(app.host, &error, false)) {
    app.log.add(L"Auto-start of the instances failed: " + error);
  } else {
    TellMissingChannels(app);
  }
}

}  // namespace tarnwick::app
