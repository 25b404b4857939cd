#include "app/shutdown.h"

#include "app/application.h"
#include "app/summary.h"

namespace tarnwick::app {

void BeginShutdown(Application& app) {
  if (app.host.closePending) {
    return;
  }
  app.ending.begun = true;
  app.host.closePending = true;
  TellGrants(app);  // a short run ends before the timer
  StopHost(app);
}

void TakeSummary(Application& app) {
  if (app.options.seconds > 0.0) {
    app.ending.summary = SummaryJson(app.engine);
  }
}

void FinishShutdown(Application& app) {
  std::wstring error;
  if (!StopDevice(app, &error, false)) {
    app.log.add(error);
  }
  TellFaults(app);  // a short run ends before the timer, and what is left of a capture is written only now
  app.ui.quit(app.ending.exitCode);
}

}  // namespace tarnwick::app
