// The test driver, and its file: registration, its class object and the control functions.
#include <objbase.h>

#include <cstdio>
#include <string>

#include "support/windows/test_asio_session.h"

namespace tarnwick::tests {
namespace {

using namespace platform;
using std::chrono::milliseconds;

GUID testClass() {
  GUID id = {};
  CLSIDFromString(kTestAsioClassId, &id);
  return id;
}

class Driver final : public AsioComDriver {
 public:
  Driver() {
    seen_.objects += 1;
    hang("load");
  }
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, testClass());
    *object = known ? this : nullptr;
    references_ += known ? 1 : 0;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    seen_.wrongThread += GetCurrentThreadId() != thread_ ? 1 : 0;
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

  AsioBool init(void* window) override {
    seen_.wrongThread += GetCurrentThreadId() != thread_ ? 1 : 0;
    seen_.window = window;
    hang("init");
    initialised_ = settings_.text("init").empty();
    return initialised_ ? 1 : 0;
  }
  void getErrorMessage(char* text) override { std::snprintf(text, 124, "%s", settings_.text("init").c_str()); }
  int32_t start() override {
    if (!enter("start", session_ && !session_->running())) {
      return ASE_InvalidMode;
    }
    if (settings_.number("start") == ASE_OK) {
      session_->start();
    }
    return settings_.number("start");
  }
  int32_t stop() override {
    if (!enter("stop", session_ && session_->running())) {
      return ASE_InvalidMode;
    }
    if (settings_.number("abrupt-release") == 0) {
      session_->stop();
    }
    return settings_.number("stop");
  }
  int32_t getChannels(int32_t* inputs, int32_t* outputs) override {
    enter("channels");
    *inputs = settings_.number("inputs");
    *outputs = settings_.number("outputs");
    return settings_.number("channels");
  }
  int32_t getLatencies(int32_t* input, int32_t* output) override {
    enter("latencies");
    *input = settings_.number("input-latency");
    *output = settings_.number("output-latency");
    return ASE_OK;
  }
  int32_t getBufferSize(int32_t* minimum, int32_t* maximum, int32_t* preferred, int32_t* granularity) override {
    enter("buffer-size");
    *minimum = settings_.number("minimum");
    *maximum = settings_.number("maximum");
    *preferred = settings_.number("preferred");
    *granularity = settings_.number("granularity");
    return settings_.number("buffer-size");
  }
  int32_t getChannelInfo(AsioChannelInfo* info) override {
    enter("channel-info");
    const bool isInput = info->isInput != 0;
    if (info->channel < 0 || info->channel >= settings_.number(isInput ? "inputs" : "outputs")) {
      return ASE_InvalidParameter;
    }
    info->isActive = session_ ? 1 : 0;
    info->group = info->channel / 8;
    info->type = settings_.sampleType(isInput, info->channel);
    if (info->channel == 1) {
      // A name that fills its room, of characters that take more of it as UTF-8.
      std::memset(info->name, '\xE4', sizeof info->name);
    } else {
      std::snprintf(info->name, sizeof info->name, "%s %d", isInput ? "In" : "Out", info->channel + 1);
    }
    return settings_.number("channel-info");
  }
  int32_t createBuffers(AsioBufferInfo* infos, int32_t count, int32_t blockLength,
                        const AsioCallbackRecord* callbacks) override {
    if (!enter("create", !session_)) {
      return ASE_InvalidMode;
    }
    if (settings_.number("create") == ASE_OK) {
      session_ = std::make_unique<TestAsioSession>(settings_, blockLength, *callbacks);
      session_->giveBuffers(infos, count);
      session_->strayBlocks(settings_.number("blocks-in-create"));
    }
    return settings_.number("create");
  }
  int32_t disposeBuffers() override {
    if (!enter("dispose", session_ != nullptr)) {
      return ASE_InvalidMode;
    }
    if (settings_.number("abrupt-release") == 0) {
      session_.reset();
    }
    return ASE_OK;
  }
  int32_t controlPanel() override {
    enter("panel");
    seen_.panels += 1;
    if (settings_.number("panel-ms") > 0) {
      // As a dialog does: a message loop on the caller's thread.
      const UINT_PTR timer = SetTimer(nullptr, 0, static_cast<UINT>(settings_.number("panel-ms")), nullptr);
      MSG message;
      while (GetMessageW(&message, nullptr, 0, 0) > 0 && !(message.message == WM_TIMER && message.wParam == timer)) {
        DispatchMessageW(&message);
      }
      KillTimer(nullptr, timer);
    }
    return ASE_OK;
  }
  int32_t outputReady() override {
    hang("output-ready");
    seen_.outputReadies += 1;
    if (settings_.number("notify") != 0 && session_ && session_->running()) {
      session_->notifyAll();
    }
    return ASE_OK;
  }

