// The first bytes of any client: the head of a request, its fields and its target.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "remote/http_head.h"
#include "remote/http_origin.h"
#include "remote/http_query.h"

using namespace tarnwick::remote;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  IsHeadComplete(bytes);
  const auto head = ParseRequestHead(std::string(bytes));
  if (!head) {
    return 0;
  }
  if (head->method.empty() || head->target.empty() || head->raw != bytes ||
      bytes.find(head->method + " " + head->target + " ") != 0) {
    std::abort();
  }
  const std::string_view after = BytesAfterHead(head->raw);
  if (!bytes.ends_with(after)) {
    std::abort();
  }
  FieldContains(head->raw, "Connection", "upgrade");
  HeaderField(head->raw, "Content-Length");
  const auto host = HeaderField(head->raw, "Host");
  const auto origin = HeaderField(head->raw, "Origin");
  // Whoever passes with an origin passes without it.
  const auto names = [] { return std::vector<std::string>{"venue"}; };
  if (OriginRefusal(host, origin, names).empty() && !OriginRefusal(host, {}, names).empty()) {
    std::abort();
  }
  ParseTarget(head->target);
  return 0;
}
