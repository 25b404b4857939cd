#pragma once

#include <string_view>

namespace tarnwick::remote {

// The HTML document of the browser page that is served at a path ("/cpu-monitor", without a query), UTF-8, complete
// with its style and script; empty when the path has no page. The text lives as long as the program. Any thread.
std::string_view PageFor(std::string_view path);

// The program's icon: the bytes of an .ico file. Any thread.
std::string_view ProgramIcon();

}  // namespace tarnwick::remote
