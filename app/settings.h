// The settings between the store and the application. User-interface thread.
#pragma once

#include <string>

#include "app/application.h"
#include "settings/program_settings.h"

namespace tarnwick::app {

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

// The settings of the instances have changed; then as NoteChange.
void NoteInstanceChange(Application& app);
// To be called after every change of what a setting stands for.
void NoteChange(Application& app);
// Switches remembering. What was changed before it is switched off is still stored.
void SetRememberSettings(Application& app, bool enabled);
// Makes or removes the entry that starts the program when the user logs on.
bool SetRunAtStartup(Application& app, bool enabled, std::wstring& error);

// Writes what is to be written now, on a thread of its own. To be called a few times a second.
void SaveWhenDue(Application& app);
// Writes what is left. Waits for the disk. May be called more than once: before whatever may end the program.
void SaveAtEnd(Application& app);

}  // namespace tarnwick::app
