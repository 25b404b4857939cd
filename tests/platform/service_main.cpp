// The tests of the system's services. The program also plays the child that it starts: "--child" and what to do.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "platform/service_rig.h"
#include "platform/socket.h"

namespace tarnwick::platform {
namespace {

void print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

int beChild(const std::vector<std::string>& arguments) {
  const std::string task = arguments.size() > 1 ? arguments[1] : "";
  if (task == "echo") {
    for (size_t k = 2; k < arguments.size(); ++k) {
      print("[" + arguments[k] + "]");
    }
    std::fflush(stdout);
    std::fputs("[stderr]", stderr);
    return 7;
  }
  if (task == "flood") {
    print(std::string(300'000, 'x'));
    return 0;
  }
  if (task == "state") {
    print(ProcessState());
    return 0;
  }
  if (task == "parent") {
    return StartBeside({"--child", "hang"}) ? 3 : 4;
  }
  if (task == "hang") {
    std::this_thread::sleep_for(std::chrono::seconds(30));
  }
  return 1;
}

}  // namespace
}  // namespace tarnwick::platform

int main(int argc, char** argv) {
  using namespace tarnwick::platform;
  const std::vector<std::string> arguments = OwnArguments(argc, argv);
  if (!arguments.empty() && arguments[0] == "--child") {
    return beChild(arguments);
  }
  testing::InitGoogleTest(&argc, argv);
  return StartSockets() == 0 ? RUN_ALL_TESTS() : 2;
}
