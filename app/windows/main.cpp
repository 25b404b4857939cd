// The Windows program: a window, and the output of options on the console that started it.
#include <atomic>
#include <system_error>
#include <thread>

#include "app/program.h"
#include "app/shutdown.h"
#include "app/windows/console.h"
#include "app/windows/main_window.h"
#include "app/windows/start_up.h"
#include "platform/text.h"

namespace {

using namespace tarnwick;

constexpr DWORD kTimeToEnd = 4500;  // ms; Windows gives 5 s when the console's window is closed

// Written by the console's thread; the reason why the loop looks.
std::atomic<bool> endAsked{false};

BOOL WINAPI onConsoleEvent(DWORD event) {
  endAsked = true;
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    Sleep(kTimeToEnd);  // the process ends when this returns, or before by itself
  }
  return TRUE;
}

// Whether the arguments ask for the program itself, not for an answer or in error.
bool opensWindow(const std::vector<std::string>& arguments) {
  std::string text;
  int exitCode = 0;
  const auto options = app::ParseOptions(arguments, text, exitCode);
  return options && !options->version && !options->listDevices && options->validate.empty();
}

// A run that was asked for in the options may have nobody before the screen: it must never wait for a message box.
bool startsByItself(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument.starts_with("--start") || argument.starts_with("--seconds")) {
      return true;
    }
  }
  return false;
}

// The window for the application that has just opened its thread.
void makeWindow(app::Application& application, app::MainWindow& window) {
  SetConsoleCtrlHandler(&onConsoleEvent, TRUE);
  application.ui.startTimer(std::chrono::milliseconds(50), [&application] {
    if (endAsked) {
      app::BeginShutdown(application);
    }
  });
  application.host.ui.destroyMainWindow = [&application, &window] {
    app::FinishShutdown(application);
    window.destroy();
  };
  if (!window.create(application)) {
    application.log.add(L"The main window could not be created.");
  }
}

// Belongs to no window and keeps nobody waiting; closing it changes nothing.
void showWarning(const std::wstring& text) {
  try {
    std::thread([text] {
      MessageBoxW(nullptr, text.c_str(), engine::kProgramName,
                  MB_OK | MB_ICONINFORMATION | MB_SETFOREGROUND | MB_TOPMOST);
    }).detach();
  } catch (const std::system_error&) {
    // The log has the text as well.
  }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, PWSTR /*commandLine*/, int showState) {
  const std::vector<std::string> arguments = app::ArgumentsInUtf8();
  const bool quiet = startsByItself(arguments);
  app::Console console;
  app::SingleInstance single;
  if (opensWindow(arguments)) {
    switch (single.claim()) {
      case app::SingleInstance::Claim::failed:
        return 1;
      case app::SingleInstance::Claim::runsAlready:
        app::RaiseRunningInstance();
        return 0;
      case app::SingleInstance::Claim::first:
        break;
    }
  }
  app::UseDllFolder();

  app::MainWindow window;
  app::ProgramEntry entry;
  entry.surface.logLine = [&](const std::wstring& line) {
    console.print(line + L"\n");
    window.addLine(line);
  };
  entry.surface.messageBox = [&](engine::BoxKind kind, const std::wstring& title, const std::wstring& text) {
    if (quiet) {
      console.print(title + L": " + text + L"\n");
    } else {
      window.showBox(kind, title, text);
    }
  };
  entry.surface.refresh = [&] { window.refresh(); };
  entry.surface.print = [&](const std::wstring& text) { console.print(text); };
  entry.printError = [&](const std::string& text) {
    console.printError(text);
    if (!quiet && !console.hasErrorOutput()) {
      window.showBox(engine::BoxKind::error, engine::kProgramName, platform::WideFromUtf8(text));
    }
  };
  entry.surface.showWarning = &showWarning;
  entry.surface.mainWindow = [&] { return window.window(); };
  entry.surface.waitForDevice = [&](bool waiting) { window.waitForDevice(waiting); };
  entry.watchForEnd = [&](app::Application& application) { makeWindow(application, window); };
  entry.show = [&] { return window.show(showState); };
  const int exitCode = app::RunProgram(arguments, entry);
  window.abandon();  // still there when the start failed
  return exitCode;
}
