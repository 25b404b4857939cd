// The effect browser's view of the disk. Any thread; a disk that does not answer is not waited for beyond two seconds.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "app/helper_threads.h"
#include "remote/records.h"

namespace tarnwick::app {

// Folders and effect modules of a folder, folders first, each by name without regard to case; an empty path gives the
// drives and the usual places of effects. A bundle folder counts as the module that it holds. `resolved` is the
// folder's full path. False with a sentence in `error` when it cannot be read, and without one when the disk does not
// answer in time. Shares of other machines and devices are no folders: a client of the page must not make this machine
// log on elsewhere.
bool ListPluginFiles(const std::wstring& path, std::vector<remote::RemotePlaybackFileEntry>& entries,
                     std::wstring& resolved, std::wstring& error);

// The same with other helpers and another disk: `look` runs on a helper.
using FolderLook = std::function<bool(const std::wstring& path, std::vector<remote::RemotePlaybackFileEntry>& entries,
                                      std::wstring& resolved, std::wstring& error)>;
bool ListWithHelpers(HelperThreads& helpers, const FolderLook& look, const std::wstring& path,
                     std::vector<remote::RemotePlaybackFileEntry>& entries, std::wstring& resolved,
                     std::wstring& error);

// Makes `path` the path of a module file and has another process of this program try it out, so that a faulty module
// cannot harm the one that plays. False with the reason when it is no usable effect; one on a share is none.
// One is tried out at a time. `cancelled` ends a trial.
bool CheckPluginChoice(std::wstring& path, const std::atomic<bool>& cancelled, std::wstring& error);

}  // namespace tarnwick::app
