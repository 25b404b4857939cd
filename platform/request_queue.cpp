#include "platform/request_queue.h"

#include <algorithm>
#include <utility>

namespace tarnwick::platform {

void RequestQueue::open() {
  const std::lock_guard lock(mutex_);
  open_ = true;
}

void RequestQueue::close() {
  std::deque<RequestPointer> dropped;  // their work is destroyed without the lock
  const std::lock_guard lock(mutex_);
  open_ = false;
  dropped.swap(requests_);
  for (const RequestPointer& request : dropped) {
    request->phase = Phase::dropped;
    request->ended.notify_all();
  }
}

RequestQueue::RequestPointer RequestQueue::push(Work work) {
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
bool RequestQueue::take(const RequestPointer& request) {
  if (request->phase != Phase::waiting) {
    return false;
  }
  request->phase = Phase::dropped;
  std::erase(requests_, request);
  return true;
}

bool RequestQueue::withdraw(const RequestPointer& request) {
  const std::lock_guard lock(mutex_);
  return take(request);
}

bool RequestQueue::await(const RequestPointer& request, Time deadline) {
  std::unique_lock lock(mutex_);
  request->ended.wait_until(lock, deadline,
                            [&] { return request->phase == Phase::finished || request->phase == Phase::dropped; });
  take(request);
  return request->phase == Phase::finished && request->result;
}

size_t RequestQueue::size() {
  const std::lock_guard lock(mutex_);
  return requests_.size();
}

void RequestQueue::runFirst() noexcept {
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
  request->ended.notify_all();
}

bool RequestQueue::runTurn(const std::function<bool()>& ended) noexcept {
  for (size_t left = size(); left > 0 && !ended(); --left) {
    runFirst();
  }
  return size() > 0;
}

std::optional<bool> RequestQueue::runUpTo(uint64_t number, const std::function<bool()>& ended) noexcept {
  std::unique_lock lock(mutex_);
  const auto found = std::find_if(requests_.begin(), requests_.end(),
                                  [number](const RequestPointer& request) { return request->number == number; });
  if (found == requests_.end()) {
    return false;
  }
  const RequestPointer request = *found;
  while (request->phase == Phase::waiting) {
    lock.unlock();
    if (ended()) {
      return std::nullopt;
    }
    runFirst();
    lock.lock();
  }
  return request->phase == Phase::finished && request->result;
}

}  // namespace tarnwick::platform
