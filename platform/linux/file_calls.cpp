#include "platform/file_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/files.h"
#include "platform/linux/file_descriptor.h"
#include "platform/linux/uninterrupted.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

constexpr int kMostLinks = 40;  // as many as the kernel follows

FileKind kindIn(const struct stat& status) {
  return S_ISREG(status.st_mode) ? FileKind::file : S_ISDIR(status.st_mode) ? FileKind::folder : FileKind::other;
}

int flagsFor(FileUse use) {
  switch (use) {
    case FileUse::read:
      return O_RDONLY | O_NONBLOCK | O_NOCTTY;
    case FileUse::write:
      return O_WRONLY | O_CREAT | O_NOCTTY;
    case FileUse::privateNew:
      break;
  }
  return O_WRONLY | O_CREAT | O_EXCL;
}

class LinuxFileCalls : public FileCalls {
 public:
  std::wstring resolve(const std::wstring& wide) override {
    std::error_code failure;
    std::filesystem::path path = std::filesystem::absolute(Utf8FromWide(wide), failure);
    for (int followed = 0; followed < kMostLinks && !failure; ++followed) {
      if (!std::filesystem::is_symlink(std::filesystem::symlink_status(path, failure))) {
        return WideFromUtf8(path.string());
      }
      path = path.parent_path() / std::filesystem::read_symlink(path, failure);
    }
    return {};
  }

  FileKind kindOf(const std::wstring& path) override {
    struct stat status {};
    if (stat(Utf8FromWide(path).c_str(), &status) == 0) {
      return kindIn(status);
    }
    return errno == ENOENT || errno == ENOTDIR ? FileKind::missing : FileKind::unknown;
  }

  FileKind kindOf(FileHandle file) override {
    struct stat status {};
    return fstat(static_cast<int>(file), &status) == 0 ? kindIn(status) : FileKind::unknown;
  }

  FileHandle open(const std::wstring& path, FileUse use) override {
    const mode_t mode = use == FileUse::privateNew ? 0600 : 0666;
    return Uninterrupted([&] { return ::open(Utf8FromWide(path).c_str(), flagsFor(use) | O_CLOEXEC, mode); });
  }

  int64_t read(FileHandle file, char* to, size_t size) override {
    return Uninterrupted([&] { return ::read(static_cast<int>(file), to, size); });
  }

  int64_t write(FileHandle file, const char* from, size_t size) override {
    return Uninterrupted([&] { return ::write(static_cast<int>(file), from, size); });
  }

  bool seek(FileHandle file, uint64_t position) override {
    return lseek(static_cast<int>(file), static_cast<off_t>(position), SEEK_SET) >= 0;
  }

  bool truncate(FileHandle file, uint64_t size) override {
    return Uninterrupted([&] { return ftruncate(static_cast<int>(file), static_cast<off_t>(size)); }) == 0;
  }

  bool sync(FileHandle file) override {
    return Uninterrupted([&] { return fdatasync(static_cast<int>(file)); }) == 0;
  }

  void close(FileHandle file) override { ::close(static_cast<int>(file)); }

  bool rename(const std::wstring& from, const std::wstring& to) override {
    return std::rename(Utf8FromWide(from).c_str(), Utf8FromWide(to).c_str()) == 0;
  }

  bool remove(const std::wstring& path) override { return unlink(Utf8FromWide(path).c_str()) == 0; }

  bool makeFolder(const std::wstring& path) override { return mkdir(Utf8FromWide(path).c_str(), 0777) == 0; }

  bool syncFolder(const std::wstring& path) override {
    const FileDescriptor folder(
        Uninterrupted([&] { return ::open(Utf8FromWide(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    // Some file systems have nothing to do here and say so.
    return folder.valid() && (fsync(folder.get()) == 0 || errno == EINVAL || errno == EROFS);
  }

  std::wstring reason() override {
    return errno == 0 ? L"the system gave no reason" : WideFromUtf8(std::generic_category().message(errno));
  }
};

}  // namespace

FileCalls& SystemFileCalls() {
  static LinuxFileCalls calls;
  return calls;
}

std::wstring FolderOf(const std::wstring& path) {
  const size_t slash = path.find_last_of(L'/');
  if (slash == std::wstring::npos || path.size() == 1) {
    return {};
  }
  return path.substr(0, slash == 0 ? 1 : slash);
}

std::optional<uint64_t> FreeSpace(const std::wstring& folder) {
  struct statvfs space {};
  if (statvfs(Utf8FromWide(folder).c_str(), &space) != 0) {
    return std::nullopt;
  }
  return uint64_t{space.f_bavail} * space.f_frsize;
}

}  // namespace tarnwick::platform
