// The module's parameters and its saved state.
#include <bit>
#include <limits>
#include <tuple>
#include <utility>

#include "ombrel_module_fixture.h"

namespace tarnwick::ombrel::test {
namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;

TEST_F(OmbrelModule, StateComesBackExactly) {
  const std::array<double, 3> wanted = {0.1, 1.0 / 3.0, 1.0};
  for (ParamID id = 0; id < 3; ++id) {
    controller_->setParamNormalized(id, wanted[id]);
  }
  std::vector<uint8_t> saved = savedState();
  saved.push_back(99);  // of a later version's
  for (const bool asController : {false, true}) {
    for (ParamID id = 0; id < 3; ++id) {
      controller_->setParamNormalized(id, 0.5);
    }
    MemoryStream stream(saved);
    EXPECT_EQ(asController ? controller_->setComponentState(&stream) : component_->setState(&stream), kResultOk);
    EXPECT_EQ(values(), wanted);
  }
}

TEST_F(OmbrelModule, BadStatesChangeNothing) {
  const std::vector<uint8_t> good = savedState();
  auto expected = values();
  std::vector<std::vector<uint8_t>> bad;
  for (size_t length = 0; length < good.size(); ++length) {
    bad.emplace_back(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length));
  }
  for (const size_t changed : {0UL, 3UL, 4UL, 7UL}) {  // mark and version
    bad.push_back(good);
    bad.back()[changed] ^= 0x20;
  }
  for (const double value : {-0.01, 1.01, std::numeric_limits<double>::quiet_NaN()}) {
    const auto word = std::bit_cast<std::array<uint8_t, 8>>(value);
    bad.push_back(good);
    std::copy(word.begin(), word.end(), bad.back().end() - 8);
  }
  // The bad ones hold another Amount, and a good one: it must not be taken before a later fault shows.
  controller_->setParamNormalized(kAmountId, 0.75);
  expected[kAmountId] = 0.75;
  for (const auto& bytes : bad) {
    MemoryStream stream(bytes);
    EXPECT_NE(component_->setState(&stream), kResultOk);
    EXPECT_EQ(values(), expected);
  }
  EXPECT_NE(component_->setState(nullptr), kResultOk);
  EXPECT_NE(component_->getState(nullptr), kResultOk);
}

TEST_F(OmbrelModule, FirstParameterIsAmountInPercent) {
  ASSERT_EQ(controller_->getParameterCount(), 3);
  ParameterInfo info = {};
  ASSERT_EQ(controller_->getParameterInfo(0, info), kResultOk);
  EXPECT_EQ(std::string(info.title, std::find(info.title, std::end(info.title), 0)), "Amount");
  EXPECT_EQ(info.defaultNormalizedValue, 0.5);
  EXPECT_NE(controller_->getParameterInfo(-1, info), kResultOk);
  for (const auto& [id, value, taken] : {std::tuple(3, 0.5, false), {0, NAN, false}, {0, 1.5, true}}) {
    EXPECT_EQ(controller_->setParamNormalized(static_cast<ParamID>(id), value) == kResultOk, taken);
    EXPECT_EQ(controller_->getParamNormalized(kAmountId), taken ? 1.0 : 0.5);
  }
}

TEST_F(OmbrelModule, ValuesAndTheirText) {
  for (const auto& [id, normalized, expected] :
       {std::tuple(kAmountId, 0.375, "37.5"), {kThresholdId, 0.0, "-80.0"}, {kReleaseId, 0.5, "141"}}) {
    String128 text = {};
    EXPECT_EQ(controller_->getParamStringByValue(id, normalized, text), kResultOk);
    EXPECT_EQ(std::string(text, std::find(text, std::end(text), 0)), expected);
  }
  const std::string endless(4096, '1');
  const struct {
    ParamID id;
    const char* text;
    double plain;  // NaN: not a value
  } typed[] = {{kAmountId, " 12,5 % ", 12.5}, {kAmountId, "+7%", 7},   {kThresholdId, "-35.5 dB", -35.5},
               {kReleaseId, "0", 20},         {kAmountId, "", NAN},    {kAmountId, "5 dB", NAN},
               {kAmountId, "inf", NAN},       {kAmountId, "+-5", NAN}, {kAmountId, endless.c_str(), NAN}};
  for (const auto& c : typed) {
    const std::string text = c.text;
    std::vector<TChar> wide(text.begin(), text.end());
    wide.push_back(0);
    double value = -1.0;
    const tresult result = controller_->getParamValueByString(c.id, wide.data(), value);
    if (std::isnan(c.plain)) {
      EXPECT_NE(result, kResultOk) << c.text;
      EXPECT_EQ(value, -1.0) << c.text;
    } else {
      EXPECT_EQ(result, kResultOk) << c.text;
      EXPECT_NEAR(controller_->normalizedParamToPlain(c.id, value), c.plain, 1e-9) << c.text;
    }
  }
}

}  // namespace
}  // namespace tarnwick::ombrel::test
