#include "platform/files.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <vector>

#include "platform/text.h"

namespace tarnwick::platform {
namespace {

constexpr size_t kFilePiece = 65536;
constexpr int kNamesTried = 100;

// Closed by its destructor.
class OpenFile {
 public:
  OpenFile(FileCalls& calls, const std::wstring& path, FileUse use) : calls_(calls), file_(calls.open(path, use)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { close(); }
  bool isOpen() const { return file_ != kNoFile; }
  FileHandle get() const { return file_; }
  void close() {
    if (isOpen()) {
      calls_.close(file_);
      file_ = kNoFile;
    }
  }

 private:
  FileCalls& calls_;
  FileHandle file_;
};

std::wstring sentence(const std::wstring& path, const wchar_t* action, std::wstring reason) {
  while (!reason.empty() && reason.back() == L'.') {
    reason.pop_back();
  }
  return L"\"" + path + L"\" cannot be " + action + L": " + reason + L".";
}

bool refuse(const std::wstring& path, const wchar_t* action, const std::wstring& reason, std::wstring* error) {
  if (error != nullptr) {
    *error = sentence(path, action, reason);
  }
  return false;
}

bool writeAll(FileCalls& calls, FileHandle file, std::string_view bytes) {
  while (!bytes.empty()) {
    const int64_t taken = calls.write(file, bytes.data(), bytes.size());
    if (taken <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(taken));
  }
  return true;
}

bool makeFolders(FileCalls& calls, const std::wstring& folder, std::wstring& reason) {
  const FileKind kind = calls.kindOf(folder);
  if (kind == FileKind::folder) {
    return true;
  }
  const std::wstring above = FolderOf(folder);
  if (kind != FileKind::missing || above.empty()) {
    reason = kind == FileKind::missing || kind == FileKind::unknown ? calls.reason() : L"there is something else";
    return false;
  }
  if (!makeFolders(calls, above, reason)) {
    return false;
  }
  if (!calls.makeFolder(folder)) {
    reason = calls.reason();
    if (calls.kindOf(folder) != FileKind::folder) {  // another program may have made it in this moment
      return false;
    }
  }
  if (!calls.syncFolder(above)) {
    reason = calls.reason();
    return false;
  }
  return true;
}

// A name of its own each time: what a power cut has left behind is in nobody's way.
std::wstring nameBeside(const std::wstring& path) {
  static std::atomic<uint32_t> count{0};
  wchar_t ending[32];
  const auto number = static_cast<unsigned long long>(CounterNow()) ^ (count.fetch_add(1) * 0x9E3779B9ull << 16);
  std::swprintf(ending, std::size(ending), L".%08llx", number & 0xFFFFFFFFull);
  return path + ending;
}

// Makes a file under `name` with what `fill` writes, on the disk. Nothing is left behind on failure, whose reason is
// that of the failed call.
template <class Fill>
bool makeFile(FileCalls& calls, OpenFile& file, const std::wstring& name, std::wstring& reason, Fill fill) {
  if (fill(file.get()) && calls.sync(file.get())) {
    file.close();
    return true;
  }
  reason = calls.reason();
  file.close();
  calls.remove(name);
  return false;
}

bool copyAll(FileCalls& calls, FileHandle from, FileHandle to) {
  std::vector<char> piece(kFilePiece);
  for (;;) {
    const int64_t got = calls.read(from, piece.data(), piece.size());
    if (got <= 0) {
      return got == 0;
    }
    if (!writeAll(calls, to, std::string_view(piece.data(), static_cast<size_t>(got)))) {
      return false;
    }
  }
}

}  // namespace

FileContents ReadWholeFile(const std::wstring& path, size_t limit, std::wstring* error) {
  FileCalls& calls = SystemFileCalls();
  FileContents contents;
  const OpenFile file(calls, path, FileUse::read);
  if (!file.isOpen()) {
    refuse(path, L"read", calls.reason(), error);
    contents.result = calls.kindOf(path) == FileKind::missing ? FileRead::missing : FileRead::failed;
    return contents;
  }
  contents.result = FileRead::failed;
  if (calls.kindOf(file.get()) != FileKind::file) {
    refuse(path, L"read", L"it is not a file", error);
    return contents;
  }
  std::vector<char> piece(kFilePiece);
  for (;;) {
    const int64_t got = calls.read(file.get(), piece.data(), piece.size());
    if (got < 0) {
      refuse(path, L"read", calls.reason(), error);
      contents.bytes.clear();
      return contents;
    }
    const size_t taken = std::min(static_cast<size_t>(got), limit - contents.bytes.size());
    contents.bytes.append(piece.data(), taken);
    if (got == 0 || taken < static_cast<size_t>(got)) {
      contents.result = got == 0 ? FileRead::whole : FileRead::cut;
      return contents;
    }
  }
}

bool ReplaceFileContents(const std::wstring& path, std::string_view contents, std::wstring* error, FileCalls& calls) {
  const std::wstring target = path.empty() ? path : calls.resolve(path);
  const std::wstring folder = FolderOf(target);
  if (folder.empty()) {
    return refuse(path, L"written", L"the name leads to no file", error);
  }
  if (!MakeFolder(folder, error, calls)) {
    return false;
  }
  // A device or a pipe under that name is no place of ours.
  const FileKind kind = calls.kindOf(target);
  if (kind != FileKind::file && kind != FileKind::missing) {
    return refuse(path, L"written", L"there is something else than a file", error);
  }
  for (int tried = 0; tried < kNamesTried; ++tried) {
    const std::wstring temporary = nameBeside(target);
    OpenFile file(calls, temporary, FileUse::privateNew);
    std::wstring reason = file.isOpen() ? L"" : calls.reason();
    if (!file.isOpen() && calls.kindOf(temporary) == FileKind::file) {
      continue;
    }
    if (!file.isOpen() ||
        !makeFile(calls, file, temporary, reason, [&](FileHandle to) { return writeAll(calls, to, contents); })) {
      return refuse(path, L"written", reason, error);
    }
    if (!calls.rename(temporary, target)) {
      reason = calls.reason();
      calls.remove(temporary);
      return refuse(path, L"replaced", reason, error);
    }
    return calls.syncFolder(folder) || refuse(path, L"brought to the disk", calls.reason(), error);
  }
  return refuse(path, L"written", L"no free name beside it", error);
}

std::wstring KeepCorruptCopy(const std::wstring& path, const LocalTime& now, std::wstring* error, FileCalls& calls) {
  const std::wstring source = calls.resolve(path);
  const std::wstring folder = FolderOf(source);
  const size_t dot = source.rfind(L'.');
  wchar_t ending[64];
  std::swprintf(ending, std::size(ending), L".corrupt.%04d%02d%02d-%02d%02d%02d.txt", now.year, now.month, now.day,
                now.hour, now.minute, now.second);
  const bool hasExtension = dot != std::wstring::npos && dot > folder.size() + 1;
  const std::wstring copy = source.substr(0, hasExtension ? dot : std::wstring::npos) + ending;
  if (calls.kindOf(copy) == FileKind::file) {
    return copy;
  }
  const OpenFile from(calls, source, FileUse::read);
  if (!from.isOpen()) {
    refuse(path, L"copied", calls.reason(), error);
    return {};
  }
  OpenFile to(calls, copy, FileUse::privateNew);
  std::wstring reason = to.isOpen() ? L"" : calls.reason();
  if (!to.isOpen() ||
      !makeFile(calls, to, copy, reason, [&](FileHandle file) { return copyAll(calls, from.get(), file); })) {
    refuse(path, L"copied", reason, error);
    return {};
  }
  calls.syncFolder(folder);
  return copy;
}

bool MakeFolder(const std::wstring& path, std::wstring* error, FileCalls& calls) {
  const std::wstring folder = path.empty() ? path : calls.resolve(path);
  std::wstring reason = L"the name leads nowhere";
  return (!folder.empty() && makeFolders(calls, folder, reason)) || refuse(path, L"made as a folder", reason, error);
}

bool OutputFile::fail(const wchar_t* action, std::wstring* error) const {
  return refuse(path_, action, SystemFileCalls().reason(), error);
}

bool OutputFile::open(const std::wstring& path, std::wstring* error) {
  FileCalls& calls = SystemFileCalls();
  path_ = path;
  file_ = calls.open(path, FileUse::write);
  if (file_ == kNoFile) {
    return fail(L"created", error);
  }
  seekable_ = calls.kindOf(file_) == FileKind::file;
  return true;
}

bool OutputFile::clear(std::wstring* error) {
  FileCalls& calls = SystemFileCalls();
  return !seekable_ || (calls.truncate(file_, 0) && calls.seek(file_, 0)) || fail(L"written", error);
}

bool OutputFile::write(const void* bytes, size_t size, std::wstring* error) {
  return writeAll(SystemFileCalls(), file_, std::string_view(static_cast<const char*>(bytes), size)) ||
         fail(L"written", error);
}

bool OutputFile::seek(uint64_t position, std::wstring* error) {
  return (seekable_ && SystemFileCalls().seek(file_, position)) || fail(L"written", error);
}

bool OutputFile::sync(std::wstring* error) {
  return !seekable_ || SystemFileCalls().sync(file_) || fail(L"brought to the disk", error);
}

void OutputFile::close() {
  if (isOpen()) {
    SystemFileCalls().close(file_);
    file_ = kNoFile;
  }
}

}  // namespace tarnwick::platform
