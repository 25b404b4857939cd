// The machine's domains, from the texts in which a system keeps them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::platform {

// Of the lines "domain NAME" and "search NAME..." in the resolver's settings (/etc/resolv.conf).
std::vector<std::wstring> DomainsInResolverSettings(std::string_view text);
// Of the names "HOST.DOMAIN" in the table of hosts (/etc/hosts).
std::vector<std::wstring> DomainsInHosts(std::string_view text, std::wstring_view host);

}  // namespace tarnwick::platform
