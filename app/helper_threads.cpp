#include "app/helper_threads.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/threads.h"

namespace tarnwick::app {
namespace {

constexpr std::chrono::milliseconds kDiskTime{2000};
constexpr int kMostDiskHelpers = 4;

enum class Outcome { none, done, threw };

Outcome outcomeOf(std::function<void()>& work) noexcept {
  Outcome outcome = Outcome::done;
  try {
    work();
  } catch (...) {
    outcome = Outcome::threw;
  }
  work = nullptr;  // what it holds goes before anybody hears of the end
  return outcome;
}

}  // namespace

struct HelperThreads::Shared {
  struct Job {  // guarded like the rest
    Outcome outcome = Outcome::none;
    bool givenUp = false;
  };

  std::mutex mutex;
  std::condition_variable changed;
  int running = 0;
  int hanging = 0;  // of those: nobody waits for them any more

  void ended(Job& job, Outcome outcome) {
    const std::lock_guard lock(mutex);
    job.outcome = outcome;
    --running;
    hanging -= job.givenUp ? 1 : 0;
    changed.notify_all();
  }
};

HelperThreads::HelperThreads(std::chrono::milliseconds time, int most)
    : time_(time), most_(most), shared_(std::make_shared<Shared>()) {}

bool HelperThreads::run(std::function<void()> work) {
  const auto deadline = std::chrono::steady_clock::now() + time_;
  const auto shared = shared_;
  const auto job = std::make_shared<Shared::Job>();
  std::unique_lock lock(shared->mutex);
  shared->changed.wait_until(lock, deadline, [&] { return shared->running < most_ || shared->hanging == most_; });
  if (shared->running >= most_) {
    return false;
  }
  try {
    std::thread([shared, job, todo = std::move(work)]() mutable {
      platform::SetThreadName("twk-helper");
      shared->ended(*job, outcomeOf(todo));
    }).detach();
  } catch (const std::system_error&) {
    return false;
  }
  ++shared->running;  // the helper cannot end before the lock is given up
  shared->changed.wait_until(lock, deadline, [&] { return job->outcome != Outcome::none; });
  if (job->outcome == Outcome::none) {
    job->givenUp = true;
    ++shared->hanging;
    shared->changed.notify_all();
  }
  return job->outcome == Outcome::done;
}

HelperThreads& DiskHelpers() {
  // Never destroyed: a helper may hang until the process ends.
  static auto* helpers = new HelperThreads(kDiskTime, kMostDiskHelpers);
  return *helpers;
}

}  // namespace tarnwick::app
