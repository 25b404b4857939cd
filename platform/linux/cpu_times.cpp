#include "platform/cpu_times.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/files.h"
#include "platform/linux/proc_stat.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

constexpr size_t kMostBytes = size_t{4} << 20;
constexpr size_t kMostProcessors = 8192;  // as many as a kernel can be built for
constexpr uint64_t kUnitsPerSecond = 10'000'000;

std::string_view nextLine(std::string_view& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

// The numbers of a line in the kernel's order; guest time, which follows, is contained in user time. An old kernel has
// fewer of them.
std::optional<CpuTimes> timesIn(std::string_view numbers, uint64_t ticksPerSecond) {
  enum : size_t { user, nice, system, idle, iowait, irq, softirq, steal, kCount };
  constexpr size_t kNeeded = idle + 1;
  std::array<uint64_t, kCount> ticks{};
  size_t count = 0;
  while (count < ticks.size()) {
    numbers.remove_prefix(std::min(numbers.find_first_not_of(' '), numbers.size()));
    const char* end = numbers.data() + numbers.size();
    const auto [stop, problem] = std::from_chars(numbers.data(), end, ticks[count]);
    if (problem != std::errc{}) {
      break;
    }
    numbers.remove_prefix(static_cast<size_t>(stop - numbers.data()));
    ++count;
  }
  if (count < kNeeded) {
    return std::nullopt;
  }
  const auto units = [ticksPerSecond](uint64_t sum) { return sum * kUnitsPerSecond / ticksPerSecond; };
  CpuTimes times;
  times.idle = units(ticks[idle] + ticks[iowait]);
  times.kernel = units(ticks[idle] + ticks[iowait] + ticks[system] + ticks[irq] + ticks[softirq] + ticks[steal]);
  times.user = units(ticks[user] + ticks[nice]);
  return times;
}

std::optional<ProcessorAccount> readAccount() {
  const FileContents text = ReadWholeFile(L"/proc/stat", kMostBytes);
  return ParseProcStat(text.bytes, static_cast<uint64_t>(std::max(1L, sysconf(_SC_CLK_TCK))));
}

}  // namespace

std::optional<ProcessorAccount> ParseProcStat(std::string_view text, uint64_t ticksPerSecond) {
  constexpr std::string_view kName = "cpu";
  ProcessorAccount account;
  bool total = false;
  while (!text.empty()) {
    std::string_view line = nextLine(text);
    if (!line.starts_with(kName)) {
      continue;
    }
    line.remove_prefix(kName.size());
    size_t number = 0;
    const auto [stop, problem] = std::from_chars(line.data(), line.data() + line.size(), number);
    line.remove_prefix(static_cast<size_t>(stop - line.data()));
    const std::optional<CpuTimes> times = timesIn(line, ticksPerSecond);
    if (!times) {
      continue;
    }
    if (problem == std::errc::invalid_argument) {  // no number: all together
      account.total = *times;
      total = true;
    } else if (problem == std::errc{} && number < kMostProcessors) {
      account.processors.resize(std::max(account.processors.size(), number + 1));
      account.processors[number] = *times;
    }
  }
  return total ? std::optional(std::move(account)) : std::nullopt;
}

bool ReadTotalCpuTimes(CpuTimes& times) {
  const std::optional<ProcessorAccount> account = readAccount();
  if (account) {
    times = account->total;
  }
  return account.has_value();
}

bool ReadProcessorTimes(std::vector<CpuTimes>& times) {
  std::optional<ProcessorAccount> account = readAccount();
  times.clear();
  if (account) {
    times = std::move(account->processors);
  }
  return !times.empty();
}

std::wstring ProcessorName() {
  const FileContents text = ReadWholeFile(L"/proc/cpuinfo", kMostBytes);
  std::string_view rest = text.bytes;
  while (!rest.empty()) {
    const std::string_view line = nextLine(rest);
    const size_t colon = line.find(':');
    if (line.starts_with("model name") && colon != std::string_view::npos) {
      return Trimmed(WideFromUtf8(line.substr(colon + 1)));
    }
  }
  return {};
}

}  // namespace tarnwick::platform
