// The values lie in one file, one "name=text" a line.
#include "platform/registry.h"

#include <string_view>

#include "platform/files.h"
#include "platform/linux/user_folders.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

constexpr size_t kMostBytes = size_t{16} << 20;

// A line without its end is one that was cut off.
RegistryValues valuesIn(std::string_view text) {
  RegistryValues values;
  for (size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (line.ends_with('\r')) {  // an editor's work
      line.remove_suffix(1);
    }
    const size_t equals = line.find('=');
    if (equals != 0 && equals != std::string_view::npos && line.find('\0') == std::string_view::npos) {
      values.insert_or_assign(WideFromUtf8(line.substr(0, equals)), WideFromUtf8(line.substr(equals + 1)));
    }
  }
  return values;
}

bool fitsALine(const std::wstring& name, const std::wstring& text) {
  constexpr std::wstring_view kLineEnds(L"\r\n\0", 3);
  return name.find_first_of(kLineEnds) == std::wstring::npos && name.find(L'=') == std::wstring::npos &&
         text.find_first_of(kLineEnds) == std::wstring::npos;
}

}  // namespace

std::wstring DefaultRegistryLocation() {
  return WideFromUtf8(ConfigurationFolder() + "/tarnwick/settings");
}

RegistryValues ReadRegistry(const std::wstring& location) {
  return valuesIn(ReadWholeFile(location, kMostBytes).bytes);
}

bool WriteRegistry(const std::wstring& location, const RegistryValues& values) {
  const FileContents before = ReadWholeFile(location, kMostBytes);
  if (before.result == FileRead::failed) {
    return false;  // writing would lose what could not be read
  }
  RegistryValues all = valuesIn(before.bytes);
  bool done = true;
  for (const auto& [name, text] : values) {
    if (name.empty()) {
      continue;
    }
    if (fitsALine(name, text)) {
      all.insert_or_assign(name, text);
    } else {
      done = false;
    }
  }
  std::string bytes;
  for (const auto& [name, text] : all) {
    bytes += Utf8FromWide(name) + '=' + Utf8FromWide(text) + '\n';
  }
  return bytes.size() <= kMostBytes && ReplaceFileContents(location, bytes) && done;
}

}  // namespace tarnwick::platform
