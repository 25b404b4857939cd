// Whether a request comes from one of our own pages. A browser tells with `Origin` whose page sends a request; a
// foreign page may reach the server under a name of its own that resolves to this machine, so the name asked for counts
// too.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::remote {

// The rule is for what changes something: POST, and the channel on "/ws".
bool NeedsOwnOrigin(std::string_view method, std::string_view path);

// Why such a request is refused, for a person to read, in UTF-8; empty when it may go on. `host` and `origin` are the
// values of those fields, if sent. The host must be an address literal, localhost, or one of the machine's names, with
// or without ".local", a dot at the end and a port; and the origin must name the same host and port. A client that
// leaves one of the fields out is no browser and passes. `machineNames` tells the names, in UTF-8; it is asked only
// when the host is a name. Any thread.
std::string OriginRefusal(std::optional<std::string_view> host, std::optional<std::string_view> origin,
                          const std::function<std::vector<std::string>()>& machineNames);

}  // namespace tarnwick::remote
