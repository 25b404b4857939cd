#include "platform/startup_link.h"

#include <objbase.h>
#include <shlobj.h>

#include <string>

#include "platform/paths.h"
#include "platform/windows/own_program.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

// COM for the length of one call. It may be there already, in either of its forms.
class Com {
 public:
  Com() : result_(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
  Com(const Com&) = delete;
  Com& operator=(const Com&) = delete;
  ~Com() {
    if (SUCCEEDED(result_)) {
      CoUninitialize();
    }
  }
  bool usable() const { return SUCCEEDED(result_) || result_ == RPC_E_CHANGED_MODE; }

 private:
  const HRESULT result_;
};

template <class Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;
  ~ComPointer() {
    if (pointer_ != nullptr) {
      pointer_->Release();
    }
  }
  Interface* operator->() const { return pointer_; }
  void** place() { return reinterpret_cast<void**>(&pointer_); }

 private:
  Interface* pointer_ = nullptr;
};

// Empty when the user has no folder for it.
std::wstring linkPath() {
  std::wstring folder(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetEnvironmentVariableW(L"APPDATA", folder.data(), static_cast<DWORD>(folder.size()));
    if (length < folder.size()) {
      folder.resize(length);
      break;
    }
    folder.resize(length);
  }
  return folder.empty() ? folder : folder + L"\\Microsoft\\Windows\\Start Menu\\Programs\\Startup\\Tarnwick.lnk";
}

}  // namespace

bool CreateStartupLink() {
  const std::wstring path = linkPath();
  const std::wstring program = OwnExecutable();
  const Com com;
  if (path.empty() || program.empty() || !com.usable()) {
    return false;
  }
  ComPointer<IShellLinkW> link;
  ComPointer<IPersistFile> file;
  return SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, link.place())) &&
         SUCCEEDED(link->SetPath(program.c_str())) && SUCCEEDED(link->QueryInterface(IID_IPersistFile, file.place())) &&
         SUCCEEDED(file->Save(path.c_str(), TRUE));
}

bool RemoveStartupLink() {
  const std::wstring path = linkPath();
  if (path.empty() || DeleteFileW(path.c_str()) != FALSE) {
    return true;
  }
  const DWORD problem = GetLastError();
  return problem == ERROR_FILE_NOT_FOUND || problem == ERROR_PATH_NOT_FOUND;
}

bool StartupLinkExists() {
  const std::wstring path = linkPath();
  return !path.empty() && FileExists(path);
}

}  // namespace tarnwick::platform
