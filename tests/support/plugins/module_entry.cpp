// The entry and exit functions of a test module; two modules are built without.
#include "behaviour.h"
#include "call_log.h"
#include "pluginterfaces/base/fplatform.h"

using namespace tarnwick::test_plugin;

namespace {

// The log has one name for each, so that a test reads the same on every system.
bool enter() {
  Log("ModuleEntry");
  return !Fails("entry");
}
bool leave() {
  Log("ModuleExit with " + std::to_string(liveObjects) + " objects");
  return true;
}

}  // namespace

#ifdef _WIN32

extern "C" SMTG_EXPORT_SYMBOL bool InitDll() {
  return enter();
}
extern "C" SMTG_EXPORT_SYMBOL bool ExitDll() {
  return leave();
}

#else

extern "C" SMTG_EXPORT_SYMBOL bool ModuleEntry(void* handle) {
  if (handle == nullptr) {
    Log("ModuleEntry without handle");
    return false;
  }
  return enter();
}
extern "C" SMTG_EXPORT_SYMBOL bool ModuleExit() {
  return leave();
}

#endif
