#include <algorithm>
#include <stdexcept>

#include "ui_thread_fixture.h"

namespace tarnwick::platform {
namespace {

TEST_F(UiThreadTest, RefusesEverythingAtOnceBeforeOpenAndAfterClose) {
  const auto refusesAll = [this] {
    const auto before = steady_clock::now();
    EXPECT_FALSE(ui_.post(UiMessage::refreshFirst));
    EXPECT_FALSE(ui_.post([] { ADD_FAILURE() << "ran"; }));
    EXPECT_FALSE(ui_.send([] { return true; }));
    EXPECT_LT(steady_clock::now() - before, kSoon);
  };
  refusesAll();
  start();
  EXPECT_TRUE(ui_.send([] { return true; }));
  stop();
  refusesAll();
  start();  // and may be opened again
  EXPECT_TRUE(ui_.send([] { return true; }));
}

TEST_F(UiThreadTest, WakesForEveryPostOfManyThreads) {
  constexpr int kThreads = 3;
  constexpr int kEach = 2000;
  std::atomic<int> ran{0};
  start();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int k = 0; k < kEach; ++k) {
        while (!ui_.post(UiMessage::refreshFirst, k)) {
          std::this_thread::yield();
        }
        while (!ui_.post([&ran] { ++ran; })) {
          std::this_thread::yield();
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  flush();
  stop();
  EXPECT_EQ(ran, kThreads * kEach);
  EXPECT_EQ(received_.size(), size_t{kThreads} * kEach);
}

// The rules of the queue have a test of their own.
TEST_F(UiThreadTest, TakesRequestsAndMessagesWhoseNumberIsLimited) {
  start();
  EXPECT_TRUE(ui_.post([] { throw std::runtime_error("no"); }));
  EXPECT_TRUE(ui_.send([this] { return std::this_thread::get_id() == loop_.get_id(); }));
  EXPECT_TRUE(ui_.send([this] { return ui_.send([this] { return ui_.send([] { return true; }); }); })) << "at once";
  auto release = occupy();
  intptr_t messages = 0;
  while (messages < 100'000 && ui_.post(UiMessage::refreshSecond, messages - 5)) {
    ++messages;
  }
  EXPECT_EQ(messages, 1024);
  const auto before = steady_clock::now();
  EXPECT_FALSE(ui_.send([] { return true; })) << "the thread is busy";
  EXPECT_GE(steady_clock::now() - before, kUiSendTimeout);
  release.set_value();
  flush();
  EXPECT_TRUE(ui_.post(UiMessage::latenciesChanged, 77)) << "room again";
  flush();
  stop();
  ASSERT_EQ(received_.size(), 1025u);
  for (intptr_t k = 0; k < messages; ++k) {
    ASSERT_EQ(received_[static_cast<size_t>(k)], std::pair(UiMessage::refreshSecond, k - 5));
  }
  EXPECT_EQ(received_.back(), std::pair(UiMessage::latenciesChanged, intptr_t{77}));
}

TEST_F(UiThreadTest, CloseFailsThoseThatWaitAtOnceAndDropsWhatWasPosted) {
  start();
  auto release = occupy();
  auto kept = std::make_shared<int>(0);
  auto waiting = std::async(std::launch::async, [&] {
    const bool answer = ui_.send([] { return true; });
    return std::pair(answer, steady_clock::now());
  });
  EXPECT_EQ(waiting.wait_for(milliseconds(50)), std::future_status::timeout);
  EXPECT_TRUE(ui_.post([kept] { ADD_FAILURE() << "ran"; }));
  EXPECT_TRUE(ui_.post(UiMessage::refreshFirst));
  ui_.quit(3);
  const auto before = steady_clock::now();
  release.set_value();
  loop_.join();
  const auto [answer, returned] = waiting.get();
  EXPECT_FALSE(answer);
  EXPECT_LT(returned - before, kSoon);
  EXPECT_EQ(code_, 3);
  EXPECT_EQ(kept.use_count(), 1);
  start();
  flush();
  stop();
  EXPECT_TRUE(received_.empty());
}

TEST_F(UiThreadTest, QuitBeforeRunEndsIt) {
  ui_.open([](UiMessage, intptr_t) {});
  ui_.quit(-7);
  EXPECT_EQ(ui_.run(), -7);
  ui_.post([this] { ui_.quit(8); });
  EXPECT_EQ(ui_.run(), 8) << "the first code is used up";
  ui_.close();
}

TEST_F(UiThreadTest, TimersTickUntilTheyAreStopped) {
  std::vector<steady_clock::time_point> ticks;
  UiThread::TimerId timer = 0;
  ui_.open([](UiMessage, intptr_t) {});
  const auto before = steady_clock::now();
  timer = ui_.startTimer(milliseconds(20), [&] {
    ticks.push_back(steady_clock::now());
    if (ticks.size() == 2) {
      ui_.stopTimer(timer);
      ui_.startTimer(milliseconds(60), [&] { ui_.quit(0); });
    }
  });
  ui_.run();
  ui_.close();
  ASSERT_EQ(ticks.size(), 2u);
  EXPECT_GE(ticks[0] - before, milliseconds(20));
  EXPECT_GE(ticks[1] - before, milliseconds(40));
}

// A flood of messages that never ends, and a backlog of work.
TEST_F(UiThreadTest, AFloodAndABacklogLeaveTheTimersAndEachOtherTheirTurn) {
  constexpr int kWork = 200;
  int done = 0;
  int lastTick = 0;
  int mostBetweenTicks = 0;
  std::vector<int> order;
  const auto slow = [&done] {
    std::this_thread::sleep_for(milliseconds(2));
    ++done;
  };
  ui_.open([&](UiMessage number, intptr_t) {
    slow();
    ui_.post(number);
  });
  EXPECT_TRUE(ui_.post(UiMessage::refreshFirst));
  for (int k = 0; k < kWork; ++k) {
    EXPECT_TRUE(ui_.post([&order, slow, k] {
      order.push_back(k);
      slow();
    }));
  }
  ui_.startTimer(milliseconds(5), [&] {
    mostBetweenTicks = std::max(mostBetweenTicks, done - std::exchange(lastTick, done));
    if (order.size() == kWork) {
      ui_.quit(0);
    }
  });
  // On Windows a sent request comes before all that is posted.
  auto sent = std::async(std::launch::async, [this] { return ui_.send([] { return true; }); });
  ui_.run();
  ui_.close();
  sent.get();
  EXPECT_LT(mostBetweenTicks, 100);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

}  // namespace
}  // namespace tarnwick::platform
