// Where the settings outlast the program: named texts in envelopes, in the registry or the settings file. Any thread,
// one at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>

#include "platform/crypto.h"

namespace tarnwick::settings {

using SettingsMap = std::map<std::wstring, std::wstring>;  // name to text

inline constexpr const wchar_t* kWriteFailure = L"Failed to write settings (registry).";
inline constexpr const wchar_t* kStartupLinkFailure = L"Failed to create startup shortcut.";
inline constexpr const wchar_t* kStartupUnlinkFailure = L"Failed to remove startup shortcut.";

// Everything stored at `location` (platform::DefaultRegistryLocation()), of all names. What is no envelope is left out;
// empty when there is nothing or it cannot be read.
SettingsMap ReadSettings(const std::wstring& location);

using RandomSource = std::function<bool(std::span<uint8_t>)>;

// Writes every entry that has a name; what is stored under other names stays. False when the place cannot be opened or
// an entry could not be written, which is also so when `random` fails: an entry is never written with bytes that are
// not fresh. The other entries are written all the same. On Linux it waits for the disk.
bool WriteSettings(const std::wstring& location, const SettingsMap& settings,
                   const RandomSource& random = platform::RandomBytes);

// Starts the program when the user logs on, or no longer does. False when the system refuses. User-interface thread.
bool SetRunAtStartup(bool enabled);

}  // namespace tarnwick::settings
