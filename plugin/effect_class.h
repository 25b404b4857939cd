// Which class of a factory is the effect.
#pragma once

#include <string>

#include "pluginterfaces/base/ipluginbase.h"

namespace tarnwick::plugin {

// Finds the class with the lowest index whose category is exactly "Audio Module Class". `classId` and `className`,
// where given, receive its id and its name; a class whose information cannot be had is passed over. False when there is
// none.
bool ChooseEffectClass(Steinberg::IPluginFactory& factory, Steinberg::TUID* classId, std::wstring* className);

}  // namespace tarnwick::plugin
