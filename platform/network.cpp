#include "platform/network.h"

#include <algorithm>

#include "platform/text.h"

namespace tarnwick::platform {

std::string Ipv4Text(uint32_t address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string((address >> shift) & 0xFF);
    text += shift > 0 ? "." : "";
  }
  return text;
}

std::vector<std::wstring> NamesInDomains(const std::wstring& host, const std::vector<std::wstring>& domains) {
  if (host.empty()) {
    return {};
  }
  std::vector<std::wstring> names{host};
  for (const std::wstring& domain : domains) {
    const size_t begin = domain.find_first_not_of(L'.');
    if (begin == std::wstring::npos) {
      continue;
    }
    std::wstring name = host + L'.' + domain.substr(begin, domain.find_last_not_of(L'.') + 1 - begin);
    const bool known =
        std::any_of(names.begin(), names.end(), [&name](const auto& other) { return EqualIgnoringCase(name, other); });
    if (!known) {
      names.push_back(std::move(name));
    }
  }
  return names;
}

}  // namespace tarnwick::platform
