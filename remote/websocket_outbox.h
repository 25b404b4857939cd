// What a WebSocket client has not taken yet. Not thread-safe; time is a parameter.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tarnwick::remote {

// A frame that several clients may be waiting for.
using SharedFrame = std::shared_ptr<const std::string>;

class WebSocketOutbox {
 public:
  using Time = std::chrono::steady_clock::time_point;
  // Takes bytes without waiting: how many, 0 for none now, negative when the connection has failed.
  using Sender = std::function<int64_t(std::string_view bytes)>;

  // A client that has left more than this in its outbox gets no further frame.
  static constexpr size_t kMostBytes = size_t{8} << 20;
  // Longest time in which nothing of a filled outbox is taken.
  static constexpr std::chrono::milliseconds kLongestStall{2000};

  // Sends the frame, or the part of it that is not taken with the next calls, after all earlier ones. False, as from
  // `flush`, means that the client is to be dropped.
  bool push(SharedFrame frame, Time now, const Sender& send);
  bool flush(Time now, const Sender& send);

  bool empty() const noexcept { return frames_.empty(); }

 private:
  std::deque<SharedFrame> frames_;
  size_t sent_ = 0;   // of the first frame
  size_t bytes_ = 0;  // waiting
  Time progress_{};   // when something was taken last, or began to wait
};

}  // namespace tarnwick::remote
