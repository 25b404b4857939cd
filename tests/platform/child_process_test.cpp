#include "platform/child_process.h"

#include <gtest/gtest.h>

#include "platform/service_rig.h"

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
constexpr auto kEnough = 20s;

TEST(ChildProcess, ArgumentsOutputAndCodeComeThrough) {
  const std::string texts[] = {
      "", "two words", "\"quoted\"", "back\\slash\\", "end\\\" \\\\", "$HOME %PATH%", "Stra\u00DFe \U0001F3B5"};
  std::vector<std::string> arguments = {"--child", "echo"};
  std::string expected;
  for (const std::string& text : texts) {
    arguments.push_back(text);
    expected += "[" + text + "]";
  }
  const auto answer = RunOwnProgram(arguments, kEnough);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->exitCode, 7);
  EXPECT_EQ(answer->output, expected + "[stderr]");
}

TEST(ChildProcess, MuchOutputIsCutAndHoldsNobodyUp) {
  const auto answer = RunOwnProgram({"--child", "flood"}, kEnough);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->exitCode, 0);
  EXPECT_EQ(answer->output, std::string(65536, 'x'));
}

TEST(ChildProcess, OneThatTakesTooLongIsEnded) {
  for (const auto time : {0ms, 300ms}) {
    const auto begin = Clock::now();
    EXPECT_FALSE(RunOwnProgram({"--child", "hang"}, time));
    EXPECT_GE(Clock::now() - begin, time);
    EXPECT_LT(Clock::now() - begin, 10s);
    EXPECT_FALSE(HasChildren());
  }
}

TEST(ChildProcess, ItsOwnChildHoldsNobodyUp) {
  const auto begin = Clock::now();
  const auto answer = RunOwnProgram({"--child", "parent"}, kEnough);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->exitCode, 3);
  EXPECT_LT(Clock::now() - begin, 10s);
}

TEST(ChildProcess, ItIsOrdinaryWhateverItsParentIs) {
  BurdenThread();
  const auto answer = RunOwnProgram({"--child", "state"}, kEnough);
  RelieveThread();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->output, OrdinaryState());
}

}  // namespace
}  // namespace tarnwick::platform
