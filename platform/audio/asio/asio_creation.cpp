#include "platform/audio/asio/asio_creation.h"

#include <objbase.h>

namespace tarnwick::platform {
namespace {

void keepFileLoaded(AsioComDriver* driver) {
  // The first method of the object lies in the file that it came from.
  const auto method = **reinterpret_cast<LPCWSTR**>(driver);
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN, method, &module);
}

// Asks the file itself. COM refuses a class that is registered for another kind of apartment, or for none, because it
// knows no proxy for the interface; the drivers themselves do not care.
AsioComDriver* createFromFile(const AsioEntry& entry) {
  const HMODULE module = LoadLibraryExW(entry.module.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module == nullptr) {
    return nullptr;
  }
  using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
  const auto getClassObject =
      reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
  void* factory = nullptr;
  void* driver = nullptr;
  if (getClassObject != nullptr && SUCCEEDED(getClassObject(entry.classId, IID_IClassFactory, &factory)) &&
      factory != nullptr) {
    auto* classFactory = static_cast<IClassFactory*>(factory);
    if (FAILED(classFactory->CreateInstance(nullptr, entry.classId, &driver))) {
      driver = nullptr;
    }
    classFactory->Release();
  }
  if (driver == nullptr) {
    FreeLibrary(module);
  }
  return static_cast<AsioComDriver*>(driver);
}

}  // namespace

AsioComDriver* CreateAsioDriver(const AsioEntry& entry) {
  void* made = nullptr;
  const HRESULT result = CoCreateInstance(entry.classId, nullptr, CLSCTX_INPROC_SERVER, entry.classId, &made);
  auto* driver = SUCCEEDED(result) ? static_cast<AsioComDriver*>(made) : nullptr;
  if (driver == nullptr && result == E_NOINTERFACE) {
    driver = createFromFile(entry);
  }
  if (driver != nullptr) {
    keepFileLoaded(driver);
  }
  return driver;
}

}  // namespace tarnwick::platform
