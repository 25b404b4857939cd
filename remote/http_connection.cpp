#include "remote/http_connection.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <thread>

#include "remote/http_head.h"

namespace tarnwick::remote {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kSlice{100};    // between two looks at `running`
constexpr milliseconds kSendRetry{2};  // a full send buffer is tried again
constexpr size_t kMostBodyBytes = size_t{1} << 20;

// The end of one step: its longest pause, and the time for all of it, which may grow with what it brings.
class Deadline {
 public:
  Deadline(milliseconds pause, milliseconds all) : pause_(pause), end_(Clock::now() + all) { progressed(); }
  void progressed(milliseconds more = milliseconds(0)) {
    pauseEnd_ = Clock::now() + pause_;
    end_ += more;
  }
  // Until something must have happened; not positive when it is too late.
  milliseconds left() const { return std::chrono::ceil<milliseconds>(std::min(pauseEnd_, end_) - Clock::now()); }

 private:
  milliseconds pause_;
  Clock::time_point end_;
  Clock::time_point pauseEnd_;
};

// As Socket::receive, which must not wait by itself, but waits for the deadline; kFailed when it has passed.
int64_t receive(platform::Socket& socket, void* buffer, size_t size, const Deadline& deadline,
                const std::atomic<bool>& running) {
  while (running) {
    const milliseconds left = deadline.left();
    if (left <= milliseconds(0)) {
      break;
    }
    if (!socket.waitReadable(std::min(left, kSlice))) {
      continue;
    }
    const int64_t count = socket.receive(buffer, size);
    if (count != platform::Socket::kWouldBlock) {
      return count;
    }
  }
  return platform::Socket::kFailed;
}

bool sendAll(platform::Socket& socket, std::string_view bytes, const std::atomic<bool>& running,
             const ClientLimits& limits) {
  Deadline deadline(limits.pause, limits.exchange);
  while (!bytes.empty() && running && deadline.left() > milliseconds(0)) {
    const int64_t count = socket.send(bytes.data(), bytes.size());
    if (count > 0) {
      const size_t taken = std::min(static_cast<size_t>(count), bytes.size());
      bytes.remove_prefix(taken);
      deadline.progressed(TimeOnSlowLink(taken));
    } else if (count == platform::Socket::kWouldBlock) {
      std::this_thread::sleep_for(kSendRetry);
    } else {
      return false;
    }
  }
  return bytes.empty();
}

// The bytes of the body that the head announces and that have not come yet.
size_t missingBody(std::string_view received) {
  const std::optional<std::string_view> field = HeaderField(received, "Content-Length");
  size_t length = 0;
  if (!field || std::from_chars(field->data(), field->data() + field->size(), length).ec != std::errc()) {
    return 0;
  }
  return length - std::min(length, BytesAfterHead(received).size());
}

// Takes what has arrived, and waits for what was announced.
void discardInput(platform::Socket& socket, size_t announced, const std::atomic<bool>& running, milliseconds patience) {
  std::array<char, kMostHeadBytes> scratch;
  const Deadline deadline(patience, patience);
  size_t taken = 0;
  while (taken < kMostBodyBytes) {
    const int64_t count = taken < announced ? receive(socket, scratch.data(), scratch.size(), deadline, running)
                                            : socket.receive(scratch.data(), scratch.size());
    if (count <= 0) {
      return;
    }
    taken += static_cast<size_t>(count);
  }
}

}  // namespace

std::optional<std::string> ReceiveHead(platform::Socket& socket, const std::atomic<bool>& running,
                                       const ClientLimits& limits) {
  std::string received;
  std::array<char, kMostHeadBytes> scratch;
  Deadline deadline(limits.pause, limits.exchange);
  while (!IsHeadComplete(received)) {
    const int64_t count = receive(socket, scratch.data(), kMostHeadBytes - received.size(), deadline, running);
    if (count <= 0) {
      return std::nullopt;
    }
    received.append(scratch.data(), static_cast<size_t>(count));
    deadline.progressed();
  }
  return received;
}

void SendAnswer(platform::Socket& socket, std::string_view answer, std::string_view received,
                const std::atomic<bool>& running, const ClientLimits& limits) {
  if (sendAll(socket, answer, running, limits)) {
    discardInput(socket, missingBody(received), running, limits.body);
  }
}

}  // namespace tarnwick::remote
