#include <csignal>

#include "platform/ui_thread_fixture.h"

namespace tarnwick::platform {
namespace {

UiThread* signalTarget = nullptr;

TEST_F(UiThreadTest, QuitWorksInASignalHandler) {
  signalTarget = &ui_;
  struct sigaction action {};
  struct sigaction old {};
  action.sa_handler = [](int) { signalTarget->quit(9); };
  ASSERT_EQ(sigaction(SIGUSR1, &action, &old), 0);
  start();
  flush();
  pthread_kill(loop_.native_handle(), SIGUSR1);
  loop_.join();
  EXPECT_EQ(code_, 9);
  sigaction(SIGUSR1, &old, nullptr);
}

}  // namespace
}  // namespace tarnwick::platform
