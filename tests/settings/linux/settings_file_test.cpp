#include <gtest/gtest.h>

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
  for (size_t length = 0; length <= whole.size(); ++length) {
    platform::WriteBytes(scratch.file(), {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
    const SettingsMap read = ReadSettings(scratch.location());
    for (const auto& [name, value] : read) {
      const auto expected = settings.find(name);
      ASSERT_TRUE(expected != settings.end() && expected->second == value) << length;
    }
    ASSERT_GE(read.size(), most) << length;
    most = read.size();
    if (length % 100 == 0) {
      ASSERT_TRUE(WriteSettings(scratch.location(), settings)) << length;
      ASSERT_EQ(ReadSettings(scratch.location()), settings) << length;
    }
  }
  EXPECT_EQ(most, settings.size());
}

}  // namespace
}  // namespace tarnwick::settings
