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
      {L"equals", L"a=b=c"},
      {L"blanks", L" \t text \t "},
      {L"escapes", L"\\\"\\n\\\\%s\x01"},
      {L"long", std::wstring(100'000, L'x')},
      {L"N\u00E4me \u266B", L"\u00DF\u4E2D\U0001F3B5"},
  };
  EXPECT_TRUE(WriteRegistry(place, values));
  EXPECT_EQ(ReadRegistry(place), values);
  EXPECT_TRUE(WriteRegistry(place, {{L"", L"nameless"}, {L"long", L"now short"}}));
  RegistryValues changed = values;
  changed[L"long"] = L"now short";
  EXPECT_EQ(ReadRegistry(place), changed);
}

}  // namespace
}  // namespace tarnwick::platform
