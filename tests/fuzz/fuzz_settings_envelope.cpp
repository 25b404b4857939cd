// The stored text of a setting, from its envelope to the value. Aborts when something read does not come back
// the same after it was written.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/text.h"
#include "settings/envelope.h"
#include "settings/saved_instances.h"
#include "settings/value.h"

namespace {

using namespace tarnwick;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void checkValues(const std::wstring& text) {
  using settings::Kind;
  for (const Kind kind :
       {Kind::flag, Kind::whole, Kind::number, Kind::priority, Kind::mask, Kind::text, Kind::instances}) {
    const settings::Form form{kind, -1000.0, 1e6};
    if (const auto value = settings::ValueFromText(form, text)) {
      require(settings::ValueFromText(form, settings::TextFromValue(*value)) == value);
    }
  }
  if (const auto instances = settings::InstancesFromText(text)) {
    require(settings::InstancesFromText(settings::TextFromInstances(*instances)) == instances);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::wstring text = platform::WideFromUtf8({reinterpret_cast<const char*>(data), size});
  if (const auto value = settings::ParseEnvelope(text)) {
    checkValues(*value);
  }
  checkValues(text);
  require(settings::ParseEnvelope(settings::MakeEnvelope(text, {}, {})) == text);
  return 0;
}
