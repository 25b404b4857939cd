// TCP and UDP over IPv4. Addresses and ports are in the machine's byte order.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace tarnwick::platform {

// Begins and ends the use of sockets; calls nest. StartSockets returns 0, or the system's error number.
int32_t StartSockets();
void EndSockets();

// One socket, closed by its destructor. One thread may read while another writes; `shut` may be called from any thread
// at any time. Children of the process do not inherit it. Writing to a connection that the peer has closed is an
// ordinary failure, no signal.
class Socket {
 public:
  static constexpr uint32_t kAnyAddress = 0;

  Socket() noexcept = default;
  Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, kNone)) {}
  Socket& operator=(Socket&& other) noexcept;
  ~Socket();

  // Invalid when the system refuses.
  static Socket Tcp();
  static Socket Udp();

  bool valid() const noexcept { return handle_ != kNone; }

  // Linux: with the option that lets a restarted program bind at once; Windows does so by itself. Port 0 takes any free
  // one.
  bool bind(uint32_t address, uint16_t port);
  // With the system's largest backlog.
  bool listen();
  uint16_t localPort() const;  // 0 when unknown
  bool connect(uint32_t address, uint16_t port);
  // The next waiting connection, as a socket that waits. Blocks; see waitReadable. Invalid on failure.
  Socket accept();

  bool enableBroadcast();
  // Longest that one `receive` or `send` blocks; 0 = without limit.
  bool setReceiveTimeout(std::chrono::milliseconds time);
  bool setSendTimeout(std::chrono::milliseconds time);
  // When off, `receive` and `send` never wait: they return kWouldBlock instead.
  bool setBlocking(bool blocking);
  // A peer that has vanished without a word counts as a failure once what was sent has found no answer for `time`.
  bool setPeerTimeout(std::chrono::seconds time);
  // Sends small pieces at once instead of gathering them.
  bool setNoDelay();
  // TCP: about how much the system keeps of what was sent and has not arrived. Without it that grows to megabytes.
  bool setSendBuffer(size_t bytes);

  // `size` is at least 1. Bytes received or sent: 1..size. 0 = the peer has closed (receive only). kWouldBlock =
  // nothing now, on a socket that does not wait. kFailed = anything else, a time-out included.
  static constexpr int64_t kFailed = -1;
  static constexpr int64_t kWouldBlock = -2;
  int64_t receive(void* buffer, size_t size);
  int64_t send(const void* data, size_t size);
  // One datagram; false unless all of it was taken.
  bool sendTo(uint32_t address, uint16_t port, const void* data, size_t size);

  // True when a `receive` or `accept` would return at once (data, end, failure or `shut`), false when `time` has passed
  // without that; it never waits longer.
  bool waitReadable(std::chrono::milliseconds time);
  // The same for a `send` that would take something.
  bool waitWritable(std::chrono::milliseconds time);

  // Ends the connection in both directions: a blocked receive or send ends, later ones too, the peer sees the end.
  // Linux lets receive bring what had arrived before, then 0; Windows lets it fail. The socket's number stays taken
  // until the destructor, so no other thread can hit a stranger's. For a listening socket it makes later accepts fail
  // where the system can do that (Linux). A wait for bytes or room ends on Linux; on Windows it need not, so who waits
  // there does it in slices and looks at its own mark of the end between them.
  void shut() noexcept;

 private:
  static constexpr intptr_t kNone = -1;
  explicit Socket(intptr_t handle) noexcept : handle_(handle) {}

  intptr_t handle_ = kNone;
};

}  // namespace tarnwick::platform
