#include "engine/instance_config.h"

#include <gtest/gtest.h>

namespace tarnwick::engine {
namespace {

TEST(InstanceConfig, GainTextIsClampedWholeDecibels) {
  const struct {
    const wchar_t* text;
    std::optional<int32_t> db;
  } cases[] = {{L"0", 0},
               {L"24", 24},
               {L"25", 24},
               {L"99999999999999", 24},
               {L"-60", -60},
               {L"-61", -60},
               {L" 7 ", 7},
               {L"-3.9", -3},
               {L"+6 dB", 6},
               {L"1e999", 24},
               {L"", std::nullopt},
               {L"loud", std::nullopt},
               {L"nan", std::nullopt}};
  for (const auto& c : cases) {
    EXPECT_EQ(GainDbFromText(c.text), c.db) << c.text;
  }
}

TEST(InstanceConfig, FactorsFollowTheDecibels) {
  EXPECT_EQ(LinearGain(0), 1.0f);  // exactly: the chain skips the multiplication at 1
  EXPECT_FLOAT_EQ(LinearGain(24), 15.848932f);
  EXPECT_FLOAT_EQ(LinearGain(-20), 0.1f);
  InstanceConfig config;
  config.inputGainDb = 90;
  config.outputGainDb = -90;
  DeriveGains(config);
  EXPECT_EQ(config.inputGainDb, 24);
  EXPECT_FLOAT_EQ(config.inputGain, 15.848932f);
  EXPECT_EQ(config.outputGainDb, -60);
  EXPECT_FLOAT_EQ(config.outputGain, 0.001f);
}

}  // namespace
}  // namespace tarnwick::engine
