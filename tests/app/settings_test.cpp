// When the settings are written, and what is told of it.
#include <gmock/gmock.h>

#include <algorithm>

#include "app/application_rig.h"
#include "app/settings.h"
#include "scratch_location.h"

namespace tarnwick::app {
namespace {

TEST(Settings, AFailureIsReportedOnceUntilAWriteHasSucceeded) {
  const settings::ScratchLocation place;
  Rig rig;
  KeepSettings(rig.app, place.unusable());
  const auto reports = [&rig] {
    return std::count(rig.seen.log.begin(), rig.seen.log.end(), std::wstring(settings::kWriteFailure));
  };
  NoteChange(rig.app);
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

}  // namespace
}  // namespace tarnwick::app
