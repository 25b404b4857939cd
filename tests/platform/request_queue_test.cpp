// The rules of post and send, without a thread that is woken: the test runs what waits, and says when a turn ends.
#include "platform/request_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace tarnwick::platform {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

class RequestQueueTest : public testing::Test {
 protected:
  RequestQueueTest() { queue.open(); }

  RequestQueue::Work noting(int name, bool answer = true) {
    return [this, name, answer] {
      ran.push_back(name);
      return answer;
    };
  }
  static bool never() { return false; }
  // Ends a turn once so many have run.
  auto after(size_t count) {
    return [this, count] { return ran.size() >= count; };
  }
  bool answerOf(const RequestQueue::RequestPointer& request) {
    return queue.await(request, steady_clock::now() + hours(1));
  }

  RequestQueue queue;
  std::vector<int> ran;
};

TEST_F(RequestQueueTest, RunsInOrderAndNoLongerThanItsTurn) {
  for (int k = 0; k < 5; ++k) {
    queue.push(noting(k));
  }
  EXPECT_TRUE(queue.runTurn(after(2)));
  EXPECT_THAT(ran, ElementsAre(0, 1));
  // One that is posted by another waits for the next turn: it would else keep the timers waiting for ever.
  queue.push([this] {
    queue.push(noting(9));
    return true;
  });
  EXPECT_TRUE(queue.runTurn(&never));
  EXPECT_THAT(ran, ElementsAre(0, 1, 2, 3, 4));
  EXPECT_FALSE(queue.runTurn(&never));
  EXPECT_THAT(ran, ElementsAre(0, 1, 2, 3, 4, 9));
}

TEST_F(RequestQueueTest, OneThatOvertakesBringsThoseBeforeItAlong) {
  queue.push(noting(1));
  const auto second = queue.push(noting(2, false));
  const auto third = queue.push(noting(3));
  queue.push(noting(4));
  EXPECT_EQ(queue.runUpTo(third->number, after(1)), std::nullopt) << "its turn is over";
  EXPECT_EQ(queue.runUpTo(third->number, &never), true);
  EXPECT_THAT(ran, ElementsAre(1, 2, 3));
  EXPECT_FALSE(answerOf(second));
  EXPECT_EQ(queue.runUpTo(third->number, &never), false) << "it is gone";
  EXPECT_EQ(queue.size(), 1u);
}

TEST_F(RequestQueueTest, TheAnswerIsThatOfTheWorkAndNoExceptionPasses) {
  const std::pair<RequestQueue::Work, bool> cases[] = {
      {noting(1), true},
      {noting(2, false), false},
      {[]() -> bool { throw std::runtime_error("no"); }, false},
      {[]() -> bool { throw 5; }, false},
      {RequestQueue::Work(), false},
  };
  for (const auto& [work, answer] : cases) {
    const auto request = queue.push(work);
    queue.runFirst();
    EXPECT_EQ(answerOf(request), answer) << &work - &cases[0].first;
  }
}

TEST_F(RequestQueueTest, GivenUpInTimeItNeverRunsGivenUpLateItRunsToItsEnd) {
  auto kept = std::make_shared<int>(0);
  const auto waiting = queue.push([kept] { return true; });
  EXPECT_FALSE(queue.await(waiting, steady_clock::now()));
  EXPECT_EQ(kept.use_count(), 2) << "only the request itself holds it";
  EXPECT_EQ(queue.size(), 0u);
  EXPECT_FALSE(queue.withdraw(waiting));

  std::promise<void> begun;
  std::promise<void> release;
  const auto running = queue.push([&] {
    begun.set_value();
    release.get_future().wait();
    *kept = 1;
    return true;
  });
  std::thread loop([this] { queue.runFirst(); });
  begun.get_future().wait();
  EXPECT_FALSE(queue.withdraw(running));
  EXPECT_FALSE(queue.await(running, steady_clock::now() + milliseconds(1)));
  release.set_value();
  loop.join();
  EXPECT_EQ(*kept, 1);
}

TEST_F(RequestQueueTest, TheEndOfTheWorkAndTheCloseWakeTheirWaiters) {
  const auto first = queue.push(noting(1));
  const auto second = queue.push(noting(2));
  auto kept = std::make_shared<int>(0);
  queue.push([kept] { return true; });
  auto finished = std::async(std::launch::async, [&] { return answerOf(first); });
  auto dropped = std::async(std::launch::async, [&] { return answerOf(second); });
  queue.runFirst();
  EXPECT_TRUE(finished.get());
  queue.close();
  EXPECT_FALSE(dropped.get());
  EXPECT_EQ(kept.use_count(), 1);
  EXPECT_EQ(queue.push(noting(4)), nullptr);
  queue.runFirst();
  queue.open();
  EXPECT_NE(queue.push(noting(5)), nullptr);
  queue.runFirst();
  EXPECT_THAT(ran, ElementsAre(1, 5));
}

TEST_F(RequestQueueTest, TakesSoManyAndNoMore) {
  for (size_t k = 0; k < RequestQueue::kCapacity; ++k) {
    ASSERT_NE(queue.push(noting(0)), nullptr);
  }
  EXPECT_EQ(queue.push(noting(1)), nullptr);
  queue.runFirst();
  EXPECT_NE(queue.push(noting(2)), nullptr);
}

}  // namespace
}  // namespace tarnwick::platform
