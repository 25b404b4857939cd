#include "platform/windows/work_queue.h"

#include <algorithm>
#include <utility>

#include "platform/windows/win32.h"

namespace tarnwick::platform {

void WorkQueue::open() {
  const std::lock_guard lock(mutex_);
  open_ = true;
}

void WorkQueue::close() {
  std::deque<RequestPointer> dropped;  // their work is destroyed without the lock
  const std::lock_guard lock(mutex_);
  open_ = false;
  dropped.swap(requests_);
  for (const RequestPointer& request : dropped) {
    request->phase = Phase::dropped;
  }
}

WorkQueue::RequestPointer WorkQueue::push(Work work) {
  auto request = std::make_shared<Request>(std::move(work));
  const std::lock_guard lock(mutex_);
  if (!open_ || requests_.size() >= kCapacity) {
    return nullptr;
  }
  request->number = ++lastNumber_;
  requests_.push_back(request);
  return request;
}

// With the mutex held.
bool WorkQueue::take(const RequestPointer& request) {
  if (request->phase != Phase::waiting) {
    return false;
  }
  request->phase = Phase::dropped;
  std::erase(requests_, request);
  return true;
}

bool WorkQueue::withdraw(const RequestPointer& request) {
  const std::lock_guard lock(mutex_);
  return take(request);
}

bool WorkQueue::settle(const RequestPointer& request, bool answered, bool heldBack,
                       std::chrono::steady_clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  // Rare: the work was taken along by the message of another request and is still running, in a loop of its own that
  // has answered our message.
  const auto goesOn = [&] {
    return request->phase == Phase::running || (heldBack && request->phase == Phase::waiting);
  };
  while (answered && goesOn() && std::chrono::steady_clock::now() < deadline) {
    lock.unlock();
    Sleep(1);
    lock.lock();
  }
  take(request);
  return request->phase == Phase::finished && request->result;
}

size_t WorkQueue::size() {
  const std::lock_guard lock(mutex_);
  return requests_.size();
}

void WorkQueue::runFirst() noexcept {
  std::unique_lock lock(mutex_);
  if (requests_.empty()) {
    return;
  }
  const RequestPointer request = std::move(requests_.front());
  requests_.pop_front();
  request->phase = Phase::running;
  lock.unlock();
  const bool result = Guarded(request->work);
  request->work = nullptr;
  lock.lock();
  request->result = result;
  request->phase = Phase::finished;
}

std::optional<bool> WorkQueue::runUpTo(uint64_t number, const std::function<bool()>& ended) noexcept {
  std::unique_lock lock(mutex_);
  const auto found = std::find_if(requests_.begin(), requests_.end(),
                                  [number](const RequestPointer& request) { return request->number == number; });
  if (found == requests_.end()) {
    return false;
  }
  const RequestPointer request = *found;
  while (request->phase == Phase::waiting) {
    if (ended()) {
      return std::nullopt;
    }
    lock.unlock();
    runFirst();
    lock.lock();
  }
  return request->phase == Phase::finished && request->result;
}

}  // namespace tarnwick::platform
