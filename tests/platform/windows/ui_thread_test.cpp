// The user-interface thread beside windows: a main window that takes its messages, and loops that are not its own.
#include <functional>

#include "platform/ui_thread_fixture.h"
#include "platform/windows/ui_window.h"
#include "support/eventually.h"

namespace tarnwick::platform {
namespace {

// Stands for the main window; never shown.
class MainWindow {
 public:
  explicit MainWindow(UiThread& ui) : ui_(ui) {
    WNDCLASSW description{};
    description.lpfnWndProc = &procedure;
    description.hInstance = GetModuleHandleW(nullptr);
    description.lpszClassName = L"TarnwickTestWindow";
    RegisterClassW(&description);
    handle =
        CreateWindowW(L"TarnwickTestWindow", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, description.hInstance, nullptr);
    SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }

  HWND handle = nullptr;
  std::vector<std::pair<UINT, WPARAM>> taken;

 private:
  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    LRESULT result = 0;
    if (self != nullptr && HandleUiMessage(self->ui_, message, wParam, lParam, result)) {
      self->taken.emplace_back(message, wParam);
      return result;
    }
    return DefWindowProcW(window, message, wParam, lParam);
  }
  UiThread& ui_;
};

// As a message box runs its loop: until it is closed, or the program ends, which it hands on.
void runModalLoop(const std::function<bool()>& closed) {
  MSG message;
  while (!closed()) {
    if (GetMessageW(&message, nullptr, 0, 0) == 0) {
      PostQuitMessage(static_cast<int>(message.wParam));
      return;
    }
    DispatchMessageW(&message);
  }
}

TEST_F(UiThreadTest, MessagesAndRequestsGoToTheAttachedWindow) {
  start();
  std::unique_ptr<MainWindow> window;
  ASSERT_TRUE(ui_.send([&] {
    window = std::make_unique<MainWindow>(ui_);
    AttachWindow(ui_, window->handle);
    return UiWindow(ui_) == window->handle;
  }));
  EXPECT_TRUE(ui_.post(UiMessage::deferredSession, -3));
  flush();
  EXPECT_TRUE(ui_.send([] { return true; }));
  EXPECT_FALSE(ui_.send([] { return false; }));
  // Back to the hidden one, as when the main window is being destroyed.
  ASSERT_TRUE(ui_.send([&] {
    AttachWindow(ui_, nullptr);
    return DestroyWindow(window->handle) != 0 && UiWindow(ui_) != window->handle;
  }));
  EXPECT_TRUE(ui_.post(UiMessage::refreshFirst, 4));
  flush();
  stop();
  EXPECT_EQ(received_, (decltype(received_){{UiMessage::deferredSession, -3}, {UiMessage::refreshFirst, 4}}));
  ASSERT_EQ(window->taken.size(), 6u) << "messages and work posted before the return to the hidden one";
  EXPECT_EQ(window->taken[0], (std::pair<UINT, WPARAM>(0x8004, static_cast<WPARAM>(-3))));
}

TEST_F(UiThreadTest, AWindowThatWasDestroyedRefusesAtOnce) {
  start();
  ASSERT_TRUE(ui_.send([&] {
    const MainWindow window(ui_);
    AttachWindow(ui_, window.handle);
    return DestroyWindow(window.handle) != 0;
  }));
  const auto before = steady_clock::now();
  EXPECT_FALSE(ui_.post(UiMessage::refreshFirst));
  EXPECT_FALSE(ui_.post([] { ADD_FAILURE() << "ran"; }));
  EXPECT_FALSE(ui_.send([] { return true; }));
  EXPECT_LT(steady_clock::now() - before, kSoon);
}

TEST_F(UiThreadTest, RequestsAndTimersGoOnInAnotherLoopAndNoTickIsEnteredTwice) {
  start();
  std::atomic<int> entered{0};
  std::atomic<int> ticks{0};
  std::atomic<bool> closed{false};
  ASSERT_TRUE(ui_.send([&] {
    ui_.startTimer(milliseconds(10), [&ticks] { ++ticks; });
    ui_.startTimer(milliseconds(20), [&] {
      ++entered;
      runModalLoop([&] { return closed.load(); });
    });
    return true;
  }));
  ASSERT_TRUE(tests::Eventually([&] { return entered > 0; }));
  const int before = ticks;
  EXPECT_TRUE(ui_.send([] { return true; }));
  EXPECT_TRUE(ui_.post(UiMessage::refreshFirst));
  flush();
  EXPECT_TRUE(tests::Eventually([&] { return ticks >= before + 5; }));
  EXPECT_EQ(entered, 1);
  closed = true;
  flush();
  stop();
  EXPECT_EQ(received_.size(), 1u);
}

TEST_F(UiThreadTest, RequestsThatAreHeldBackRunAfterwardsInOrderOrNotAtAll) {
  start();
  for (const bool inTime : {true, false}) {
    std::vector<int> ran;
    std::promise<void> begun;
    ASSERT_TRUE(ui_.post([&] {
      HoldRequests(ui_, true);
      begun.set_value();
      const auto end = steady_clock::now() + (inTime ? milliseconds(200) : kUiSendTimeout + kSoon);
      while (steady_clock::now() < end) {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
        Sleep(1);
      }
      EXPECT_TRUE(ran.empty());
      HoldRequests(ui_, false);
    }));
    begun.get_future().wait();
    EXPECT_TRUE(ui_.post([&ran] { ran.push_back(1); }));
    EXPECT_EQ(ui_.send([&ran] {
      ran.push_back(2);
      return true;
    }),
              inTime);
    flush();
    EXPECT_EQ(ran, inTime ? (std::vector{1, 2}) : (std::vector{1}));
  }
}

TEST_F(UiThreadTest, QuitEndsAnotherLoopToo) {
  start();
  std::promise<void> begun;
  ASSERT_TRUE(ui_.post([&] {
    begun.set_value();
    runModalLoop([] { return false; });
  }));
  begun.get_future().wait();
  ui_.quit(6);
  loop_.join();
  EXPECT_EQ(code_, 6);
}

TEST_F(UiThreadTest, TheMainWindowsOwnQuitMessageEndsTheLoopWithItsCode) {
  start();
  EXPECT_TRUE(ui_.post([] { PostQuitMessage(5); }));
  loop_.join();
  EXPECT_EQ(code_, 5);
}

}  // namespace
}  // namespace tarnwick::platform
