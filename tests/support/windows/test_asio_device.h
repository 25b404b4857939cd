// The test driver's device: its words and its counts, shared by all of its driver objects.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <sstream>
#include <string>

#include "support/windows/test_asio_control.h"

namespace tarnwick::tests {

class TestAsioSettings {
 public:
  TestAsioSettings() { read(kTestAsioWords, true); }

  // False when there is a word that is not known.
  bool apply(const std::string& words) { return read(words, false); }
  const std::string& text(const char* name) const { return values_.at(name); }
  int32_t number(const char* name) const { return static_cast<int32_t>(std::strtol(text(name).c_str(), nullptr, 10)); }
  int32_t sampleType(bool input, int32_t channel) const {
    std::vector<int32_t> types;
    std::istringstream stream(text(input ? "input-types" : "output-types"));
    for (std::string type; std::getline(stream, type, ',');) {
      types.push_back(std::stoi(type));
    }
    return types.at(static_cast<size_t>(channel) % types.size());
  }

 private:
  bool read(const std::string& words, bool isNew) {
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
      const size_t equals = std::min(word.find('='), word.size() - 1);
      const std::string name = word.substr(0, equals);
      if (!isNew && values_.count(name) == 0) {
        return false;
      }
      values_[name] = word.substr(equals + 1);
    }
    return true;
  }
  std::map<std::string, std::string> values_;
};

struct TestAsioDevice {
  TestAsioDevice() {
    const char* words = std::getenv("TARNWICK_TEST_ASIO_1");
    if (words != nullptr && !settings.apply(words)) {
      std::fprintf(stderr, "TARNWICK_TEST_ASIO_1: a word that the test driver does not know\n");
    }
  }
  TestAsioSettings current() {
    const std::lock_guard lock(mutex);
    return settings;
  }

  std::mutex mutex;
  TestAsioSettings settings;  // under the mutex
  TestAsioStatistics seen;
};

inline TestAsioDevice& Device() {
  static TestAsioDevice device;
  return device;
}

}  // namespace tarnwick::tests
