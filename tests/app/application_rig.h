// The application with a recorded surface in place of a console.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "app/application.h"
#include "platform/text.h"
#include "support/test_modules.h"

namespace tarnwick::app {

struct Seen {
  std::vector<std::wstring> log;  // without the stamp
  std::wstring printed;
  std::string faults;

  Surface surface() {
    Surface surface;
    surface.logLine = [this](const std::wstring& line) { log.push_back(line.substr(13)); };
    surface.messageBox = [this](engine::BoxKind, const std::wstring&, const std::wstring& text) {
      log.push_back(L"box: " + text);
    };
    surface.refresh = [] {};
    surface.print = [this](const std::wstring& text) { printed += text; };
    return surface;
  }
};

inline Options runOptions(double seconds) {
  Options options;
  options.plugin = tests::TestModule("gain");
  options.start = true;
  options.seconds = seconds;
  options.virtualDevice.inputs = options.virtualDevice.outputs = 2;
  options.virtualDevice.clock = sound::VirtualClock::fast;
  return options;
}

// An application whose user-interface thread is the test's own.
struct Rig {
  Seen seen;
  Application app;

  explicit Rig(const Options& options = runOptions(0.0)) : app(options, seen.surface()) {
    app.ui.open([this](platform::UiMessage message, intptr_t parameter) { HandleMessage(app, message, parameter); });
    EXPECT_TRUE(app.device.virtualDevice->prepare(nullptr));
    RefreshDevices(app);
  }
  // Requests of other threads so far.
  void runPosted() {
    app.ui.post([this] { app.ui.quit(0); });
    app.ui.run();
  }
  // Runs the loop until `done`; fails when that does not come.
  void runUntil(const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    const auto timer = app.ui.startTimer(std::chrono::milliseconds(5), [&] {
      if (done() || std::chrono::steady_clock::now() > end) {
        app.ui.quit(0);
      }
    });
    app.ui.run();
    app.ui.stopTimer(timer);
    EXPECT_TRUE(done());
  }
  void start(int32_t instances) {
    AddWiredInstances(app, instances);
    std::wstring error;
    ASSERT_TRUE(StartDevice(app, &error, false)) << platform::Utf8FromWide(error);
    ASSERT_TRUE(StartHost(app, &error, false)) << platform::Utf8FromWide(error);
    seen.log.clear();
  }
};

}  // namespace tarnwick::app
