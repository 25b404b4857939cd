#include "platform/linux/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/linux/file_descriptor.h"

namespace tarnwick::platform {
namespace {

constexpr int kMostLinks = 40;  // as many as the kernel follows

FileDescriptor openFile(const std::string& path, int flags) {
  int file = -1;
  do {
    file = open(path.c_str(), flags | O_CLOEXEC);
  } while (file < 0 && errno == EINTR);
  return FileDescriptor(file);
}

bool isRegular(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written > 0) {
      bytes.remove_prefix(static_cast<size_t>(written));
    } else if (written == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool syncFolder(const std::filesystem::path& folder) {
  const FileDescriptor directory = openFile(folder.string(), O_RDONLY | O_DIRECTORY);
  // Some file systems have nothing to do here and say so.
  return directory.valid() && (fsync(directory.get()) == 0 || errno == EINVAL || errno == EROFS);
}

// Makes `folder` and those above it that are missing, and brings the new entries to the disk.
bool makeFolder(const std::filesystem::path& folder) {
  std::error_code failure;
  std::filesystem::path existing = folder;
  while (!std::filesystem::exists(existing, failure) && existing.has_relative_path()) {
    existing = existing.parent_path();
  }
  std::filesystem::create_directories(folder, failure);
  if (!std::filesystem::is_directory(folder, failure)) {
    return false;
  }
  for (std::filesystem::path made = folder; made != existing && made.has_relative_path(); made = made.parent_path()) {
    if (!syncFolder(made.parent_path())) {
      return false;
    }
  }
  return true;
}

// Only a regular file may be replaced: a device or a pipe under that name is no place of ours.
bool isReplaceable(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? S_ISREG(status.st_mode) : errno == ENOENT;
}

}  // namespace

std::optional<FileText> ReadFileText(const std::string& path, size_t limit) {
  const FileDescriptor file = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.valid() || !isRegular(file.get())) {
    return std::nullopt;
  }
  FileText text;
  std::array<char, 16384> piece{};
  for (;;) {
    const ssize_t got = read(file.get(), piece.data(), piece.size());
    if (got < 0) {
      if (errno == EINTR) {
        continue;
      }
      return std::nullopt;
    }
    if (got == 0) {
      text.complete = true;
      return text;
    }
    const size_t taken = std::min(static_cast<size_t>(got), limit - text.bytes.size());
    text.bytes.append(piece.data(), taken);
    if (taken < static_cast<size_t>(got)) {
      return text;
    }
  }
}

std::string LinkTarget(std::string path) {
  std::error_code failure;
  for (int followed = 0; followed < kMostLinks; ++followed) {
    if (!std::filesystem::is_symlink(std::filesystem::symlink_status(path, failure))) {
      return path;
    }
    const std::filesystem::path target = std::filesystem::read_symlink(path, failure);
    if (failure) {
      return {};
    }
    path = (std::filesystem::path(path).parent_path() / target).string();
  }
  return {};
}

bool ReplaceFileContents(const std::string& path, std::string_view contents) try {
  std::string target = LinkTarget(path);
  if (target.empty()) {
    return false;
  }
  target = std::filesystem::absolute(target).string();
  const std::filesystem::path folder = std::filesystem::path(target).parent_path();
  if (!makeFolder(folder) || !isReplaceable(target)) {
    return false;
  }
  // A name of its own each time: what a power cut has left behind is in nobody's way.
  std::string temporary = target + ".XXXXXX";
  FileDescriptor file(mkostemp(temporary.data(), O_CLOEXEC));
  if (!file.valid()) {
    return false;
  }
  const bool whole = writeAll(file.get(), contents) && fsync(file.get()) == 0;
  file.close();
  if (!whole || std::rename(temporary.c_str(), target.c_str()) != 0) {
    unlink(temporary.c_str());
    return false;
  }
  return syncFolder(folder);
} catch (const std::exception&) {
  return false;
}

}  // namespace tarnwick::platform
