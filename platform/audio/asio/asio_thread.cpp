#include "platform/audio/asio/asio_thread.h"

#include <objbase.h>

#include <deque>
#include <mutex>
#include <utility>

#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

constexpr wchar_t kWindowClass[] = L"TarnwickAsioThread";
constexpr UINT kWake = WM_APP + 1;

class Event {
 public:
  Event() : handle_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() {
    if (handle_ != nullptr) {
      CloseHandle(handle_);
    }
  }
  HANDLE get() const { return handle_; }
  void set() { SetEvent(handle_); }

 private:
  HANDLE handle_;
};

bool waitFor(HANDLE event, std::chrono::milliseconds limit, const AsioWaitHook& hook) {
  if (!hook) {
    return WaitForSingleObject(event, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0;
  }
  const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(limit.count());
  hook(true);
  DWORD result = WAIT_TIMEOUT;
  for (;;) {
    const ULONGLONG now = GetTickCount64();
    result = MsgWaitForMultipleObjectsEx(1, &event, now < end ? static_cast<DWORD>(end - now) : 0, QS_SENDMESSAGE,
                                         MWMO_INPUTAVAILABLE);
    if (result != WAIT_OBJECT_0 + 1) {
      break;
    }
    // Looking is what hands over sent messages; posted ones stay where they are.
    MSG message;
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
  }
  hook(false);
  return result == WAIT_OBJECT_0;
}

}  // namespace

// Owned by the thread and by whoever calls it. `depth` is the thread's own.
struct AsioThread::State {
  struct Job {
    std::function<void()> work;
    Event done;
  };

  Event ready;
  Event ended;
  HANDLE thread = nullptr;
  HWND window = nullptr;  // written before `ready`
  std::mutex mutex;
  std::deque<std::shared_ptr<Job>> jobs;  // under the mutex
  bool finishing = false;                 // under the mutex
  std::function<void()> last;             // under the mutex until finishing, then the thread's
  int depth = 0;                          // calls under way, one inside the other

  std::shared_ptr<Job> next() {
    const std::lock_guard lock(mutex);
    if (jobs.empty()) {
      return nullptr;
    }
    auto job = std::move(jobs.front());
    jobs.pop_front();
    return job;
  }

  void runJobs() {
    while (const auto job = next()) {
      depth += 1;
      job->work();
      depth -= 1;
      job->done.set();
    }
  }

  bool over() {
    const std::lock_guard lock(mutex);
    return finishing && jobs.empty();
  }

  static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == kWake) {
      if (auto* state = reinterpret_cast<State*>(GetWindowLongPtrW(window, GWLP_USERDATA))) {
        state->runJobs();
      }
      return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
  }

  bool openWindow() {
    WNDCLASSW kind = {};
    kind.lpfnWndProc = &State::windowProcedure;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.lpszClassName = kWindowClass;
    RegisterClassW(&kind);  // fails when it is registered already
    window = CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, kind.hInstance, nullptr);
    if (window != nullptr) {
      SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    return window != nullptr;
  }

  void live() {
    SetThreadName("asio driver");
    const HRESULT apartment = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    if (FAILED(apartment) || !openWindow()) {
      window = nullptr;
      ready.set();
    } else {
      ready.set();
      // A driver may post a quit message of its own: that is not the end.
      while (!over()) {
        MSG message;
        if (GetMessageW(&message, nullptr, 0, 0) > 0) {
          TranslateMessage(&message);
          DispatchMessageW(&message);
        }
      }
      if (last) {
        std::exchange(last, nullptr)();
      }
      DestroyWindow(window);
    }
    if (SUCCEEDED(apartment)) {
      CoUninitialize();
    }
    ended.set();
  }

  static DWORD WINAPI entry(void* argument) {
    const std::unique_ptr<std::shared_ptr<State>> self(static_cast<std::shared_ptr<State>*>(argument));
    (*self)->live();
    return 0;
  }
};

AsioThread::AsioThread(std::shared_ptr<State> state) : state_(std::move(state)) {}

AsioThread::~AsioThread() {
  if (state_->thread != nullptr) {
    CloseHandle(state_->thread);
  }
}

std::shared_ptr<AsioThread> AsioThread::start() {
  std::shared_ptr<AsioThread> result(new AsioThread(std::make_shared<State>()));
  State& state = *result->state_;
  auto argument = std::make_unique<std::shared_ptr<State>>(result->state_);
  state.thread = CreateThread(nullptr, 0, &State::entry, argument.get(), 0, nullptr);
  if (state.thread == nullptr) {
    return nullptr;
  }
  argument.release();  // the thread's now
  WaitForSingleObject(state.ready.get(), INFINITE);
  return state.window != nullptr ? result : nullptr;
}

bool AsioThread::run(std::function<void()> work, std::chrono::milliseconds limit, const AsioWaitHook& hook) {
  const auto state = state_;  // the hook may let this object go
  auto job = std::make_shared<State::Job>();
  job->work = std::move(work);
  {
    const std::lock_guard lock(state->mutex);
    if (state->finishing) {
      return false;
    }
    state->jobs.push_back(job);
  }
  return PostMessageW(state->window, kWake, 0, 0) != 0 && waitFor(job->done.get(), limit, hook);
}

bool AsioThread::finish(std::function<void()> last, std::chrono::milliseconds limit, const AsioWaitHook& hook) {
  const auto state = state_;
  const HANDLE thread = state->thread;
  {
    const std::lock_guard lock(state->mutex);
    if (state->finishing) {
      return false;
    }
    state->finishing = true;
    state->last = std::move(last);
  }
  PostMessageW(state->window, kWake, 0, 0);
  // The end of the thread itself: after it nothing of the driver runs here any more.
  return waitFor(state->ended.get(), limit, hook) && WaitForSingleObject(thread, 5000) == WAIT_OBJECT_0;
}

}  // namespace tarnwick::platform
