#include "app/effect_trial.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>

#include "app/helper_threads.h"
#include "platform/child_process.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace tarnwick::app {
namespace {

constexpr std::chrono::milliseconds kValidationTime{8000};

// An empty text for what the system cannot express as a path.
std::wstring absolutePath(const std::wstring& text) {
  try {
    std::error_code fault;
    const std::string utf8 = platform::Utf8FromWide(text);
    const auto path = std::filesystem::absolute(std::u8string(utf8.begin(), utf8.end()), fault).lexically_normal();
    const std::u8string absolute = path.u8string();
    return platform::WideFromUtf8(std::string(absolute.begin(), absolute.end()));
  } catch (const std::exception&) {
    return {};
  }
}

// The module file behind a path, empty when there is none.
std::wstring moduleFile(const std::wstring& path) {
  const std::wstring absolute = absolutePath(path);
  if (!platform::NamesOwnDrive(absolute)) {
    return {};
  }
  const std::wstring file = platform::ResolveModuleFile(absolute);
  return platform::FileExists(file) ? file : std::wstring();
}

}  // namespace

bool TryOutEffect(std::wstring& path, const std::atomic<bool>& cancelled, std::wstring& error) {
  static std::mutex oneAtATime;
  const std::unique_lock trial(oneAtATime, std::try_to_lock);
  if (!trial.owns_lock()) {
    error = L"Another effect is being tried out.";
    return false;
  }
  const auto found = std::make_shared<std::wstring>();
  if (!DiskHelpers().run([found, asked = platform::Trimmed(path)] { *found = moduleFile(asked); })) {
    error = L"The disk did not answer in time.";
    return false;
  }
  const std::wstring file = *found;
  if (file.empty()) {
    error = L"There is no such file.";
    return false;
  }
  const auto answer =
      platform::RunOwnProgram({"--validate", platform::Utf8FromWide(file)}, kValidationTime, &cancelled);
  if (!answer) {
    error = L"The effect did not answer in time.";
    return false;
  }
  if (answer->exitCode != 0) {
    error = platform::Trimmed(platform::WideFromUtf8(answer->output));
    if (error.empty()) {
      error = L"The effect failed while it was tried out.";
    }
    return false;
  }
  path = file;
  return true;
}

}  // namespace tarnwick::app
