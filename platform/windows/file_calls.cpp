#include "platform/file_calls.h"

#include <algorithm>
#include <optional>

#include "platform/files.h"
#include "platform/windows/error_text.h"
#include "platform/windows/handle.h"
#include "platform/windows/long_path.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

constexpr size_t kMostAtOnce = size_t{1} << 30;
constexpr DWORD kSharedByAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE handleOf(FileHandle file) {
  return reinterpret_cast<HANDLE>(file);
}

FileHandle openPath(const std::wstring& path, DWORD access, DWORD sharing, DWORD creation, DWORD flags) {
  // INVALID_HANDLE_VALUE is kNoFile.
  return reinterpret_cast<FileHandle>(
      CreateFileW(ExtendedPath(path).c_str(), access, sharing, nullptr, creation, flags, nullptr));
}

// The file at the end of a link. Empty when there is none.
std::wstring endOfLink(const std::wstring& path) {
  const FileHandle file = openPath(path, 0, kSharedByAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
  if (file == kNoFile) {
    return {};
  }
  const Handle owner(handleOf(file));
  std::wstring end(32768, L'\0');
  end.resize(GetFinalPathNameByHandleW(owner.get(), end.data(), static_cast<DWORD>(end.size()), FILE_NAME_NORMALIZED));
  return end;
}

class WindowsFileCalls : public FileCalls {
 public:
  std::wstring resolve(const std::wstring& path) override {
    std::wstring absolute = AbsolutePath(path);
    while (absolute.size() > 3 && absolute.back() == L'\\') {
      absolute.pop_back();
    }
    const DWORD attributes = GetFileAttributesW(ExtendedPath(absolute).c_str());
    const bool isLink = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return isLink ? endOfLink(absolute) : absolute;
  }

  FileKind kindOf(const std::wstring& path) override {
    const DWORD attributes = GetFileAttributesW(ExtendedPath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
      const DWORD code = GetLastError();
      return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ? FileKind::missing : FileKind::unknown;
    }
    if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) {
      return FileKind::other;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileKind::folder : FileKind::file;
  }

  FileKind kindOf(FileHandle file) override {
    return GetFileType(handleOf(file)) == FILE_TYPE_DISK ? FileKind::file : FileKind::other;
  }

  FileHandle open(const std::wstring& path, FileUse use) override {
    switch (use) {
      case FileUse::read:
        return openPath(path, GENERIC_READ, kSharedByAll, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
      case FileUse::write:
        return openPath(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL);
      case FileUse::privateNew:
        break;
    }
    return openPath(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW, FILE_ATTRIBUTE_NORMAL);
  }

  int64_t read(FileHandle file, char* to, size_t size) override {
    DWORD got = 0;
    const auto wanted = static_cast<DWORD>(std::min(size, kMostAtOnce));
    return ReadFile(handleOf(file), to, wanted, &got, nullptr) ? int64_t{got} : -1;
  }

  int64_t write(FileHandle file, const char* from, size_t size) override {
    DWORD taken = 0;
    const auto given = static_cast<DWORD>(std::min(size, kMostAtOnce));
    return WriteFile(handleOf(file), from, given, &taken, nullptr) ? int64_t{taken} : -1;
  }

  bool seek(FileHandle file, uint64_t position) override {
    LARGE_INTEGER to;
    to.QuadPart = static_cast<LONGLONG>(position);
    return SetFilePointerEx(handleOf(file), to, nullptr, FILE_BEGIN) != FALSE;
  }

  bool truncate(FileHandle file, uint64_t size) override {
    return seek(file, size) && SetEndOfFile(handleOf(file)) != FALSE;
  }

  bool sync(FileHandle file) override { return FlushFileBuffers(handleOf(file)) != FALSE; }

  void close(FileHandle file) override { CloseHandle(handleOf(file)); }

  bool rename(const std::wstring& from, const std::wstring& to) override {
    return MoveFileExW(ExtendedPath(from).c_str(), ExtendedPath(to).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
  }

  bool remove(const std::wstring& path) override { return DeleteFileW(ExtendedPath(path).c_str()) != FALSE; }

  bool makeFolder(const std::wstring& path) override {
    return CreateDirectoryW(ExtendedPath(path).c_str(), nullptr) != FALSE;
  }

  // A folder's handle cannot be flushed; the file system keeps its entries in a journal, and `rename` writes through.
  bool syncFolder(const std::wstring&) override { return true; }

  std::wstring reason() override { return SystemErrorText(GetLastError()); }
};

}  // namespace

FileCalls& SystemFileCalls() {
  static WindowsFileCalls calls;
  return calls;
}

std::wstring FolderOf(const std::wstring& path) {
  const size_t end = path.find_last_of(L"\\/");
  if (end == std::wstring::npos || end + 1 == path.size()) {
    return {};
  }
  return path.substr(0, end > 0 && path[end - 1] == L':' ? end + 1 : end);
}

std::optional<uint64_t> FreeSpace(const std::wstring& folder) {
  ULARGE_INTEGER available{};
  if (GetDiskFreeSpaceExW(ExtendedPath(folder).c_str(), &available, nullptr, nullptr) == FALSE) {
    return std::nullopt;
  }
  return available.QuadPart;
}

}  // namespace tarnwick::platform
