// The file of the test driver: registration, its class object and the control functions.
#include <objbase.h>

#include <string>

#include "support/windows/test_asio_device.h"
#include "support/windows/test_asio_driver.h"

namespace tarnwick::tests {
namespace {

HINSTANCE instance = nullptr;

const std::wstring kClassPath = L"Software\\Classes\\CLSID\\" + std::wstring(kTestAsioClassId);
const std::wstring kDriverPath = L"Software\\ASIO\\" + std::wstring(kTestAsioName);

// Never freed.
class Factory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** object) override {
    *object = nullptr;
    platform::AsioComDriver* made = MakeTestAsioDriver();
    if (made == nullptr) {
      return E_OUTOFMEMORY;
    }
    const HRESULT result = made->QueryInterface(id, object);
    made->Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

bool setText(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
  return RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, REG_SZ, value.c_str(),
                         static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
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
  static Factory factory;
  *object = nullptr;
  return IsEqualGUID(classId, TestAsioClass()) ? factory.QueryInterface(id, object) : CLASS_E_CLASSNOTAVAILABLE;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllCanUnloadNow() {
  return Device().seen.objects == 0 ? S_OK : S_FALSE;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllRegisterServer() {
  wchar_t file[MAX_PATH] = {};
  GetModuleFileNameW(instance, file, MAX_PATH);
  const std::wstring server = kClassPath + L"\\InprocServer32";
  const bool written = setText(kClassPath, nullptr, kTestAsioName) && setText(server, nullptr, file) &&
                       setText(server, L"ThreadingModel", L"Apartment") &&
                       setText(kDriverPath, L"CLSID", kTestAsioClassId) &&
                       setText(kDriverPath, L"Description", kTestAsioName);
  return written ? S_OK : E_FAIL;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllUnregisterServer() {
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kClassPath.c_str());
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kDriverPath.c_str());
  return S_OK;
}

extern "C" __declspec(dllexport) bool TestAsioConfigure(const char* words) {
  TestAsioSettings settings;
  const bool known = settings.apply(words);
  const std::lock_guard lock(Device().mutex);
  Device().settings = settings;
  return known;
}

extern "C" __declspec(dllexport) const TestAsioStatistics* TestAsioReset() {
  TestAsioStatistics& seen = Device().seen;
  for (auto* count : {&seen.wrongThread, &seen.wrongOrder, &seen.panels, &seen.outputReadies, &seen.engineVersion}) {
    count->store(0);
  }
  for (auto* count :
       {&seen.blocks, &seen.strayBlocks, &seen.mismatches, &seen.lateBlocks, &seen.callbackTicks, &seen.maximumTicks}) {
    count->store(0);
  }
  seen.outputPeak = 0.0f;
  seen.window = nullptr;
  return &seen;
}
