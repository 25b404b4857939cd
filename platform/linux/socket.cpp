#include "platform/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/linux/uninterrupted.h"

namespace tarnwick::platform {
namespace {

using std::chrono::milliseconds;

int numberOf(intptr_t handle) {
  return static_cast<int>(handle);
}

sockaddr_in addressOf(uint32_t address, uint16_t port) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(address);
  place.sin_port = htons(port);
  return place;
}

template <class Value>
bool setOption(intptr_t handle, int level, int option, const Value& value) {
  return setsockopt(numberOf(handle), level, option, &value, sizeof value) == 0;
}

bool setTimeout(intptr_t handle, int option, milliseconds time) {
  timeval value{};
  value.tv_sec = static_cast<time_t>(time.count() / 1000);
  value.tv_usec = static_cast<suseconds_t>(time.count() % 1000 * 1000);
  return time.count() >= 0 && setOption(handle, SOL_SOCKET, option, value);
}

bool isTcp(int socket) {
  int type = 0;
  socklen_t size = sizeof type;
  return getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

// Waits until one of `events` or a failure; false when `time` has passed.
bool await(int socket, short events, milliseconds time) {
  using Clock = std::chrono::steady_clock;
  // A day at a time, so that no number overflows.
  constexpr milliseconds kLongest = std::chrono::hours(24);
  const auto end = Clock::now() + std::clamp(time, milliseconds(0), kLongest * 365);
  for (milliseconds left = time;; left = std::chrono::ceil<milliseconds>(end - Clock::now())) {
    const milliseconds slice = std::clamp(left, milliseconds(0), kLongest);
    pollfd entry{socket, events, 0};
    const int count = poll(&entry, 1, static_cast<int>(slice.count()));
    if (count > 0 || (count < 0 && errno != EINTR)) {
      return true;
    }
    if (left <= slice && (count == 0 || Clock::now() >= end)) {
      return false;
    }
  }
}

// The meaning of a failed receive or send. The system has the same error for "nothing now" and for a time-out.
int64_t failureOf(int socket) {
  const bool nothingNow = errno == EAGAIN || errno == EWOULDBLOCK;
  const int flags = nothingNow ? fcntl(socket, F_GETFL) : -1;
  return flags >= 0 && (flags & O_NONBLOCK) != 0 ? Socket::kWouldBlock : Socket::kFailed;
}

intptr_t newSocket(int type, int protocol) {
  return socket(AF_INET, type | SOCK_CLOEXEC, protocol);
}

}  // namespace

// Nothing to begin with here; signals of broken connections are asked away with every send.
int32_t StartSockets() {
  return 0;
}

void EndSockets() {}

Socket& Socket::operator=(Socket&& other) noexcept {
  if (this != &other) {
    const Socket closes(std::move(*this));
    handle_ = std::exchange(other.handle_, kNone);
  }
  return *this;
}

Socket::~Socket() {
  if (valid()) {
    close(numberOf(handle_));
  }
}

Socket Socket::Tcp() {
  return Socket(newSocket(SOCK_STREAM, IPPROTO_TCP));
}

Socket Socket::Udp() {
  return Socket(newSocket(SOCK_DGRAM, IPPROTO_UDP));
}

bool Socket::bind(uint32_t address, uint16_t port) {
  // For TCP it only skips the wait for old connections; two listeners stay refused. For UDP it would let two share.
  if (isTcp(numberOf(handle_)) && !setOption(handle_, SOL_SOCKET, SO_REUSEADDR, int{1})) {
    return false;
  }
  const sockaddr_in place = addressOf(address, port);
  return ::bind(numberOf(handle_), reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
}

bool Socket::listen() {
  return ::listen(numberOf(handle_), std::numeric_limits<int>::max()) == 0;  // the system cuts it to what it allows
}

uint16_t Socket::localPort() const {
  sockaddr_in place{};
  socklen_t size = sizeof place;
  const bool known = getsockname(numberOf(handle_), reinterpret_cast<sockaddr*>(&place), &size) == 0;
  return known ? ntohs(place.sin_port) : uint16_t{0};
}

bool Socket::connect(uint32_t address, uint16_t port) {
  const int socket = numberOf(handle_);
  const sockaddr_in place = addressOf(address, port);
  if (::connect(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0) {
    return true;
  }
  if (errno != EINTR) {
    return false;
  }
  // It goes on by itself and may not be asked for again.
  int problem = 0;
  socklen_t size = sizeof problem;
  await(socket, POLLOUT, milliseconds::max());
  return getsockopt(socket, SOL_SOCKET, SO_ERROR, &problem, &size) == 0 && problem == 0;
}

Socket Socket::accept() {
  return Socket(Uninterrupted([this] { return accept4(numberOf(handle_), nullptr, nullptr, SOCK_CLOEXEC); }));
}

bool Socket::enableBroadcast() {
  return setOption(handle_, SOL_SOCKET, SO_BROADCAST, int{1});
}

bool Socket::setReceiveTimeout(milliseconds time) {
  return setTimeout(handle_, SO_RCVTIMEO, time);
}

bool Socket::setSendTimeout(milliseconds time) {
  return setTimeout(handle_, SO_SNDTIMEO, time);
}

bool Socket::setBlocking(bool blocking) {
  const int flags = fcntl(numberOf(handle_), F_GETFL);
  return flags >= 0 && fcntl(numberOf(handle_), F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK) == 0;
}

bool Socket::setPeerTimeout(std::chrono::seconds time) {
  return setOption(handle_, IPPROTO_TCP, TCP_USER_TIMEOUT, static_cast<unsigned int>(time.count() * 1000));
}

bool Socket::setNoDelay() {
  return setOption(handle_, IPPROTO_TCP, TCP_NODELAY, int{1});
}

bool Socket::setSendBuffer(size_t bytes) {
  // The size alone lets twice as much wait, and then makes room in steps that take a slow link seconds.
  const int size = static_cast<int>(bytes);
  return setOption(handle_, SOL_SOCKET, SO_SNDBUF, size) &&
         setOption(handle_, IPPROTO_TCP, TCP_NOTSENT_LOWAT, size / 4);
}

int64_t Socket::receive(void* buffer, size_t size) {
  const ssize_t got = Uninterrupted([&] { return recv(numberOf(handle_), buffer, size, 0); });
  return got >= 0 ? int64_t{got} : failureOf(numberOf(handle_));
}

int64_t Socket::send(const void* data, size_t size) {
  const ssize_t sent = Uninterrupted([&] { return ::send(numberOf(handle_), data, size, MSG_NOSIGNAL); });
  return sent >= 0 ? int64_t{sent} : failureOf(numberOf(handle_));
}

bool Socket::sendTo(uint32_t address, uint16_t port, const void* data, size_t size) {
  const sockaddr_in place = addressOf(address, port);
  const ssize_t sent = Uninterrupted([&] {
    return sendto(numberOf(handle_), data, size, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&place), sizeof place);
  });
  return sent >= 0 && static_cast<size_t>(sent) == size;
}

bool Socket::waitReadable(milliseconds time) {
  return !valid() || await(numberOf(handle_), POLLIN, time);
}

bool Socket::waitWritable(milliseconds time) {
  return !valid() || await(numberOf(handle_), POLLOUT, time);
}

void Socket::shut() noexcept {
  if (valid()) {
    shutdown(numberOf(handle_), SHUT_RDWR);
  }
}

}  // namespace tarnwick::platform
