#include "settings/settings_store.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/registry.h"
#include "scratch_location.h"
#include "settings/envelope.h"

namespace tarnwick::settings {
namespace {

const SettingsMap kSettings = {{L"device", L"ASIO \"Desk\" \\ 2"},
                               {L"instances", L"[{\"name\":\"a\"}]"},
                               {L"line", L"a=b\r\n\tc"},
                               {L"none", L""}};

TEST(WriteSettings, SameSettingsGiveOtherTextsThatReadTheSame) {
  const ScratchLocation scratch;
  EXPECT_EQ(ReadSettings(scratch.location()), SettingsMap());
  platform::RegistryValues texts[2];
  for (auto& stored : texts) {
    ASSERT_TRUE(WriteSettings(scratch.location(), kSettings));
    EXPECT_EQ(ReadSettings(scratch.location()), kSettings);
    stored = platform::ReadRegistry(scratch.location());
    ASSERT_EQ(stored.size(), kSettings.size());
  }
  for (const auto& [name, text] : texts[0]) {
    const std::wstring& other = texts[1].at(name);
    const auto nonce = text.find(L"\"nonce\":\"") + 9;
    const auto padding = text.find(L"\"padding\":\"") + 11;
    EXPECT_NE(text.substr(nonce, 24), other.substr(nonce, 24));
    EXPECT_NE(text.substr(padding, 684), other.substr(padding, 684));
  }
}

TEST(SettingsStore, LeavesWhatItIsNotGivenAndPassesOverWhatIsNoEnvelope) {
  const ScratchLocation scratch;
  std::wstring foreign = MakeEnvelope(L"x", {}, {});
  foreign.replace(foreign.find(L"twk-setting"), 11, L"xyz-setting");
  ASSERT_TRUE(WriteSettings(scratch.location(), kSettings));
  ASSERT_TRUE(
      platform::WriteRegistry(scratch.location(), {{L"bare", L"48000"}, {L"foreign", foreign}, {L"line", L"{}"}}));
  ASSERT_TRUE(WriteSettings(scratch.location(), {{L"", L"no name"}, {L"device", L"new"}, {L"more", L"1"}}));
  SettingsMap expected = kSettings;
  expected.erase(L"line");
  expected[L"device"] = L"new";
  expected[L"more"] = L"1";
  EXPECT_EQ(ReadSettings(scratch.location()), expected);
}

// The generator fails once: the entry that it was for keeps its old text, no other does.
TEST(WriteSettings, AnEntryWithoutFreshBytesIsNotWritten) {
  for (const int failing : {0, 1}) {  // of the first entry's two calls
    const ScratchLocation scratch;
    ASSERT_TRUE(WriteSettings(scratch.location(), {{L"a", L"old"}, {L"b", L"old"}}));
    int call = 0;
    const auto random = [&](std::span<uint8_t> bytes) { return call++ != failing && platform::RandomBytes(bytes); };
    EXPECT_FALSE(WriteSettings(scratch.location(), {{L"a", L"new"}, {L"b", L"new"}}, random));
    EXPECT_EQ(ReadSettings(scratch.location()), (SettingsMap{{L"a", L"old"}, {L"b", L"new"}})) << failing;
  }
}

}  // namespace
}  // namespace tarnwick::settings
