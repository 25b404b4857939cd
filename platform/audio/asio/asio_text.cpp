#include "platform/audio/asio/asio_text.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "platform/audio/asio/asio_interface.h"
#include "platform/text.h"

namespace tarnwick::platform {

std::wstring WideFromSystemText(const std::string& text) {
  const auto bytes = static_cast<int>(text.size());
  const int length = bytes > 0 ? MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0) : 0;
  std::wstring wide(static_cast<size_t>(std::max(length, 0)), L'\0');
  if (length > 0) {
    MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), length);
  }
  return wide;
}

void SetChannelName(AudioChannelInfo& info, const char (&name)[32]) {
  const std::string text = Utf8FromWide(WideFromSystemText({name, std::find(name, std::end(name), '\0')}));
  size_t length = std::min(text.size(), sizeof info.name - 1);
  while (length > 0 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
    length -= 1;
  }
  std::memset(info.name, 0, sizeof info.name);
  std::memcpy(info.name, text.data(), length);
}

AsioError AsioErrorInMessage(const std::string& message) {
  static constexpr struct {
    const char* name;
    AsioError error;
  } kErrors[] = {
      {"ASE_HWMalfunction", ASE_HWMalfunction},
      {"ASE_InvalidParameter", ASE_InvalidParameter},
      {"ASE_InvalidMode", ASE_InvalidMode},
      {"ASE_SPNotAdvancing", ASE_SPNotAdvancing},
      {"ASE_NoClock", ASE_NoClock},
      {"ASE_NoMemory", ASE_NoMemory},
  };
  for (const auto& [name, error] : kErrors) {
    if (message.find(name) != std::string::npos) {
      return error;
    }
  }
  return ASE_NotPresent;
}

}  // namespace tarnwick::platform
