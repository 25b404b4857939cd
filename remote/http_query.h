// Request targets: path, query and its parameters. Pure; any thread.
#pragma once

#include <string>
#include <string_view>

#include "remote/router.h"

namespace tarnwick::remote {

struct SplitTarget {
  std::string path;  // not decoded
  QueryParameters query;
};

// Splits at the first "?".
SplitTarget ParseTarget(std::string_view target);

// "+" is a blank, "%" and two hexadecimal digits are a byte; a "%" that two such digits do not follow stays as it is.
std::string DecodeQueryText(std::string_view text);

// "a=1&b=2". A pair without "=" has an empty value, an empty pair is none, and of two values for one key the last
// counts.
QueryParameters ParseQuery(std::string_view query);

}  // namespace tarnwick::remote
