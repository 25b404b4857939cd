#include "platform/socket.h"

#include <winsock2.h>

#include <algorithm>
#include <limits>

namespace tarnwick::platform {
namespace {

using std::chrono::milliseconds;

SOCKET numberOf(intptr_t handle) {
  return static_cast<SOCKET>(handle);
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
  return setsockopt(numberOf(handle), level, option, reinterpret_cast<const char*>(&value), sizeof value) == 0;
}

bool setTimeout(intptr_t handle, int option, milliseconds time) {
  constexpr int64_t kLongest = std::numeric_limits<DWORD>::max() - 1;
  return time.count() >= 0 &&
         setOption(handle, SOL_SOCKET, option, static_cast<DWORD>(std::min<int64_t>(time.count(), kLongest)));
}

bool setWaiting(SOCKET socket, bool waits) {
  u_long off = waits ? 0 : 1;
  return ioctlsocket(socket, static_cast<long>(FIONBIO), &off) == 0;
}

int pieceOf(size_t size) {
  return static_cast<int>(std::min(size, size_t{std::numeric_limits<int>::max()}));
}

int64_t outcomeOf(int result) {
  if (result != SOCKET_ERROR) {
    return result;
  }
  return WSAGetLastError() == WSAEWOULDBLOCK ? Socket::kWouldBlock : Socket::kFailed;
}

// Waits until one of `events` or a failure; false when `time` has passed.
bool await(SOCKET socket, SHORT events, milliseconds time) {
  using Clock = std::chrono::steady_clock;
  // A day at a time, so that no number overflows.
  constexpr milliseconds kLongest = std::chrono::hours(24);
  const auto end = Clock::now() + std::clamp(time, milliseconds(0), kLongest * 365);
  for (milliseconds left = time;; left = std::chrono::ceil<milliseconds>(end - Clock::now())) {
    const milliseconds slice = std::clamp(left, milliseconds(0), kLongest);
    WSAPOLLFD entry{socket, events, 0};
    if (WSAPoll(&entry, 1, static_cast<INT>(slice.count())) != 0) {
      return true;
    }
    if (left <= slice) {
      return false;
    }
  }
}

intptr_t newSocket(int type, int protocol) {
  return static_cast<intptr_t>(
      WSASocketW(AF_INET, type, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
}

}  // namespace

int32_t StartSockets() {
  WSADATA data{};
  return WSAStartup(MAKEWORD(2, 2), &data);
}

void EndSockets() {
  WSACleanup();
}

Socket& Socket::operator=(Socket&& other) noexcept {
  if (this != &other) {
    const Socket closes(std::move(*this));
    handle_ = std::exchange(other.handle_, kNone);
  }
  return *this;
}

Socket::~Socket() {
  if (valid()) {
    closesocket(numberOf(handle_));
  }
}

Socket Socket::Tcp() {
  return Socket(newSocket(SOCK_STREAM, IPPROTO_TCP));
}

Socket Socket::Udp() {
  return Socket(newSocket(SOCK_DGRAM, IPPROTO_UDP));
}

bool Socket::bind(uint32_t address, uint16_t port) {
  const sockaddr_in place = addressOf(address, port);
  return ::bind(numberOf(handle_), reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
}

bool Socket::listen() {
  return ::listen(numberOf(handle_), SOMAXCONN) == 0;
}

uint16_t Socket::localPort() const {
  sockaddr_in place{};
  int size = sizeof place;
  const bool known = getsockname(numberOf(handle_), reinterpret_cast<sockaddr*>(&place), &size) == 0;
  return known ? ntohs(place.sin_port) : uint16_t{0};
}

bool Socket::connect(uint32_t address, uint16_t port) {
  const sockaddr_in place = addressOf(address, port);
  return ::connect(numberOf(handle_), reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
}

Socket Socket::accept() {
  const SOCKET connection = ::accept(numberOf(handle_), nullptr, nullptr);
  if (connection != INVALID_SOCKET) {
    SetHandleInformation(reinterpret_cast<HANDLE>(connection), HANDLE_FLAG_INHERIT, 0);
    setWaiting(connection, true);  // it would take the listener's mode
  }
  return Socket(static_cast<intptr_t>(connection));
}

bool Socket::enableBroadcast() {
  return setOption(handle_, SOL_SOCKET, SO_BROADCAST, BOOL{TRUE});
}

bool Socket::setReceiveTimeout(milliseconds time) {
  return setTimeout(handle_, SO_RCVTIMEO, time);
}

bool Socket::setSendTimeout(milliseconds time) {
  return setTimeout(handle_, SO_SNDTIMEO, time);
}

bool Socket::setBlocking(bool blocking) {
  return setWaiting(numberOf(handle_), blocking);
}

bool Socket::setPeerTimeout(std::chrono::seconds time) {
  constexpr int kMaximumRetransmitTime = 5;  // TCP_MAXRT, in seconds; not in these headers
  return setOption(handle_, IPPROTO_TCP, kMaximumRetransmitTime, static_cast<DWORD>(time.count()));
}

bool Socket::setNoDelay() {
  return setOption(handle_, IPPROTO_TCP, TCP_NODELAY, BOOL{TRUE});
}

bool Socket::setSendBuffer(size_t bytes) {
  return setOption(handle_, SOL_SOCKET, SO_SNDBUF, static_cast<int>(bytes));
}

int64_t Socket::receive(void* buffer, size_t size) {
  return outcomeOf(recv(numberOf(handle_), static_cast<char*>(buffer), pieceOf(size), 0));
}

int64_t Socket::send(const void* data, size_t size) {
  return outcomeOf(::send(numberOf(handle_), static_cast<const char*>(data), pieceOf(size), 0));
}

bool Socket::sendTo(uint32_t address, uint16_t port, const void* data, size_t size) {
  const sockaddr_in place = addressOf(address, port);
  const int sent = sendto(numberOf(handle_), static_cast<const char*>(data), pieceOf(size), 0,
                          reinterpret_cast<const sockaddr*>(&place), sizeof place);
  return sent != SOCKET_ERROR && static_cast<size_t>(sent) == size;
}

bool Socket::waitReadable(milliseconds time) {
  return !valid() || await(numberOf(handle_), POLLRDNORM, time);
}

bool Socket::waitWritable(milliseconds time) {
  return !valid() || await(numberOf(handle_), POLLWRNORM, time);
}

void Socket::shut() noexcept {
  if (valid()) {
    shutdown(numberOf(handle_), SD_BOTH);
    // A wait that is under way may not notice by itself.
    CancelIoEx(reinterpret_cast<HANDLE>(handle_), nullptr);
  }
}

}  // namespace tarnwick::platform
