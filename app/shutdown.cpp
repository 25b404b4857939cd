#include "app/shutdown.h"

#include "app/device.h"
#include "app/reports.h"
#include "app/summary.h"

namespace tarnwick::app {

void BeginShutdown(Application& app) {
  if (app.host.closePending) {
    return;
  }
  app.closing = true;
  app.host.closePending = true;
  TellGrants(app);  // a short run ends before the timer
  engine::StopHostAsync(app.host);
}

void TakeSummary(Application& app) {
  if (app.options.seconds > 0.0) {
    app.summary = SummaryJson(app.engine);
  }
}

void FinishShutdown(Application& app) {
  std::wstring error;
  if (!StopDevice(app, &error, false)) {
    app.log.add(error);
  }
  TellFaults(app);  // a short run ends before the timer, and what is left of a capture is written only now
  app.ui.quit(app.exitCode);
}

}  // namespace tarnwick::app