  // Never called by a host of these tests.
  void getDriverName(char* name) override { *name = '\0'; }
  int32_t getDriverVersion() override { return 1; }
  int32_t canSampleRate(double) override { return ASE_NotPresent; }
  int32_t getSampleRate(double*) override { return ASE_NotPresent; }
  int32_t setSampleRate(double) override { return ASE_NotPresent; }
  int32_t getClockSources(AsioClockSource*, int32_t*) override { return ASE_NotPresent; }
  int32_t setClockSource(int32_t) override { return ASE_NotPresent; }
  int32_t getSamplePosition(AsioWide*, AsioWide*) override { return ASE_NotPresent; }
  int32_t future(int32_t, void*) override { return ASE_InvalidParameter; }

 private:
  ~Driver() {
    hang("release");
    if (session_ && settings_.number("abrupt-release") != 0) {
      std::thread([session = std::move(session_)] {
        std::this_thread::sleep_for(milliseconds(20));
        session->stop();
      }).detach();
    }
    seen_.wrongOrder += session_ ? 1 : 0;  // released with its buffers
    session_.reset();
    seen_.objects -= 1;
    report();
  }

  // Notes a call: on the right thread, with init behind it, and where it may come.
  bool enter(const char* name, bool inOrder = true) {
    seen_.wrongThread += GetCurrentThreadId() != thread_ ? 1 : 0;
    hang(name);
    seen_.wrongOrder += initialised_ && inOrder ? 0 : 1;
    return initialised_ && inOrder;
  }
  void hang(const char* name) const {
    if (settings_.text("hang") == name) {
      std::this_thread::sleep_for(milliseconds(settings_.number("hang-ms")));
    }
  }
  void report() const {
    FILE* out = settings_.text("report").empty() ? nullptr : std::fopen(settings_.text("report").c_str(), "wb");
    if (out == nullptr) {
      return;
    }
    const auto blocks = static_cast<double>(seen_.blocks);
    const double perMillisecond = static_cast<double>(CounterFrequency()) / 1000.0;
    std::fprintf(out,
                 "{\"blocks\":%.0f,\"lateBlocks\":%.0f,\"averageMs\":%.4f,\"maximumMs\":%.4f,\"outputPeak\":%.6f,"
                 "\"wrongThread\":%d,\"wrongOrder\":%d,\"objects\":%d,\"bufferSets\":%d,\"outputReadies\":%d,"
                 "\"window\":%s}\n",
                 blocks, static_cast<double>(seen_.lateBlocks),
                 blocks > 0 ? static_cast<double>(seen_.callbackTicks) / blocks / perMillisecond : 0.0,
                 static_cast<double>(seen_.maximumTicks) / perMillisecond, static_cast<double>(seen_.outputPeak),
                 seen_.wrongThread.load(), seen_.wrongOrder.load(), seen_.objects.load(), seen_.bufferSets.load(),
                 seen_.outputReadies.load(), seen_.window.load() != nullptr ? "true" : "false");
    std::fclose(out);
  }

  TestAsioStatistics& seen_ = Device().seen;
  const TestAsioSettings settings_ = Device().current();
  const DWORD thread_ = GetCurrentThreadId();
  std::atomic<ULONG> references_{1};
  bool initialised_ = false;
  std::unique_ptr<TestAsioSession> session_;
};

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
    auto* const made = new Driver;
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
  return IsEqualGUID(classId, testClass()) ? factory.QueryInterface(id, object) : CLASS_E_CLASSNOTAVAILABLE;
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
