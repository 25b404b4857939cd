// What only this system promises of sockets.
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
using Clock = std::chrono::steady_clock;
constexpr uint32_t kLoopback = 0x7F000001;

TEST(SocketOnLinux, ShutEndsALongWait) {
  Socket listening = Socket::Tcp();
  ASSERT_TRUE(listening.bind(kLoopback, 0) && listening.listen());
  Socket client = Socket::Tcp();
  ASSERT_TRUE(client.connect(kLoopback, listening.localPort()));
  Socket server = listening.accept();
  for (Socket* socket : {&listening, &server}) {
    auto waits = std::async(std::launch::async, [socket] { return socket->waitReadable(20s); });
    EXPECT_EQ(waits.wait_for(50ms), std::future_status::timeout);
    socket->shut();
    ASSERT_EQ(waits.wait_for(5s), std::future_status::ready);
    EXPECT_TRUE(waits.get());
  }
  EXPECT_FALSE(listening.accept().valid());
}

TEST(SocketOnLinux, SignalsNeitherEndNorLengthenAWait) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction before {};
  sigaction(SIGUSR1, &action, &before);
  Socket listening = Socket::Tcp();
  ASSERT_TRUE(listening.bind(kLoopback, 0) && listening.listen());
  const pthread_t waiter = pthread_self();
  std::atomic<bool> done{false};
  std::thread disturber([&] {
    while (!done.load()) {
      pthread_kill(waiter, SIGUSR1);
      std::this_thread::sleep_for(5ms);
    }
  });
  const auto begin = Clock::now();
  EXPECT_FALSE(listening.waitReadable(200ms));
  const auto time = Clock::now() - begin;
  Socket client = Socket::Tcp();
  EXPECT_TRUE(client.connect(kLoopback, listening.localPort()));
  EXPECT_TRUE(listening.accept().valid());
  done.store(true);
  disturber.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GE(time, 200ms);
  EXPECT_LT(time, 5s);
}

TEST(SocketOnLinux, NoChildInheritsOne) {
  Socket listening = Socket::Tcp();
  ASSERT_TRUE(listening.bind(kLoopback, 0) && listening.listen());
  Socket client = Socket::Tcp();
  ASSERT_TRUE(client.connect(kLoopback, listening.localPort()));
  const Socket server = listening.accept();
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
