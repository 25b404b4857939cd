#include "app/plugin_files.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/child_process.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace tarnwick::app {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMostEntries = 5000;
constexpr size_t kMostVisited = 20000;  // files that are no modules, too
constexpr wchar_t kExtension[] = L".vst3";
constexpr std::chrono::milliseconds kValidationTime{8000};
constexpr std::chrono::milliseconds kDiskTime{2000};
constexpr int kMostHelpers = 4;
constexpr wchar_t kNoFolder[] = L"There is no such folder.";

fs::path pathOf(const std::wstring& text) {
  const std::string utf8 = platform::Utf8FromWide(text);
  return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

std::wstring textOf(const fs::path& path) {
  const std::u8string utf8 = path.u8string();
  return platform::WideFromUtf8(std::string(utf8.begin(), utf8.end()));
}

// An empty text for what the system cannot express as a path.
std::wstring absolutePath(const std::wstring& text) {
  try {
    std::error_code fault;
    return textOf(fs::absolute(pathOf(text), fault).lexically_normal());
  } catch (const std::exception&) {
    return {};
  }
}

bool isModuleName(const std::wstring& name) {
  constexpr size_t kLength = std::size(kExtension) - 1;
  return name.size() > kLength && platform::EqualIgnoringCase(name.substr(name.size() - kLength), kExtension);
}

// What the browser shows of a folder's entry; nothing for files that are no modules.
std::optional<remote::RemotePlaybackFileEntry> entryFor(const fs::directory_entry& item) {
  std::error_code fault;
  const std::wstring path = textOf(item.path());
  remote::RemotePlaybackFileEntry entry;
  entry.name = textOf(item.path().filename());
  entry.isDirectory = item.is_directory(fault);
  if (isModuleName(entry.name) && (!entry.isDirectory || platform::FileExists(platform::ResolveModuleFile(path)))) {
    entry.isDirectory = false;
    return entry;
  }
  return entry.isDirectory ? std::optional(entry) : std::nullopt;
}

bool goesBefore(const remote::RemotePlaybackFileEntry& a, const remote::RemotePlaybackFileEntry& b) {
  if (a.isDirectory != b.isDirectory) {
    return a.isDirectory;
  }
  const std::wstring left = platform::LowerCase(a.name);
  const std::wstring right = platform::LowerCase(b.name);
  return left != right ? left < right : a.name < b.name;
}

void addPlace(const std::wstring& path, std::vector<remote::RemotePlaybackFileEntry>& entries) {
  const auto isIt = [&path](const remote::RemotePlaybackFileEntry& entry) { return entry.name == path; };
  if (!path.empty() && std::none_of(entries.begin(), entries.end(), isIt)) {
    entries.push_back({path, true, true});
  }
}

void listPlaces(std::vector<remote::RemotePlaybackFileEntry>& entries) {
  for (const std::wstring& folder : platform::PluginFolders()) {
    if (platform::FolderExists(folder)) {
      addPlace(folder, entries);
    }
  }
  addPlace(platform::ExecutableFolder(), entries);
  for (const std::wstring& drive : platform::Drives()) {
    addPlace(drive, entries);
  }
}

bool listFolder(const fs::path& folder, std::vector<remote::RemotePlaybackFileEntry>& entries) {
  std::error_code fault;
  fs::directory_iterator item(folder, fs::directory_options::skip_permission_denied, fault);
  for (size_t visited = 0;
       !fault && item != fs::directory_iterator() && entries.size() < kMostEntries && visited < kMostVisited;
       item.increment(fault), ++visited) {
    if (auto entry = entryFor(*item)) {
      entries.push_back(std::move(*entry));
    }
  }
  std::sort(entries.begin(), entries.end(), &goesBefore);
  return !fault;
}

bool lookAtDisk(const std::wstring& path, std::vector<remote::RemotePlaybackFileEntry>& entries, std::wstring& resolved,
                std::wstring& error) {
  if (path.empty()) {
    listPlaces(entries);
    return true;
  }
  try {
    std::error_code fault;
    fs::path folder = fs::absolute(pathOf(path), fault).lexically_normal();
    if (!folder.has_filename() && folder.has_relative_path()) {
      folder = folder.parent_path();  // without the separator at its end
    }
    if (fault || !platform::NamesOwnDrive(textOf(folder)) || !fs::is_directory(folder, fault)) {
      error = kNoFolder;
      return false;
    }
    resolved = textOf(folder);
    if (!listFolder(folder, entries)) {
      error = L"This folder cannot be read.";
      return false;
    }
    return true;
  } catch (const std::exception&) {  // a path that the system cannot express
    error = kNoFolder;
    return false;
  }
}

// Never destroyed: a helper may hang until the process ends.
HelperThreads& diskHelpers() {
  static auto* helpers = new HelperThreads(kDiskTime, kMostHelpers);
  return *helpers;
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

bool ListWithHelpers(HelperThreads& helpers, const FolderLook& look, const std::wstring& path,
                     std::vector<remote::RemotePlaybackFileEntry>& entries, std::wstring& resolved,
                     std::wstring& error) {
  struct Listing {
    std::vector<remote::RemotePlaybackFileEntry> entries;
    std::wstring resolved;
    std::wstring error;
    bool succeeded = false;
  };
  entries.clear();
  resolved.clear();
  if (!path.empty() && !platform::NamesOwnDrive(path)) {
    error = kNoFolder;
    return false;
  }
  const auto listing = std::make_shared<Listing>();
  const bool inTime = helpers.run(
      [listing, look, path] { listing->succeeded = look(path, listing->entries, listing->resolved, listing->error); });
  if (!inTime) {
    return false;
  }
  entries = std::move(listing->entries);
  resolved = std::move(listing->resolved);
  error = std::move(listing->error);
  return listing->succeeded;
}

bool ListPluginFiles(const std::wstring& path, std::vector<remote::RemotePlaybackFileEntry>& entries,
                     std::wstring& resolved, std::wstring& error) {
  return ListWithHelpers(diskHelpers(), &lookAtDisk, path, entries, resolved, error);
}

bool CheckPluginChoice(std::wstring& path, const std::atomic<bool>& cancelled, std::wstring& error) {
  static std::mutex oneAtATime;
  const std::unique_lock trial(oneAtATime, std::try_to_lock);
  if (!trial.owns_lock()) {
    error = L"Another effect is being tried out.";
    return false;
  }
  const auto found = std::make_shared<std::wstring>();
  if (!diskHelpers().run([found, asked = platform::Trimmed(path)] { *found = moduleFile(asked); })) {
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
