#include "platform/windows/error_text.h"

#include <cwchar>

#include "platform/text.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

constexpr wchar_t kSubjectMark[] = L"%1";

std::wstring withSubject(std::wstring text, const std::wstring& subject) {
  const size_t at = text.find(kSubjectMark);
  if (at != std::wstring::npos) {
    text.replace(at, std::size(kSubjectMark) - 1, subject.empty() ? L"The file" : L"\"" + subject + L"\"");
  }
  return text;
}

}  // namespace

std::wstring SystemErrorText(uint32_t code, const std::wstring& subject) {
  wchar_t* message = nullptr;
  // Without inserts: a message may ask for more of them than there are to give.
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                          FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                      nullptr, code, 0, reinterpret_cast<wchar_t*>(&message), 0, nullptr);
  const std::wstring text = Trimmed(std::wstring_view(message, length));
  LocalFree(message);
  if (text.empty()) {
    wchar_t number[32];
    std::swprintf(number, std::size(number), L"Error 0x%08X.", static_cast<unsigned>(code));
    return number;
  }
  return withSubject(text, subject);
}

}  // namespace tarnwick::platform
