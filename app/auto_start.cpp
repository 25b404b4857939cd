#include "app/auto_start.h"

#include "app/application.h"

namespace tarnwick::app {

void AutoStart(Application& app) {
  if (app.preferences.autoStartAsio) {
    app.log.add(L"Auto-start of ASIO.");
    StartDevice(app, nullptr, false);
  }
  if (!app.preferences.autoStartInstances) {
    return;
  }
  if (!app.engine.asioRunning.load()) {
    app.log.add(L"Auto-start instances skipped: ASIO session is not running.");
    return;
  }
  app.log.add(L"Auto-start of the instances.");
  StartHost(app, nullptr, false);
}

}  // namespace tarnwick::app
