// Targets with their parameters. Aborts when a decoded text grows, or plain text changes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "remote/http_query.h"

using namespace tarnwick::remote;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string decoded = DecodeQueryText(text);
  const bool plain = text.find_first_of("%+") == std::string_view::npos;
  if (decoded.size() > size || (plain && decoded != text)) {
    std::abort();
  }
  const SplitTarget split = ParseTarget(text);
  const auto pairs = static_cast<size_t>(std::count(text.begin(), text.end(), '&')) + 1;
  if (split.path != text.substr(0, text.find('?')) || split.query.size() > pairs) {
    std::abort();
  }
  return 0;
}
