// Where the program lies, and questions about files.
#pragma once

#include <string>

namespace tarnwick::platform {

// Folder of the running executable, without a trailing separator.
std::wstring ExecutableFolder();
// `folder` and `name` joined with the system's separator.
std::wstring JoinPath(const std::wstring& folder, const std::wstring& name);
bool FileExists(const std::wstring& path);  // a folder is not a file
bool FolderExists(const std::wstring& path);

}  // namespace tarnwick::platform
