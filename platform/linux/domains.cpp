#include "platform/linux/domains.h"

#include <functional>
#include <sstream>

#include "platform/text.h"

namespace tarnwick::platform {
namespace {

// Calls `take` with each word of each line and its number in the line; comments are left out.
void forEachWord(std::string_view text, const std::function<void(size_t number, const std::string& word)>& take) {
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(0, line.find_first_of("#;")));
    size_t number = 0;
    for (std::string word; words >> word; ++number) {
      take(number, word);
    }
  }
}

}  // namespace

std::vector<std::wstring> DomainsInResolverSettings(std::string_view text) {
  std::vector<std::wstring> domains;
  bool listed = false;
  forEachWord(text, [&](size_t number, const std::string& word) {
    if (number == 0) {
      listed = word == "domain" || word == "search";
    } else if (listed) {
      domains.push_back(WideFromUtf8(word));
    }
  });
  return domains;
}

std::vector<std::wstring> DomainsInHosts(std::string_view text, std::wstring_view host) {
  std::vector<std::wstring> domains;
  forEachWord(text, [&](size_t number, const std::string& word) {
    const std::wstring name = WideFromUtf8(word);
    const size_t dot = name.find(L'.');
    if (number > 0 && dot != std::wstring::npos && EqualIgnoringCase(name.substr(0, dot), host)) {
      domains.push_back(name.substr(dot + 1));
    }
  });
  return domains;
}

}  // namespace tarnwick::platform
