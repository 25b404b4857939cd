#include "app/reports.h"

#include <chrono>
#include <optional>
#include <string>

#include "app/application.h"
#include "engine/timing_report.h"
#include "platform/clock.h"

namespace tarnwick::app {
namespace {

using std::chrono::milliseconds;

bool runComplete(const Application& app) {
  const engine::DeviceSession& session = app.engine.session;
  const engine::EngineCounters& counters = app.engine.counters;
  const auto blocks = static_cast<int64_t>(counters.hostCount.load() + counters.skippedBlocks.load());
  return app.engine.hostRunning.load() &&
         blocks * session.blockLength >= FramesForSeconds(app.options.seconds, session.sampleRate.load());
}

}  // namespace

std::wstring GrantText(int32_t grant, int32_t value) {
  switch (static_cast<platform::RealtimeGrant>(grant)) {
    case platform::RealtimeGrant::fifo:
      return L"real-time (SCHED_FIFO " + std::to_wstring(value) + L")";
    case platform::RealtimeGrant::nice:
      return L"nice " + std::to_wstring(value);
    case platform::RealtimeGrant::mmcss:
      return L"MMCSS \"Pro Audio\"";
    case platform::RealtimeGrant::none:
      break;
  }
  return L"nothing beyond the usual";
}

void TellGrants(Application& app) {
  const engine::GrantedScheduling& granted = app.engine.granted;
  const std::wstring callback = granted.callback.load() < 0
                                    ? L""
                                    : GrantText(granted.callback.load(), granted.callbackValue.load()) +
                                          L", priority level " + std::to_wstring(granted.callbackPriority.load());
  if (callback != app.told.callbackGrant && !callback.empty()) {
    app.log.add(L"Audio thread scheduling granted: " + callback + L".");
  }
  app.told.callbackGrant = callback;
  const std::wstring workers =
      granted.workers.load() < 0 ? L"" : GrantText(granted.workers.load(), granted.workersValue.load());
  if (workers != app.told.workerGrant && !workers.empty()) {
    app.log.add(L"Worker thread scheduling granted: " + workers + L".");
  }
  app.told.workerGrant = workers;
}

void TellFaults(Application& app) {
  if (!app.told.captureLost && app.device.virtualDevice->captureFramesLost() > 0) {
    app.told.captureLost = true;
    const std::wstring reason = app.device.virtualDevice->captureError();
    app.log.add(L"The capture file is missing audio: " + (reason.empty() ? L"the disk is too slow." : reason));
  }
  if (!app.told.refusedBlocks && app.engine.counters.refusedBlocks.load() > 0) {
    app.told.refusedBlocks = true;
    app.log.add(L"The driver calls from two threads at once; the second call is turned away.");
  }
}

void StartReports(Application& app) {
  app.ui.startTimer(milliseconds(1000), [&app] {
    LookAfterLostDevice(app);
    if (const auto line = engine::TimingReport(app.engine, milliseconds(platform::TickMilliseconds()))) {
      app.log.add(*line);
    }
    TellGrants(app);
    TellFaults(app);
    TellLateBlocks(app, std::chrono::steady_clock::now());
    LookAfterThreads(app);
  });
  app.ui.startTimer(milliseconds(250), [&app] { SaveWhenDue(app); });
  if (app.options.seconds > 0.0) {
    app.ui.startTimer(milliseconds(5), [&app] {
      if (runComplete(app)) {
        BeginShutdown(app);
      }
    });
  }
}

}  // namespace tarnwick::app
