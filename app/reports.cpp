#include "app/reports.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "app/device.h"
#include "app/shutdown.h"
#include "engine/callback.h"
#include "platform/clock.h"

namespace tarnwick::app {
namespace {

using std::chrono::milliseconds;

std::wstring grantText(int32_t grant, int32_t value) {
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

// Tells what the system granted the audio threads whenever it changes.
struct GrantReport {
  int32_t callback = -1;
  int32_t workers = -1;

  void look(Application& app) {
    const engine::GrantedScheduling& granted = app.engine.granted;
    const int32_t nowCallback = granted.callback.load();
    if (nowCallback != callback) {
      callback = nowCallback;
      app.log.add(L"Audio thread scheduling granted: " + grantText(callback, granted.callbackValue.load()) + L".");
    }
    const int32_t nowWorkers = granted.workers.load();
    if (nowWorkers != workers) {
      workers = nowWorkers;
      app.log.add(L"Worker thread scheduling granted: " + grantText(workers, granted.workersValue.load()) + L".");
    }
  }
};

// Tells of captured audio that was lost, and that blocks came twice at a time, once each.
struct FaultReport {
  bool captureLost = false;
  bool refused = false;

  void look(Application& app) {
    if (!captureLost && app.virtualDevice->captureFramesLost() > 0) {
      captureLost = true;
      const std::wstring reason = app.virtualDevice->captureError();
      app.log.add(L"The capture file is missing audio: " + (reason.empty() ? L"the disk is too slow." : reason));
    }
    if (!refused && app.engine.counters.refusedBlocks.load() > 0) {
      refused = true;
      app.log.add(L"The driver calls from two threads at once; the second call is turned away.");
    }
  }
};

bool runComplete(const Application& app) {
  const engine::DeviceSession& session = app.engine.session;
  const auto frames = static_cast<double>(app.engine.counters.callbackCount.load()) * session.blockLength;
  return app.engine.hostRunning.load() && frames >= app.options.seconds * session.sampleRate.load();
}

}  // namespace

void StartReports(Application& app) {
  const auto grants = std::make_shared<GrantReport>();
  const auto faults = std::make_shared<FaultReport>();
  app.ui.startTimer(milliseconds(1000), [&app, grants, faults] {
    if (const auto line = engine::TimingReport(app.engine, platform::TickMilliseconds())) {
      app.log.add(*line);
    }
    grants->look(app);
    faults->look(app);
  });
  if (app.options.seconds > 0.0) {
    app.ui.startTimer(milliseconds(5), [&app] {
      if (runComplete(app)) {
        BeginShutdown(app);
      }
    });
  }
}

}  // namespace tarnwick::app
