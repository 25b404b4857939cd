// Promises of sockets that only this system makes.
#include "platform/socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
constexpr uint32_t kLoopbackAddress = 0x7F000001;

class SocketOnLinux : public testing::Test {
 protected:
  SocketOnLinux() {
    EXPECT_TRUE(listening.bind(kLoopbackAddress, 0) && listening.listen());
    EXPECT_TRUE(client.connect(kLoopbackAddress, listening.localPort()));
    server = listening.accept();
  }
  Socket listening = Socket::Tcp();
  Socket client = Socket::Tcp();
  Socket server;
};

TEST_F(SocketOnLinux, ShutEndsALongWait) {
  for (Socket* socket : {&listening, &server}) {
    auto waits = std::async(std::launch::async, [socket] { return socket->waitReadable(20s); });
    EXPECT_EQ(waits.wait_for(50ms), std::future_status::timeout);
    socket->shut();
    ASSERT_EQ(waits.wait_for(5s), std::future_status::ready);
    EXPECT_TRUE(waits.get());
  }
  EXPECT_FALSE(listening.accept().valid());
}

TEST_F(SocketOnLinux, SignalsNeitherEndNorLengthenAWait) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction before {};
  sigaction(SIGUSR1, &action, &before);
  const pthread_t waiter = pthread_self();
  std::atomic<bool> done{false};
  std::thread disturber([&] {
    while (!done.load()) {
      pthread_kill(waiter, SIGUSR1);
      std::this_thread::sleep_for(5ms);
    }
  });
  const auto begin = steady_clock::now();
  EXPECT_FALSE(listening.waitReadable(200ms));
  const auto time = steady_clock::now() - begin;
  done.store(true);
  disturber.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GE(time, 200ms);
  EXPECT_LT(time, 5s);
}

TEST_F(SocketOnLinux, NoChildInheritsOne) {
  const Socket datagrams = Socket::Udp();
  int sockets = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int number = std::stoi(entry.path().filename().string());
    struct stat status {};
    if (number > 2 && fstat(number, &status) == 0 && S_ISSOCK(status.st_mode)) {
      ++sockets;
      EXPECT_NE(fcntl(number, F_GETFD) & FD_CLOEXEC, 0);
    }
  }
  EXPECT_GE(sockets, 4);
}

}  // namespace
}  // namespace tarnwick::platform
