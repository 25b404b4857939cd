// Folders as a browser of files sees them. Any thread; a disk that does not answer is not waited for beyond two
// seconds.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/helper_threads.h"

namespace tarnwick::app {

struct FolderEntry {
  std::wstring name;  // of a drive or place: the path to go to
  bool isDirectory = false;
  bool isDrive = false;
};

struct FolderListing {
  bool succeeded = false;
  std::vector<FolderEntry> entries;  // folders first, each by name without regard to case
  std::wstring resolved;             // the folder's full path
  std::wstring error;                // a sentence; empty when the disk did not answer in time
};

// Folders and effect modules of a folder; an empty path gives the drives and the usual places of effects. A bundle
// folder counts as the module that it holds. Shares of other machines and devices are no folders: a client of the page
// must not make this machine log on elsewhere.
FolderListing ListPluginFiles(const std::wstring& path);

// The same with other helpers and another disk: `look` runs on a helper.
using FolderLook = std::function<FolderListing(const std::wstring& path)>;
FolderListing ListWithHelpers(HelperThreads& helpers, const FolderLook& look, const std::wstring& path);

}  // namespace tarnwick::app
