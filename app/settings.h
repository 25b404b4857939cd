// The settings between the store and the application. User-interface thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "app/changes.h"
#include "app/settings_table.h"
#include "settings/save_schedule.h"
#include "settings/settings_store.h"

namespace tarnwick::app {

struct Application;
struct Options;

// The user's choices beside the device, the effect and the instances. The table of the settings has the defaults.
struct Preferences {
  double sampleRate = 0.0;  // Hz
  int32_t bufferSize = 0;   // samples; 0 = the device's preferred length
  bool rememberSettings = false;
  bool runAtStartup = false;
  bool autoStartAsio = false;
  bool autoStartInstances = false;
  bool scheduleReboot = false;
  std::chrono::minutes restartTime{0};  // since midnight
};

// Where the settings go. User-interface thread; the writer has only what it was given.
struct SettingsKeeper {
  std::wstring location;  // empty = they are not kept
  settings::SaveSchedule schedule{true};
  std::thread writer;  // writes, or has written, what was last due
  enum Outcome : int { none, succeeded, failed };
  std::atomic<int> outcome{none};  // of the writer, until it is taken

  // The names of the settings that options have set for this run and nobody has chosen since: they are not stored.
  std::set<std::wstring_view> forThisRun;

  ~SettingsKeeper() {
    if (writer.joinable()) {
      writer.join();
    }
  }
};

// Where they lie for these options.
std::wstring SettingsLocation(const Options& options);
// The rate and the block length of the start, which the virtual device needs before the application is complete.
Preferences FirstPreferences(const Options& options, const settings::SettingsMap& stored);
// Gives every setting its value: an option's for this run, else the stored one, else the default. Before anything has
// started.
void TakeSettings(Application& app, const settings::SettingsMap& stored);
// From here on changes are stored at `location`.
void KeepSettings(Application& app, const std::wstring& location);

// The settings as they are now. What is absent stays as it is stored: a device that was cleared because it does not
// answer, and what an option has set for this run and nobody has changed since.
settings::SettingsMap CurrentSettings(const Application& app);

// A change that a user asks for: a setting of the table and a value of its kind.
struct SettingChange {
  const Setting* setting;
  settings::Value value;
};
// Makes all changes or none: false when any value cannot be meant, `error` then says why in a sentence.
bool ChangeSettings(Application& app, const std::vector<SettingChange>& changes, std::wstring& error);

// Listens to the application's changes: notes those that are to be stored.
void NoteChange(Application& app, Changed what);
// Makes or removes the entry that starts the program when the user logs on.
bool SetRunAtStartup(Application& app, bool enabled, std::wstring& error);

// Writes what is to be written now, on a thread of its own. To be called a few times a second.
void SaveWhenDue(Application& app);
// Writes what is left. Waits for the disk. May be called more than once: before whatever may end the program.
void SaveAtEnd(Application& app);

}  // namespace tarnwick::app
