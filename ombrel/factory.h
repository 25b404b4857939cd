// The module's class factory: one class, the effect.
#pragma once

#include "pluginterfaces/base/ipluginbase.h"

namespace tarnwick::ombrel {

// The one factory; it lives as long as the module. Holds no reference for the caller. Any thread.
Steinberg::IPluginFactory3& Factory();

}  // namespace tarnwick::ombrel
