// Whether a request comes from one of our own pages. A browser tells with `Origin` whose page sends a request; a
// foreign page may reach the server under a name of its own that resolves to this machine, so the name asked for counts
// too.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::remote {

// The rule is for what changes something: POST, and the channel on "/ws".
bool NeedsOwnOrigin(std::string_view method, std::string_view path);

// `host` and `origin` are the values of those fields, if sent; `machineName` is the machine's own, in UTF-8. The host
// must be an address literal, localhost or the machine's name (with or without ".local"), each with or without a port,
// and the origin must name the same host and port. A client that leaves one of the fields out is no browser and passes.
// Pure; any thread.
bool IsOwnOrigin(std::optional<std::string_view> host, std::optional<std::string_view> origin,
                 std::string_view machineName);

}  // namespace tarnwick::remote
