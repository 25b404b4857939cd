#include "app/shutdown.h"

#include "app/device.h"
#include "app/summary.h"

namespace tarnwick::app {

void BeginShutdown(Application& app) {
  if (app.host.closePending) {
    return;
  }
  if (app.options.seconds > 0.0 && app.engine.hostRunning.load()) {
    app.summary = SummaryJson(app.engine);
  }
  app.host.closePending = true;
  engine::StopHostAsync(app.host);
}

void FinishShutdown(Application& app) {
  std::wstring error;
  if (!StopDevice(app, &error, false)) {
    app.log.add(error);
  }
  app.ui.quit(app.exitCode);
}

}  // namespace tarnwick::app
