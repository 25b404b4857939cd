// What is stored under a setting's name, from its envelope to the value. Aborts when something read does not come back
// the same after it was written.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/text.h"
#include "settings/envelope.h"
#include "settings/program_settings.h"

namespace {

using namespace tarnwick;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// The text under every name.
settings::SettingsMap everywhere(const std::wstring& text) {
  settings::SettingsMap map;
  for (const wchar_t* name :
       {L"pluginPath", L"device", L"sampleRate", L"bufferSize", L"rememberSettings", L"uiPriority", L"instances",
        L"schedulePcRestartMinutes", L"cpuSteeringMaskEngine", L"cpuSteeringMaskOtherProcesses"}) {
    map.emplace(name, text);
  }
  return map;
}

void checkValues(const std::wstring& text) {
  const settings::ProgramSettings read = settings::SettingsFromMap(everywhere(text));
  require(settings::SettingsFromMap(settings::MapFromSettings(read)) == read);
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
