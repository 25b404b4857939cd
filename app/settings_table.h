// The table of the settings: a setting is one row, and the store, the patches and the status document of the remote
// control, the ranges of the command line and docs/settings.md follow it. The player's are not among them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "settings/value.h"

namespace tarnwick::app {

struct Application;

// The remote control's patch that may change a setting.
enum class Patch { none, host, audio, steering };
// Where the status document has a setting's member: by itself where it tells more than the setting, else among the
// switches before the device or among the settings after it, in the order of the rows.
enum class Member { own, switches, settings };

// How a setting is read from the application and written to it. User-interface thread.
struct Access {
  // The present value; nothing when it is not to be stored now, so that the stored one stays.
  std::optional<settings::Value> (*get)(const Application& app);
  // Takes a value that fits. Also at the start of the program, when nothing else runs yet.
  void (*set)(Application& app, const settings::Value& value);
};

struct Setting {
  const wchar_t* name;      // of the stored value
  settings::Form form;      // a value outside is refused, and passed over where it was stored
  const wchar_t* standard;  // the default, as it would be stored
  const char* meaning;      // for docs/settings.md
  Access access;

  Patch patch = Patch::none;
  const char* key = "";  // of the query and of the status document
  Member member = Member::own;

  // Asked before a change, when every value of the patch has been found to fit: false with a sentence where the system
  // or the session does not take this one. Null: any value that fits is taken.
  bool (*admit)(Application& app, const settings::Value& value, std::wstring& error) = nullptr;
  // Makes a change by a user. Null: access.set.
  void (*change)(Application& app, const settings::Value& value) = nullptr;
};

// The row whose value is tried out before it is admitted.
inline constexpr wchar_t kEffectSetting[] = L"pluginPath";

// All rows.
std::span<const Setting> Settings();
// The row of that name, which there must be.
const Setting& SettingNamed(std::wstring_view name);

// Why a value that does not fit is refused.
std::wstring RefusalOf(const Setting& setting);

}  // namespace tarnwick::app
