// One open file descriptor, closed by its destructor.
#pragma once

#include <unistd.h>

#include <utility>

namespace tarnwick::platform {

class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int number) noexcept : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      close();
      number_ = std::exchange(other.number_, -1);
    }
    return *this;
  }
  ~FileDescriptor() { close(); }

  bool valid() const noexcept { return number_ >= 0; }
  int get() const noexcept { return number_; }
  void close() noexcept {
    if (number_ >= 0) {
      ::close(std::exchange(number_, -1));
    }
  }

 private:
  int number_ = -1;
};

}  // namespace tarnwick::platform
