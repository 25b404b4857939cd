// The class ids of every test module.
#pragma once

#include "pluginterfaces/base/funknown.h"

namespace tarnwick::test_plugin {

inline const Steinberg::FUID kEffectClassId(0x54574B01, 0x7E571E57, 0x00000000, 0x00000001);
inline const Steinberg::FUID kSecondEffectClassId(0x54574B01, 0x7E571E57, 0x00000000, 0x00000002);
inline const Steinberg::FUID kControllerClassId(0x54574B01, 0x7E571E57, 0x00000000, 0x00000003);
inline const Steinberg::FUID kOtherClassId(0x54574B01, 0x7E571E57, 0x00000000, 0x00000004);

}  // namespace tarnwick::test_plugin
