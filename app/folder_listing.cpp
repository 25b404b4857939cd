#include "app/folder_listing.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "platform/module.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace tarnwick::app {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMostEntries = 5000;
constexpr size_t kMostVisited = 20000;  // files that are no modules, too
constexpr wchar_t kExtension[] = L".vst3";
constexpr wchar_t kNoFolder[] = L"There is no such folder.";

fs::path pathOf(const std::wstring& text) {
  const std::string utf8 = platform::Utf8FromWide(text);
  return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

std::wstring textOf(const fs::path& path) {
  const std::u8string utf8 = path.u8string();
  return platform::WideFromUtf8(std::string(utf8.begin(), utf8.end()));
}

bool isModuleName(const std::wstring& name) {
  constexpr size_t kLength = std::size(kExtension) - 1;
  return name.size() > kLength && platform::EqualIgnoringCase(name.substr(name.size() - kLength), kExtension);
}

// The browser's line for a folder's entry; nothing for files that are no modules.
std::optional<FolderEntry> entryFor(const fs::directory_entry& item) {
  std::error_code fault;
  const std::wstring path = textOf(item.path());
  FolderEntry entry;
  entry.name = textOf(item.path().filename());
  entry.isDirectory = item.is_directory(fault);
  if (isModuleName(entry.name) && (!entry.isDirectory || platform::FileExists(platform::ResolveModuleFile(path)))) {
    entry.isDirectory = false;
    return entry;
  }
  return entry.isDirectory ? std::optional(entry) : std::nullopt;
}

bool goesBefore(const FolderEntry& a, const FolderEntry& b) {
  if (a.isDirectory != b.isDirectory) {
    return a.isDirectory;
  }
  const std::wstring left = platform::LowerCase(a.name);
  const std::wstring right = platform::LowerCase(b.name);
  return left != right ? left < right : a.name < b.name;
}

void addPlace(const std::wstring& path, std::vector<FolderEntry>& entries) {
  const auto isIt = [&path](const FolderEntry& entry) { return entry.name == path; };
  if (!path.empty() && std::none_of(entries.begin(), entries.end(), isIt)) {
    entries.push_back({path, true, true});
  }
}

void listPlaces(std::vector<FolderEntry>& entries) {
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

bool listFolder(const fs::path& folder, std::vector<FolderEntry>& entries) {
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

FolderListing refusedWith(const wchar_t* error) {
  FolderListing listing;
  listing.error = error;
  return listing;
}

FolderListing lookAtDisk(const std::wstring& path) {
  FolderListing listing;
  if (path.empty()) {
    listPlaces(listing.entries);
    listing.succeeded = true;
    return listing;
  }
  try {
    std::error_code fault;
    fs::path folder = fs::absolute(pathOf(path), fault).lexically_normal();
    if (!folder.has_filename() && folder.has_relative_path()) {
      folder = folder.parent_path();  // without the separator at its end
    }
    if (fault || !platform::NamesOwnDrive(textOf(folder)) || !fs::is_directory(folder, fault)) {
      return refusedWith(kNoFolder);
    }
    listing.resolved = textOf(folder);
    listing.succeeded = listFolder(folder, listing.entries);
    listing.error = listing.succeeded ? L"" : L"This folder cannot be read.";
    return listing;
  } catch (const std::exception&) {  // a path that the system cannot express
    return refusedWith(kNoFolder);
  }
}

}  // namespace

FolderListing ListWithHelpers(HelperThreads& helpers, const FolderLook& look, const std::wstring& path) {
  if (!path.empty() && !platform::NamesOwnDrive(path)) {
    return refusedWith(kNoFolder);
  }
  const auto listing = std::make_shared<FolderListing>();
  const bool inTime = helpers.run([listing, look, path] { *listing = look(path); });
  return inTime ? std::move(*listing) : FolderListing{};
}

FolderListing ListPluginFiles(const std::wstring& path) {
  return ListWithHelpers(DiskHelpers(), &lookAtDisk, path);
}

}  // namespace tarnwick::app
