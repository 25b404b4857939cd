// The module's exports: the factory, and the entry and exit functions that hosts call on each system.
#include "ombrel/factory.h"

SMTG_EXPORT_SYMBOL Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
  auto& factory = tarnwick::ombrel::Factory();
  factory.addRef();
  return &factory;
}

extern "C" {

#ifdef _WIN32

SMTG_EXPORT_SYMBOL bool InitDll() {
  return true;
}
SMTG_EXPORT_SYMBOL bool ExitDll() {
  return true;
}

#else

SMTG_EXPORT_SYMBOL bool ModuleEntry(void* /*library*/) {
  return true;
}
SMTG_EXPORT_SYMBOL bool ModuleExit() {
  return true;
}

#endif
}
