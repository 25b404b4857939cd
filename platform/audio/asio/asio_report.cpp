#include "platform/audio/asio/asio_report.h"

#include <chrono>
#include <utility>

#include "platform/audio/asio/asio_gate.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{500};

}  // namespace

AsioReport::AsioReport(std::function<void(uint64_t total)> xruns) : xruns_(std::move(xruns)) {
  if (xruns_) {
    thread_ = std::thread([this] { run(); });
  }
}

AsioReport::~AsioReport() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void AsioReport::run() {
  SetThreadName("asio report");
  uint64_t told = 0;
  for (bool ending = false; !ending;) {
    {
      std::unique_lock lock(mutex_);
      ending = changed_.wait_for(lock, kBetweenLooks, [this] { return ending_; });
    }
    const uint64_t total = AsioOverloads();
    if (total != std::exchange(told, total)) {
      xruns_(total);
    }
  }
}

}  // namespace tarnwick::platform
