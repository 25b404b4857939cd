// Files as a whole: read, replaced, set aside; folders and free space; and one that is written as it comes. Paths are
// wide and of any length. A failure's text names the file and is a whole sentence. Any thread, never the audio path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/file_calls.h"

namespace tarnwick::platform {

enum class FileRead {
  whole,
  cut,  // the file goes on after the limit
  missing,
  failed,  // there is something, but it cannot be read or is no file; a pipe is not waited for
};

struct FileContents {
  FileRead result = FileRead::missing;
  std::string bytes;  // the first `limit` at most
};

// Reads a regular file, or one of the kernel (/proc, /sys). `error` is set for `missing` and `failed`.
FileContents ReadWholeFile(const std::wstring& path, size_t limit, std::wstring* error = nullptr);

// Gives a regular file new contents, or makes it, with its folder where that is missing. The new contents are on the
// disk when this returns true, and a power cut at any moment leaves the old file or the new one. A link stays and its
// target is replaced. Linux: mode 0600. False leaves the file as it was, except after a failure of the disk in the very
// last step.
bool ReplaceFileContents(const std::wstring& path, std::string_view contents, std::wstring* error = nullptr,
                         FileCalls& calls = SystemFileCalls());

// Keeps a copy of a file that cannot be used beside it: "NAME.corrupt.20260131-235959.txt", NAME without its extension.
// A copy of that name that is there already stays. Returns the copy's path; empty on failure, with nothing left behind.
std::wstring KeepCorruptCopy(const std::wstring& path, const LocalTime& now, std::wstring* error = nullptr,
                             FileCalls& calls = SystemFileCalls());

// Makes the folder and those above it that are missing, and brings the new entries to the disk. True when it is there.
bool MakeFolder(const std::wstring& path, std::wstring* error = nullptr, FileCalls& calls = SystemFileCalls());

// Bytes that this user can still write in `folder`, which must be there; nothing when the system does not tell.
std::optional<uint64_t> FreeSpace(const std::wstring& folder);

// A file that is written as it comes, without a buffer of its own: what was written is the system's. One thread at a
// time.
class OutputFile {
 public:
  OutputFile() = default;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile() { close(); }

  // Opens the file, which is made when missing and whose contents stay. A pipe waits here for its reader. Once at a
  // time. False with the reason in words that name the file.
  bool open(const std::wstring& path, std::wstring* error = nullptr);
  bool isOpen() const { return file_ != kNoFile; }
  // A file, in which positions mean something; not a pipe, a terminal or a device.
  bool isSeekable() const { return seekable_; }
  // Empties the file; what is written next is its beginning. False with words; nothing happens to what cannot seek.
  bool clear(std::wstring* error = nullptr);
  // Writes everything at the current position and moves it. False with words when that failed, a part may be written.
  bool write(const void* bytes, size_t size, std::wstring* error = nullptr);
  // Moves the position of the next write, in bytes from the beginning. False with words where that is not possible.
  bool seek(uint64_t position, std::wstring* error = nullptr);
  // Everything written is on the disk when this returns true; waits for the disk. False with words. True at once for
  // what has no disk behind it.
  bool sync(std::wstring* error = nullptr);
  void close();

 private:
  bool fail(const wchar_t* action, std::wstring* error) const;

  std::wstring path_;
  FileHandle file_ = kNoFile;
  bool seekable_ = false;
};

}  // namespace tarnwick::platform
