#include "platform/timer_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace tarnwick::platform {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;

// A queue whose clock the test steps by hand; ticks write their name and the time.
struct Bench {
  TimerQueue queue;
  TimerQueue::Time now{};
  std::vector<std::string> log;

  TimerQueue::TimerId start(int interval, const std::string& name) {
    return queue.start(now, milliseconds(interval), [this, name] { note(name); });
  }
  void note(const std::string& name) {
    log.push_back(name + std::to_string(std::chrono::duration_cast<milliseconds>(now.time_since_epoch()).count()));
  }
  void runAt(int time) {
    now = TimerQueue::Time(milliseconds(time));
    while (const auto tick = queue.takeDue(now)) {
      (*tick)();
    }
  }
};

TEST(TimerQueue, KeepsItsBeatWhenCalledLateAndDoesNotCatchUp) {
  Bench bench;
  bench.start(10, "a");
  for (const int time : {0, 9, 10, 19, 23, 29, 30, 75, 76, 79, 80, 1000, 1001}) {
    bench.runAt(time);
  }
  EXPECT_THAT(bench.log, ElementsAre("a10", "a23", "a30", "a75", "a80", "a1000"));
}

TEST(TimerQueue, RunsWhatIsDueLongestFirstAndTellsTheNextInstant) {
  Bench bench;
  EXPECT_FALSE(bench.queue.nextDue());
  bench.start(30, "slow");
  bench.start(20, "fast");
  EXPECT_EQ(bench.queue.nextDue(), TimerQueue::Time(milliseconds(20)));
  bench.runAt(35);
  EXPECT_THAT(bench.log, ElementsAre("fast35", "slow35"));
  EXPECT_EQ(bench.queue.nextDue(), TimerQueue::Time(milliseconds(40)));
}

TEST(TimerQueue, TicksMayStopAndStartTimers) {
  Bench bench;
  TimerQueue::TimerId own = 0;
  TimerQueue::TimerId other = 0;
  own = bench.queue.start(bench.now, milliseconds(10), [&, name = std::string("a long enough name to be allocated ")] {
    bench.queue.stop(own);
    bench.queue.stop(other);
    bench.start(5, "new");
    bench.note(name);  // the tick's own captures are still there
  });
  other = bench.start(10, "other");
  bench.runAt(10);
  bench.queue.stop(own);  // nobody's any more
  bench.runAt(15);
  EXPECT_THAT(bench.log, ElementsAre("a long enough name to be allocated 10", "new15"));
}

TEST(TimerQueue, AnIntervalBelowAMillisecondStillEnds) {
  Bench bench;
  bench.start(0, "zero");
  bench.runAt(3);
  EXPECT_THAT(bench.log, ElementsAre("zero3"));
}

}  // namespace
}  // namespace tarnwick::platform
