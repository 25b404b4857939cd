// HTTP answers as bytes. Pure; any thread.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick::remote {

inline constexpr std::string_view kHtmlType = "text/html; charset=utf-8";
inline constexpr std::string_view kJsonType = "application/json; charset=utf-8";
inline constexpr std::string_view kIconType = "image/x-icon";

// "404 Not Found"; a code that the server does not use is an internal error.
std::string_view HttpStatusText(int status);

// A whole answer, after which the connection is closed.
std::string BuildHttpResponse(std::string_view statusText, std::string_view contentType, std::string_view body);

}  // namespace tarnwick::remote
