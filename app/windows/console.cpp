#include "app/windows/console.h"

#include "platform/text.h"

namespace tarnwick::app {
namespace {

// The handle that the program was started with; null when there is none.
HANDLE givenHandle(DWORD which) {
  HANDLE handle = GetStdHandle(which);
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE || GetFileType(handle) == FILE_TYPE_UNKNOWN) {
    return nullptr;
  }
  return handle;
}

void write(HANDLE handle, const std::wstring& text) {
  if (handle == nullptr || text.empty()) {
    return;
  }
  DWORD mode = 0;
  DWORD written = 0;
  if (GetConsoleMode(handle, &mode) != 0) {
    WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    return;
  }
  const std::string utf8 = platform::Utf8FromWide(text);
  size_t done = 0;
  while (done < utf8.size() &&
         WriteFile(handle, utf8.data() + done, static_cast<DWORD>(utf8.size() - done), &written, nullptr) != 0 &&
         written > 0) {
    done += written;
  }
}

}  // namespace

Console::Console() : output_(givenHandle(STD_OUTPUT_HANDLE)), error_(givenHandle(STD_ERROR_HANDLE)) {
  if ((output_ != nullptr && error_ != nullptr) || AttachConsole(ATTACH_PARENT_PROCESS) == 0) {
    return;
  }
  screen_ = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_EXISTING, 0, nullptr);
  if (screen_ == INVALID_HANDLE_VALUE) {
    screen_ = nullptr;
  }
  output_ = output_ != nullptr ? output_ : screen_;
  error_ = error_ != nullptr ? error_ : screen_;
}

Console::~Console() {
  if (screen_ != nullptr) {
    CloseHandle(screen_);
  }
}

void Console::print(const std::wstring& text) const {
  write(output_, text);
}

void Console::printError(const std::string& utf8) const {
  write(error_, platform::WideFromUtf8(utf8));
}

}  // namespace tarnwick::app
