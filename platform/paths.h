// Where the program lies, and questions about files.
#pragma once

#include <string>
#include <vector>

namespace tarnwick::platform {

// Folder of the running executable, without a trailing separator.
std::wstring ExecutableFolder();
// `folder` and `name` joined with the system's separator.
std::wstring JoinPath(const std::wstring& folder, const std::wstring& name);
bool FileExists(const std::wstring& path);  // a folder is not a file
bool FolderExists(const std::wstring& path);
// Whether looking at `path` stays on the drives that this machine names itself. Windows: only "X:\\..." does, no share
// and no device. Linux: whatever does not begin as those. The disk is not asked; a drive may still be of the network.
bool NamesOwnDrive(const std::wstring& path);
// Where looking for a file may begin. Windows: the roots of the drives that have something in them ("C:\\"). Linux:
// "/", the user's home folder, and what is mounted at or below /media, /run/media and /mnt. Without drives of the
// network, as one that does not answer would hold up whoever looks at it.
std::vector<std::wstring> Drives();
// The folders where effects are installed by custom, whether they are there or not.
std::vector<std::wstring> PluginFolders();

}  // namespace tarnwick::platform
