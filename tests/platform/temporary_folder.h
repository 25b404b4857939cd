// A folder of its own for a test that needs files; it is removed with all its contents.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/text.h"

namespace tarnwick::platform {

class TemporaryFolder {
 public:
  TemporaryFolder() : path_(std::filesystem::temp_directory_path() / ("tarnwick-" + std::to_string(random()))) {
    std::filesystem::create_directories(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code failure;
    std::filesystem::remove_all(path_, failure);
  }

  // UTF-8 for commands and streams, wide for what is tested.
  std::string name(const std::string& file) const { return (path_ / file).string(); }
  std::wstring wide(const std::string& file) const { return WideFromUtf8(name(file)); }

 private:
  static uint64_t random() {
    std::random_device device;
    return (uint64_t{device()} << 32) | device();
  }
  std::filesystem::path path_;
};

using Bytes = std::vector<uint8_t>;

inline Bytes ReadBytes(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& name, const Bytes& bytes) {
  std::ofstream out(name, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace tarnwick::platform
