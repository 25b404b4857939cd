// The frames that a WebSocket client has yet to take. Not thread-safe; time is a parameter.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "remote/client_limits.h"

namespace tarnwick::remote {

// A frame that several clients may be waiting for.
using SharedFrame = std::shared_ptr<const std::string>;

class WebSocketOutbox {
 public:
  using Time = std::chrono::steady_clock::time_point;
  // Takes bytes without waiting: how many, 0 for none now, negative when the connection has failed.
  using Sender = std::function<int64_t(std::string_view bytes)>;

  // A client that has left more than this behind the frame which it is taking gets no further one. That one may be of
  // any length: a large document that a client has asked for must not end its connection.
  static constexpr size_t kMostBytes = size_t{8} << 20;

  explicit WebSocketOutbox(const ClientLimits& limits = {}) : limits_(limits) {}

  // Sends the frame, or the part of it that is not taken with the next calls, after all earlier ones. False, as from
  // `flush`, means that the client is to be dropped.
  bool push(SharedFrame frame, Time now, const Sender& send);
  bool flush(Time now, const Sender& send);

  bool empty() const noexcept { return frames_.empty(); }
  size_t bytes() const noexcept { return bytes_; }  // waiting

 private:
  struct Waiting {
    SharedFrame frame;
    Time end;  // when it must have been taken
  };

  ClientLimits limits_;
  std::deque<Waiting> frames_;
  size_t sent_ = 0;   // of the first frame
  size_t bytes_ = 0;  // waiting
  Time progress_{};   // when something was taken last, or began to wait
};

}  // namespace tarnwick::remote
