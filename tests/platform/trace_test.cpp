#include "platform/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace tarnwick::platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Trace, IsHeardFromAllThreadsAndCollectedFromOnesOwn) {
  std::vector<std::pair<TraceKind, std::wstring>> heard;
  SetTraceListener([&](TraceKind kind, std::wstring_view line) { heard.emplace_back(kind, line); });
  {
    const TraceScope outer;
    Trace(L"one");
    {
      const TraceScope inner;
      std::thread([] { Trace(L"elsewhere", TraceKind::fault); }).join();
      Trace(L"two");
      EXPECT_THAT(TraceScope::take(), ElementsAre(L"two"));
    }
    EXPECT_THAT(TraceScope::take(), ElementsAre(L"one", L"two"));
    EXPECT_THAT(TraceScope::take(), IsEmpty()) << "taken";
  }
  Trace(L"three");
  EXPECT_THAT(TraceScope::take(), IsEmpty()) << "no scope";
  SetTraceListener({});
  Trace(L"unheard");
  EXPECT_THAT(heard, ElementsAre(std::pair(TraceKind::detail, L"one"), std::pair(TraceKind::fault, L"elsewhere"),
                                 std::pair(TraceKind::detail, L"two"), std::pair(TraceKind::detail, L"three")));
}

// Who takes the listener away may destroy what it refers to.
TEST(Trace, AListenerThatWasTakenAwayIsNotCalledAnyMore) {
  std::atomic<bool> stop{false};
  std::thread tracer([&] {
    while (!stop) {
      Trace(L"line");
    }
  });
  for (int k = 0; k < 200; ++k) {
    std::atomic<bool> alive{true};
    std::atomic<int> dead{0};
    std::atomic<int> calls{0};
    SetTraceListener([&](TraceKind, std::wstring_view) {
      ++calls;
      std::this_thread::yield();
      dead += alive ? 0 : 1;
    });
    while (calls == 0) {
      std::this_thread::yield();
    }
    SetTraceListener({});
    alive = false;
    EXPECT_EQ(dead, 0);
  }
  stop = true;
  tracer.join();
}

}  // namespace
}  // namespace tarnwick::platform
