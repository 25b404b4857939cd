#include "platform/registry.h"

#include <gtest/gtest.h>

#include "platform/service_rig.h"

namespace tarnwick::platform {
namespace {

class Registry : public testing::Test {
 protected:
  ~Registry() override { RemoveRegistryPlace(place); }
  const std::wstring place = NewRegistryPlace();
};

TEST_F(Registry, ValuesComeBackAsTheyWere) {
  EXPECT_TRUE(ReadRegistry(place).empty());
  const RegistryValues values = {
      {L"empty", L""},
      {L"equals", L"a=b=c"},
      {L"blanks", L" \t text \t "},
      {L"escapes", L"\\\"\\n\\\\%s\x01"},
      {L"long", std::wstring(100'000, L'x')},
      {L"N\u00E4me \u266B", L"\u00DF\u4E2D\U0001F3B5"},
      {L"[name; with] marks #", L"#;"},
  };
  EXPECT_TRUE(WriteRegistry(place, values));
  EXPECT_EQ(ReadRegistry(place), values);
}

TEST_F(Registry, OthersStayAndANamelessOneIsSkipped) {
  EXPECT_TRUE(WriteRegistry(place, {{L"kept", L"1"}, {L"changed", L"a longer text than later"}}));
  EXPECT_TRUE(WriteRegistry(place, {{L"", L"nameless"}, {L"changed", L"2"}, {L"new", L"3"}}));
  EXPECT_EQ(ReadRegistry(place), (RegistryValues{{L"kept", L"1"}, {L"changed", L"2"}, {L"new", L"3"}}));
}

TEST_F(Registry, AValueThatCannotBeWrittenHoldsNoOtherUp) {
  const RegistryValues values = {
      {L"a", L"1"}, {std::wstring(L"b\0c", 3), L"2"}, {L"d", std::wstring(L"x\0y", 3)}, {L"e", L"3"}};
  EXPECT_FALSE(WriteRegistry(place, values));
  EXPECT_EQ(ReadRegistry(place), (RegistryValues{{L"a", L"1"}, {L"e", L"3"}}));
}

}  // namespace
}  // namespace tarnwick::platform
