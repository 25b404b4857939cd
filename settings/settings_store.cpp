#include "settings/settings_store.h"

#include "platform/registry.h"
#include "platform/startup_link.h"
#include "settings/envelope.h"

namespace tarnwick::settings {

SettingsMap ReadSettings(const std::wstring& location) {
  SettingsMap settings;
  for (const auto& [name, text] : platform::ReadRegistry(location)) {
    if (const auto value = ParseEnvelope(text)) {
      settings.emplace(name, *value);
    }
  }
  return settings;
}

bool WriteSettings(const std::wstring& location, const SettingsMap& settings, const RandomSource& random) {
  bool complete = true;
  platform::RegistryValues values;
  for (const auto& [name, value] : settings) {
    if (name.empty()) {
      continue;
    }
    EnvelopeNonce nonce{};
    EnvelopePadding padding{};
    if (random(nonce) && random(padding)) {
      values.emplace(name, MakeEnvelope(value, nonce, padding));
    } else {
      complete = false;
    }
  }
  return platform::WriteRegistry(location, values) && complete;
}

bool SetRunAtStartup(bool enabled) {
  return enabled ? platform::CreateStartupLink() : platform::RemoveStartupLink();
}

}  // namespace tarnwick::settings
