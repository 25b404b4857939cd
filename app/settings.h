// The settings between the store and the application. User-interface thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "app/changes.h"
#include "settings/program_settings.h"
#include "settings/save_schedule.h"

namespace tarnwick::app {

struct Application;
struct Options;

// The user's choices beside the device, the effect and the instances.
struct Preferences {
  double sampleRate = 48000.0;  // Hz
  int32_t bufferSize = 256;     // samples; 0 = the device's preferred length
  bool rememberSettings = true;
  bool runAtStartup = false;
  bool autoStartAsio = false;
  bool autoStartInstances = false;
  bool scheduleReboot = false;
  int32_t rebootMinutes = 360;  // since midnight
};

// Where the settings go. User-interface thread; the writer has only what it was given.
struct SettingsKeeper {
  std::wstring location;  // empty = they are not kept
  settings::SaveSchedule schedule{true};
  std::thread writer;  // writes, or has written, what was last due
  enum Outcome : int { none, succeeded, failed };
  std::atomic<int> outcome{none};  // of the writer, until it is taken

  // Set up for this run by options, and not chosen since: not stored.
  bool deviceFromOption = false;
  bool instancesFromOptions = false;

  ~SettingsKeeper() {
    if (writer.joinable()) {
      writer.join();
    }
  }
};

// Where they lie for these options.
std::wstring SettingsLocation(const Options& options);
// What of the stored settings the application has from its beginning; options go before.
Preferences PreferencesFrom(const Options& options, const settings::ProgramSettings& stored);
// Takes the others over: device, effect, instances, priorities, processors. Before anything has started.
void TakeSettings(Application& app, const settings::ProgramSettings& stored);
// From here on changes are stored at `location`.
void KeepSettings(Application& app, const std::wstring& location);

// The settings as they are now. What is absent stays as it is stored: a device that was cleared because it does not
// answer, and what an option has set for this run and nobody has changed since.
settings::SettingsMap CurrentSettings(const Application& app);

// Listens to the application's changes: notes those that are to be stored.
void NoteChange(Application& app, Changed what);
// Switches remembering. What was changed before it is switched off is still stored.
void SetRememberSettings(Application& app, bool enabled);
// Makes or removes the entry that starts the program when the user logs on.
bool SetRunAtStartup(Application& app, bool enabled, std::wstring& error);

// Writes what is to be written now, on a thread of its own. To be called a few times a second.
void SaveWhenDue(Application& app);
// Writes what is left. Waits for the disk. May be called more than once: before whatever may end the program.
void SaveAtEnd(Application& app);

}  // namespace tarnwick::app
