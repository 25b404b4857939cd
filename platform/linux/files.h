// Whole files, read and replaced. Paths are the system's own bytes. Any thread; allocates.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::platform {

struct FileText {
  std::string bytes;
  bool complete = false;  // false when the file goes on after `limit` bytes
};

// The first `limit` bytes of a regular file or a file of the kernel (/proc, /sys). Nothing when it is missing, cannot
// be read or is of another kind; a pipe is not waited for.
std::optional<FileText> ReadFileText(const std::string& path, size_t limit);

// What `path` stands for when links are followed, also when there is nothing at their end. Empty when they go in
// circles.
std::string LinkTarget(std::string path);

// Gives a regular file new contents, or makes it, with its folder where that is missing. The new contents are on the
// disk when this returns true, and a power cut at any moment leaves the old file or the new one. A link stays and what
// it points to is replaced. Mode 0600. False leaves the file as it was, except after a failure of the disk in the very
// last step.
bool ReplaceFileContents(const std::string& path, std::string_view contents);

}  // namespace tarnwick::platform
