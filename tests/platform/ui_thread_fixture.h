// A user-interface thread of its own for each test.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "platform/ui_thread.h"

namespace tarnwick::platform {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

inline constexpr milliseconds kSoon{800};  // clearly before a send gives up

class UiThreadTest : public ::testing::Test {
 protected:
  ~UiThreadTest() override { stop(); }

  void start() {
    const auto running = std::make_shared<std::promise<void>>();
    loop_ = std::thread([this, running] {
      ui_.open([this](UiMessage number, intptr_t parameter) { received_.emplace_back(number, parameter); });
      UiThread::TimerId timer = 0;
      timer = ui_.startTimer(milliseconds(1), [&] {  // ticks once the loop runs
        ui_.stopTimer(timer);
        running->set_value();
      });
      code_ = ui_.run();
      ui_.close();
    });
    running->get_future().wait();
  }
  void stop() {
    if (loop_.joinable()) {
      ui_.quit(0);
      loop_.join();
    }
  }
  // Returns when everything posted before has run: twice, as messages and work may come from two queues in turn.
  void flush() {
    for (int round = 0; round < 2; ++round) {
      std::promise<void> ran;
      ASSERT_TRUE(ui_.post([&ran] { ran.set_value(); }));
      ran.get_future().wait();
    }
  }
  // Keeps the user-interface thread busy until the promise is set.
  std::promise<void> occupy() {
    std::promise<void> release;
    const auto begun = std::make_shared<std::promise<void>>();
    EXPECT_TRUE(ui_.post([begun, wait = release.get_future().share()] {
      begun->set_value();
      wait.wait();
    }));
    begun->get_future().wait();
    return release;
  }

  UiThread ui_;
  std::thread loop_;
  std::atomic<int> code_{-1};
  std::vector<std::pair<UiMessage, intptr_t>> received_;  // written on the user-interface thread, read after stop()
};

}  // namespace tarnwick::platform
