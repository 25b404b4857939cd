// The system's calls that files.cpp is made of, one function each. A test stands between the rules and the system with
// a class of its own that notes the calls and lets one of them fail. Paths are wide and of any length. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnwick::platform {

using FileHandle = intptr_t;
inline constexpr FileHandle kNoFile = -1;

enum class FileKind {
  missing,
  file,
  folder,
  other,    // a pipe, a device
  unknown,  // the system does not tell
};

enum class FileUse {
  read,
  write,       // made when missing; contents stay
  privateNew,  // must be missing; for the user alone
};

class FileCalls {
 public:
  virtual ~FileCalls() = default;

  // Absolute, with links followed, also when there is nothing at their end. Empty when they go in circles.
  virtual std::wstring resolve(const std::wstring& path) = 0;
  virtual FileKind kindOf(const std::wstring& path) = 0;  // of a link: what it points to
  virtual FileKind kindOf(FileHandle file) = 0;
  virtual FileHandle open(const std::wstring& path, FileUse use) = 0;
  // The number of bytes, 0 at the end of the file, -1 on failure.
  virtual int64_t read(FileHandle file, char* to, size_t size) = 0;
  // The number of bytes taken, which may be fewer than given; 0 or less on failure.
  virtual int64_t write(FileHandle file, const char* from, size_t size) = 0;
  virtual bool seek(FileHandle file, uint64_t position) = 0;
  virtual bool truncate(FileHandle file, uint64_t size) = 0;
  // The file's data and size are on the disk when this returns true.
  virtual bool sync(FileHandle file) = 0;
  virtual void close(FileHandle file) = 0;
  // Both in one folder; what lies under `to` is replaced.
  virtual bool rename(const std::wstring& from, const std::wstring& to) = 0;
  virtual bool remove(const std::wstring& path) = 0;
  virtual bool makeFolder(const std::wstring& path) = 0;  // in one that is there
  // The folder's entries are on the disk when this returns true.
  virtual bool syncFolder(const std::wstring& path) = 0;
  // Why the last failed call of this thread failed, in the system's words.
  virtual std::wstring reason() = 0;
};

FileCalls& SystemFileCalls();

// The folder that holds an absolute path's last name; empty for a root.
std::wstring FolderOf(const std::wstring& path);

}  // namespace tarnwick::platform
