#include "support/windows/test_asio_device.h"

#include <cstdio>
#include <cstdlib>

namespace tarnwick::tests {

TestAsioDevice::TestAsioDevice(const char* environmentName) {
  if (const char* words = std::getenv(environmentName)) {
    if (!ParseTestAsioWords(words, settings)) {
      std::fprintf(stderr, "%s: a word that the test driver does not know\n", environmentName);
    }
  }
}

bool TestAsioDevice::configure(const char* words) {
  TestAsioSettings parsed;
  if (!ParseTestAsioWords(words, parsed)) {
    return false;
  }
  const std::lock_guard lock(mutex);
  settings = parsed;
  return true;
}

TestAsioSettings TestAsioDevice::current() {
  const std::lock_guard lock(mutex);
  return settings;
}

TestAsioStatistics TestAsioDevice::statistics() const {
  return {.objects = objects,
          .bufferSets = bufferSets,
          .threads = threads,
          .created = created,
          .wrongThread = wrongThread,
          .wrongOrder = wrongOrder,
          .panels = panels,
          .outputReadies = outputReadies,
          .engineVersion = engineVersion,
          .timeInfo = timeInfo,
          .resetAnswer = resetAnswer,
          .blocks = blocks,
          .timedBlocks = timedBlocks,
          .strayBlocks = strayBlocks,
          .mismatches = mismatches,
          .lateBlocks = lateBlocks,
          .callbackTicks = callbackTicks,
          .maximumTicks = maximumTicks,
          .outputPeak = outputPeak,
          .window = window};
}

void TestAsioDevice::reset() {
  for (auto* count :
       {&created, &wrongThread, &wrongOrder, &panels, &outputReadies, &engineVersion, &timeInfo, &resetAnswer}) {
    count->store(0);
  }
  for (auto* count : {&blocks, &timedBlocks, &strayBlocks, &mismatches, &lateBlocks, &callbackTicks, &maximumTicks}) {
    count->store(0);
  }
  outputPeak = 0.0;
  window = nullptr;
}

void TestAsioDevice::report(const std::string& file) const {
  FILE* out = file.empty() ? nullptr : std::fopen(file.c_str(), "wb");
  if (out == nullptr) {
    return;
  }
  const TestAsioStatistics now = statistics();
  const double average =
      now.blocks > 0 ? static_cast<double>(now.callbackTicks) / static_cast<double>(now.blocks) / 1e4 : 0.0;
  std::fprintf(out,
               "{\"blocks\":%lld,\"lateBlocks\":%lld,\"averageMs\":%.4f,\"maximumMs\":%.4f,\"outputPeak\":%.6f,"
               "\"mismatches\":%lld,\"wrongThread\":%d,\"wrongOrder\":%d,\"objects\":%d,\"bufferSets\":%d,"
               "\"outputReadies\":%d,\"window\":%s}\n",
               static_cast<long long>(now.blocks), static_cast<long long>(now.lateBlocks), average,
               static_cast<double>(now.maximumTicks) / 1e4, now.outputPeak, static_cast<long long>(now.mismatches),
               now.wrongThread, now.wrongOrder, now.objects, now.bufferSets, now.outputReadies,
               now.window != nullptr ? "true" : "false");
  std::fclose(out);
}

TestAsioDevice& DeviceOf(int32_t driver) {
  static TestAsioDevice devices[2] = {TestAsioDevice("TARNWICK_TEST_ASIO_1"), TestAsioDevice("TARNWICK_TEST_ASIO_2")};
  return devices[driver == 1 ? 1 : 0];
}

}  // namespace tarnwick::tests
