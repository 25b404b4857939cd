// The entry and exit functions of a test module; one module is built without.
#include "pluginterfaces/base/fplatform.h"
#include "test_module.h"

using namespace tarnwick::test_plugin;

// The log has one name for each, so that a test reads the same on every system.
#ifdef _WIN32

extern "C" SMTG_EXPORT_SYMBOL bool InitDll() {
  Log("ModuleEntry");
  return !Fails("entry");
}
extern "C" SMTG_EXPORT_SYMBOL bool ExitDll() {
#else

extern "C" SMTG_EXPORT_SYMBOL bool ModuleEntry(void* handle) {
  Log("ModuleEntry");
  return handle != nullptr && !Fails("entry");
}
extern "C" SMTG_EXPORT_SYMBOL bool ModuleExit() {

#endif

  Log("ModuleExit with " + std::to_string(liveObjects) + " objects");
  return true;
}
