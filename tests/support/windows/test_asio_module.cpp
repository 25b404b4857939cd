// The file of the test driver: registration, class objects and the control functions.
#include <objbase.h>

#include <new>
#include <string>

#include "support/windows/test_asio_driver.h"

namespace tarnwick::tests {
namespace {

HINSTANCE instance = nullptr;

int32_t driverOf(REFCLSID id) {
  for (int32_t driver = 0; driver < 2; ++driver) {
    GUID own;
    if (CLSIDFromString(kTestAsioClassIds[driver], &own) == NOERROR && IsEqualGUID(own, id)) {
      return driver;
    }
  }
  return -1;
}

// One for each driver, never freed.
class Factory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    *object = nullptr;
    if (outer != nullptr) {
      return CLASS_E_NOAGGREGATION;
    }
    GUID own;
    CLSIDFromString(kTestAsioClassIds[driver_], &own);
    auto* made = new (std::nothrow) TestAsioDriver(DeviceOf(driver_), own);
    if (made == nullptr) {
      return E_OUTOFMEMORY;
    }
    const HRESULT result = made->QueryInterface(id, object);
    made->Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL /*lock*/) override { return S_OK; }
  void become(int32_t driver) { driver_ = driver; }

 private:
  int32_t driver_ = 0;
};
Factory factories[2];

bool setText(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
  return RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, REG_SZ, value.c_str(),
                         static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

std::wstring classPath(int32_t driver) {
  return L"Software\\Classes\\CLSID\\" + std::wstring(kTestAsioClassIds[driver]);
}
std::wstring driverPath(int32_t driver) {
  return L"Software\\ASIO\\" + std::wstring(kTestAsioNames[driver]);
}

}  // namespace
}  // namespace tarnwick::tests

using namespace tarnwick::tests;

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    instance = module;
  }
  return TRUE;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllGetClassObject(REFCLSID classId, REFIID id, void** object) {
  const int32_t driver = driverOf(classId);
  if (driver < 0) {
    *object = nullptr;
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  factories[driver].become(driver);
  return factories[driver].QueryInterface(id, object);
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllCanUnloadNow() {
  return DeviceOf(0).objects == 0 && DeviceOf(1).objects == 0 ? S_OK : S_FALSE;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllRegisterServer() {
  wchar_t file[MAX_PATH];
  if (GetModuleFileNameW(instance, file, MAX_PATH) == 0) {
    return E_FAIL;
  }
  bool written = true;
  for (int32_t driver = 0; driver < 2; ++driver) {
    const std::wstring server = classPath(driver) + L"\\InprocServer32";
    written = written && setText(classPath(driver), nullptr, kTestAsioNames[driver]) &&
              setText(server, nullptr, file) && setText(server, L"ThreadingModel", L"Apartment") &&
              setText(driverPath(driver), L"CLSID", kTestAsioClassIds[driver]) &&
              setText(driverPath(driver), L"Description", kTestAsioNames[driver]);
  }
  return written ? S_OK : E_FAIL;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllUnregisterServer() {
  for (int32_t driver = 0; driver < 2; ++driver) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, classPath(driver).c_str());
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, driverPath(driver).c_str());
  }
  return S_OK;
}

extern "C" __declspec(dllexport) bool TestAsioConfigure(int32_t driver, const char* words) {
  return DeviceOf(driver).configure(words);
}

extern "C" __declspec(dllexport) void TestAsioGetStatistics(int32_t driver, TestAsioStatistics* statistics) {
  *statistics = DeviceOf(driver).statistics();
}

extern "C" __declspec(dllexport) void TestAsioReset(int32_t driver) {
  DeviceOf(driver).reset();
}
