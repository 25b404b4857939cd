#include "platform/audio/jack/jack_events.h"

#include <cstring>
#include <system_error>
#include <utility>

#include "platform/text.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

constexpr std::chrono::seconds kBetweenXrunLines{10};

}  // namespace

JackEvents::JackEvents(BackEndHooks hooks) : hooks_(std::move(hooks)) {
  sem_init(&wake_, 0, 0);
}

JackEvents::~JackEvents() {
  unwatch();
  sem_destroy(&wake_);
}

void JackEvents::lose(JackLoss loss, uint32_t value, const char* words) noexcept {
  if (lossClaimed_.exchange(true, std::memory_order_relaxed)) {
    return;
  }
  lossValue_ = value;
  if (words != nullptr) {
    std::strncpy(lossWords_.data(), words, lossWords_.size() - 1);
  }
  loss_.store(loss, std::memory_order_release);
  sem_post(&wake_);
}

void JackEvents::xrun() noexcept {
  xruns_.fetch_add(1, std::memory_order_relaxed);
  sem_post(&wake_);
}

bool JackEvents::watch() {
  xruns_.store(0);
  ending_.store(false);
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void JackEvents::unwatch() {
  if (thread_.joinable()) {
    ending_.store(true);
    sem_post(&wake_);
    thread_.join();
  }
}

void JackEvents::log(const std::wstring& line) const {
  if (hooks_.log) {
    hooks_.log(line);
  }
}

// Waits for an event, but while there are xruns left to be told no longer than until their line is due.
void JackEvents::wait(bool xrunsUntold, Clock::time_point until) {
  if (!xrunsUntold) {
    sem_wait(&wake_);
    return;
  }
  const auto sinceEpoch = std::chrono::duration_cast<std::chrono::nanoseconds>(until.time_since_epoch());
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch);
  const timespec due{seconds.count(), (sinceEpoch - seconds).count()};
  sem_clockwait(&wake_, CLOCK_MONOTONIC, &due);
}

void JackEvents::run() {
  SetThreadName("jack events");
  bool lossTold = false;
  uint64_t xrunsTold = 0;
  uint64_t xrunsLogged = 0;
  Clock::time_point nextXrunLine = Clock::now();
  while (!ending_.load()) {
    if (!lossTold && lost()) {
      lossTold = true;
      if (hooks_.deviceLost) {
        hooks_.deviceLost(reason());
      }
    }
    const uint64_t xruns = tellXruns(xrunsTold);
    if (xruns != xrunsLogged && Clock::now() >= nextXrunLine) {
      xrunsLogged = xruns;
      nextXrunLine = Clock::now() + kBetweenXrunLines;
      log(L"JACK xruns since the start: " + std::to_wstring(xruns) + L".");
    }
    wait(xruns != xrunsLogged, nextXrunLine);
  }
  tellXruns(xrunsTold);
}

uint64_t JackEvents::tellXruns(uint64_t& told) const {
  const uint64_t total = xruns_.load();
  if (total != told && hooks_.xruns) {
    hooks_.xruns(total);
  }
  told = total;
  return total;
}

std::wstring JackEvents::reason() const {
  switch (loss_.load(std::memory_order_acquire)) {
    case JackLoss::periodChanged:
      return L"The JACK server's period changed to " + std::to_wstring(lossValue_) + L" samples.";
    case JackLoss::rateChanged:
      return L"The JACK server's sample rate changed to " + std::to_wstring(lossValue_) + L" Hz.";
    case JackLoss::freewheeling:
      return L"The JACK server has begun to freewheel.";
    default:
      break;
  }
  const std::wstring words = WideFromUtf8(lossWords_.data());
  return L"The JACK server has gone" + (words.empty() ? L"." : L" (" + words + L").");
}

}  // namespace tarnwick::platform
