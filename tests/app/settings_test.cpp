// When the settings are written, and what is told of it.
#include <gmock/gmock.h>

#include <algorithm>

#include "app/application_rig.h"
#include "scratch_location.h"
#include "system/fake_machine.h"

namespace tarnwick::app {
namespace {

TEST(Settings, AFailureIsReportedOnceUntilAWriteHasSucceeded) {
  const settings::ScratchLocation place;
  Rig rig;
  KeepSettings(rig.app, place.unusable());
  const auto reports = [&rig] {
    return std::count(rig.seen.log.begin(), rig.seen.log.end(), std::wstring(settings::kWriteFailure));
  };
  rig.app.changed(Changed::setting);
  SaveWhenDue(rig.app);
  SaveAtEnd(rig.app);  // as before a restart that the system refuses; the writer has an outcome of its own
  EXPECT_EQ(reports(), 1);
  SaveWhenDue(rig.app);
  SaveAtEnd(rig.app);
  EXPECT_EQ(reports(), 1);

  rig.app.settings.location = place.location();
  SaveAtEnd(rig.app);
  EXPECT_FALSE(settings::ReadSettings(place.location()).empty());
  rig.app.settings.location = place.unusable();
  SaveAtEnd(rig.app);
  EXPECT_EQ(reports(), 2);
}

TEST(Settings, EveryRequestThatChangesOneIsNotedForSaving) {
  InstanceChange gain;
  gain.inputGainDb = -3.0;
  const std::vector<SettingChange> row = {{&SettingNamed(L"audioPriority"), 0}};
  const system::SteeringMasks masks = {0, 1, 0, 0, 0};
  std::wstring error;
  const struct {
    const char* request;
    std::function<void(Application& app)> run;
  } cases[] = {
      {"device", [](Application& app) { SelectDevice(app, L"Another"); }},
      {"effect", [](Application& app) { ChooseEffect(app, L"/another.vst3"); }},
      {"add", [](Application& app) { AddNextInstance(app, nullptr); }},
      {"remove", [](Application& app) { RemoveLastInstance(app, nullptr); }},
      {"instance", [&](Application& app) { ChangeInstance(app, 0, gain, error); }},
      {"bypass all", [](Application& app) { SetBypassAll(app, true); }},
      {"pink all", [](Application& app) { SetTestSignalAll(app, true); }},
      {"steering", [&](Application& app) { SetSteering(app, masks); }},
      {"ui priority", [](Application& app) { SetUiPriority(app, 0); }},
      {"a row of the table", [&](Application& app) { ChangeSettings(app, row, error); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.request);
    Options options = runOptions(0.0);
    options.plugin.clear();
    options.virtualDevice.clock = sound::VirtualClock::real;
    Rig rig(options);
    system::FakeMachine machine;
    rig.app.systemControl.processes = machine.processes();
    AddWiredInstances(rig.app, 2);
    const auto due = [&] { return rig.app.settings.schedule.due({}, [&] { return CurrentSettings(rig.app); }); };
    const auto before = CurrentSettings(rig.app);
    ASSERT_FALSE(due()) << "nothing has changed";
    c.run(rig.app);
    const auto after = due();
    EXPECT_TRUE(after && *after != before);
  }
}

}  // namespace
}  // namespace tarnwick::app
