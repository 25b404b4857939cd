// The test driver loaded, registered and at hand for a test. It is registered for as long as the rig lasts.
#pragma once

#include <gtest/gtest.h>
#include <objbase.h>
#include <windows.h>

#include <string>

#include "platform/text.h"
#include "support/eventually.h"
#include "support/windows/test_asio_control.h"

namespace tarnwick::tests {

class TestAsioRig {
 public:
  TestAsioRig() {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    file = program;
    file = file.substr(0, file.rfind(L'\\') + 1) + platform::WideFromUtf8(TARNWICK_TEST_ASIO_FILE);
    module_ = LoadLibraryW(file.c_str());
    if (module_ == nullptr) {
      ADD_FAILURE() << "the test driver's file does not load";
      std::abort();
    }
    seen_ = function<TestAsioResetFunction>("TestAsioReset")();
    EXPECT_EQ(function<HRESULT(WINAPI*)()>("DllRegisterServer")(), S_OK);
    configure("");
  }
  TestAsioRig(const TestAsioRig&) = delete;
  TestAsioRig& operator=(const TestAsioRig&) = delete;
  // Its file stays loaded: threads that a test let loose may still be in it.
  ~TestAsioRig() { EXPECT_EQ(function<HRESULT(WINAPI*)()>("DllUnregisterServer")(), S_OK); }

  void configure(const std::string& words) {
    EXPECT_TRUE(function<TestAsioConfigureFunction>("TestAsioConfigure")(words.c_str())) << words;
  }
  const TestAsioStatistics& statistics() const { return *seen_; }
  // No driver, buffer or thread of the test driver is left.
  bool nothingLeft() const {
    return Eventually([this] { return seen_->objects + seen_->bufferSets + seen_->threads == 0; });
  }

  std::wstring file;

 private:
  template <class Function>
  Function function(const char* name) const {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

  HMODULE module_ = nullptr;
  const TestAsioStatistics* seen_ = nullptr;
};

}  // namespace tarnwick::tests
