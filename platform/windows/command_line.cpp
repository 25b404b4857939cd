#include "platform/windows/command_line.h"

namespace tarnwick::platform {
namespace {

// Backslashes mean themselves, but for those before a quote: there each is doubled.
std::wstring quoted(const std::wstring& argument) {
  std::wstring text = L"\"";
  size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'"') {
      text.append(backslashes + 1, L'\\');
    }
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    text += c;
  }
  text.append(backslashes, L'\\');
  return text + L'"';
}

}  // namespace

std::wstring CommandLineOf(const std::wstring& program, const std::vector<std::wstring>& arguments) {
  std::wstring line = L'"' + program + L'"';
  for (const std::wstring& argument : arguments) {
    line += L' ' + quoted(argument);
  }
  return line;
}

std::wstring ShutdownCommandLine(const std::wstring& systemFolder, wchar_t action) {
  return L'"' + systemFolder + L"\\shutdown.exe\" /" + action + L" /f /t 0";
}

}  // namespace tarnwick::platform
