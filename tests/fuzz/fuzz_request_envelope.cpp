// The text of a request on the channel. Aborts when something accepted breaks a rule, or cannot be answered.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "remote/http_query.h"
#include "remote/request_envelope.h"

using namespace tarnwick::remote;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto envelope = ParseRequestEnvelope({reinterpret_cast<const char*>(data), size});
  if (!envelope) {
    return 0;
  }
  if (envelope->path.empty() || envelope->id.empty() || envelope->id.size() > 20 ||
      envelope->id.find_first_not_of("-0123456789") != std::string::npos || envelope->path.size() > size) {
    std::abort();
  }
  ParseTarget(envelope->path);
  // An answer is itself well formed, but no request.
  if (ParseRequestEnvelope(ResponseEnvelope(envelope->id, 200, "{\"a\":1}"))) {
    std::abort();
  }
  return 0;
}
