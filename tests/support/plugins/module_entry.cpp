// The entry and exit functions of a test module; two modules are built without.
#include "behaviour.h"
#include "call_log.h"
#include "pluginterfaces/base/fplatform.h"

using namespace tarnwick::test_plugin;

extern "C" SMTG_EXPORT_SYMBOL bool ModuleEntry(void* handle) {
  Log(handle != nullptr ? "ModuleEntry" : "ModuleEntry without handle");
  return !Fails("entry");
}

extern "C" SMTG_EXPORT_SYMBOL bool ModuleExit() {
  Log("ModuleExit with " + std::to_string(liveObjects) + " objects");
  return true;
}
