// The test driver loaded, registered and at hand for a test. It is registered for as long as the rig lasts.
#pragma once

#include <gtest/gtest.h>
#include <objbase.h>
#include <windows.h>

#include <functional>
#include <string>

#include "platform/text.h"
#include "support/eventually.h"
#include "support/windows/test_asio_control.h"

namespace tarnwick::tests {

class TestAsioRig {
 public:
  TestAsioRig() {
    wchar_t folder[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(nullptr, folder, MAX_PATH);
    file = std::wstring(folder, length);
    file = file.substr(0, file.rfind(L'\\') + 1) + platform::WideFromUtf8(TARNWICK_TEST_ASIO_FILE);
    module_ = LoadLibraryW(file.c_str());
    if (module_ == nullptr) {
      ADD_FAILURE() << "the test driver's file does not load";
      std::abort();
    }
    configure_ = function<TestAsioConfigureFunction>("TestAsioConfigure");
    statistics_ = function<TestAsioStatisticsFunction>("TestAsioGetStatistics");
    reset_ = function<TestAsioResetFunction>("TestAsioReset");
    EXPECT_EQ(function<HRESULT(WINAPI*)()>("DllRegisterServer")(), S_OK);
    configure("");
    configure("", 1);
    reset_(0);
    reset_(1);
  }
  TestAsioRig(const TestAsioRig&) = delete;
  TestAsioRig& operator=(const TestAsioRig&) = delete;
  // Its file stays loaded: threads that a test let loose may still be in it.
  ~TestAsioRig() {
    configure("");
    configure("", 1);
    EXPECT_EQ(function<HRESULT(WINAPI*)()>("DllUnregisterServer")(), S_OK);
  }

  void configure(const std::string& words, int32_t driver = 0) {
    EXPECT_TRUE(configure_(driver, words.c_str())) << words;
  }
  TestAsioStatistics statistics(int32_t driver = 0) const {
    TestAsioStatistics result = {};
    statistics_(driver, &result);
    return result;
  }
  // No driver, buffer or thread of the test driver is left.
  bool nothingLeft() const {
    return Eventually([this] {
      const TestAsioStatistics one = statistics(0);
      const TestAsioStatistics two = statistics(1);
      return one.objects + one.bufferSets + one.threads + two.objects + two.bufferSets + two.threads == 0;
    });
  }

  std::wstring file;

 private:
  template <class Function>
  Function function(const char* name) const {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

  HMODULE module_ = nullptr;
  TestAsioConfigureFunction configure_ = nullptr;
  TestAsioStatisticsFunction statistics_ = nullptr;
  TestAsioResetFunction reset_ = nullptr;
};

}  // namespace tarnwick::tests
