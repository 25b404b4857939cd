#include <gtest/gtest.h>

#include <algorithm>

#include "scratch_location.h"
#include "settings/settings_store.h"

namespace tarnwick::settings {
namespace {

// However the file was cut: what is read of it is right, and it can be written again.
TEST(SettingsFile, CutAtAnyLengthItGivesWhatIsStillWhole) {
  const ScratchLocation scratch;
  const SettingsMap settings = {{L"device", L"\u00C4 \"2\""}, {L"sampleRate", L"48000"}};
  ASSERT_TRUE(WriteSettings(scratch.location(), settings));
  const platform::Bytes whole = platform::ReadBytes(scratch.file());
  size_t most = 0;
  for (size_t length = whole.size() % 7; length <= whole.size(); length += 7) {
    platform::WriteBytes(scratch.file(), {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
    const SettingsMap read = ReadSettings(scratch.location());
    EXPECT_TRUE(std::includes(settings.begin(), settings.end(), read.begin(), read.end())) << length;
    ASSERT_GE(read.size(), most) << length;
    most = read.size();
  }
  EXPECT_EQ(most, settings.size());
  platform::WriteBytes(scratch.file(), {whole.begin(), whole.begin() + 900});
  ASSERT_TRUE(WriteSettings(scratch.location(), settings));
  EXPECT_EQ(ReadSettings(scratch.location()), settings);
}

}  // namespace
}  // namespace tarnwick::settings
