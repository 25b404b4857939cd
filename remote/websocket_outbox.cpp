#include "remote/websocket_outbox.h"

#include <algorithm>

namespace tarnwick::remote {

bool WebSocketOutbox::push(SharedFrame frame, Time now, const Sender& send) {
  if (frames_.empty()) {
    progress_ = now;
  } else if (bytes_ + sent_ - frames_.front().frame->size() > kMostBytes) {
    return false;
  }
  bytes_ += frame->size();
  frames_.push_back({std::move(frame), now + limits_.frame + TimeOnSlowLink(bytes_)});
  return flush(now, send);
}

bool WebSocketOutbox::flush(Time now, const Sender& send) {
  while (!frames_.empty()) {
    const std::string& first = *frames_.front().frame;
    if (sent_ < first.size()) {
      const int64_t taken = send(std::string_view(first).substr(sent_));
      if (taken < 0) {
        return false;
      }
      if (taken == 0) {
        return now - progress_ < limits_.pause && now < frames_.front().end;
      }
      const size_t count = std::min(static_cast<size_t>(taken), first.size() - sent_);
      sent_ += count;
      bytes_ -= count;
      progress_ = now;
    }
    if (sent_ == first.size()) {
      frames_.pop_front();
      sent_ = 0;
    }
  }
  return true;
}

}  // namespace tarnwick::remote
