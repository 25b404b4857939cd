// The Linux program: a console for the status log, signals for the end.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <streambuf>

#include "app/program.h"
#include "app/shutdown.h"
#include "platform/text.h"

namespace {

using namespace tarnwick;

// Written by the signal handler; the reason why the loop looks.
volatile std::sig_atomic_t endAsked = 0;

void onEndSignal(int /*signal*/) {
  endAsked = 1;
}

// Ends on SIGINT, SIGTERM and SIGHUP (the terminal was closed); a second one, should the first not get through, ends
// the process as usual.
void watchForEnd(app::Application& application) {
  struct sigaction action = {};
  action.sa_handler = &onEndSignal;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  application.ui.startTimer(std::chrono::milliseconds(50), [&application] {
    if (endAsked != 0) {
      app::BeginShutdown(application);
    }
  });
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Takes everything that is written to std::cerr and keeps nothing.
class Nowhere final : public std::streambuf {
  int_type overflow(int_type letter) override { return traits_type::not_eof(letter); }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

// The streams of C and C++ cost no system call: they end in this process.
void dropStandardError() {
  static char buffer[BUFSIZ];
  static Nowhere& nowhere = *new Nowhere;  // flushed after everything else has ended
  cookie_io_functions_t drop = {};
  drop.write = [](void*, const char*, size_t size) { return static_cast<ssize_t>(size); };
  if (std::FILE* sink = fopencookie(nullptr, "w", drop)) {
    std::setvbuf(sink, buffer, _IOFBF, sizeof buffer);
    stderr = sink;
  }
  std::cerr.rdbuf(&nowhere);
  std::clog.rdbuf(&nowhere);
}
#endif

// Some effects write to standard error in every block, from the audio thread: a terminal or a pipe that nobody reads
// would hold the audio up. The program keeps the real one for itself and leaves the effects one that never blocks.
std::FILE* takeStandardError() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return stderr;  // a sanitizer's report goes there
#else
  const int kept = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  std::FILE* own = kept >= 0 ? fdopen(kept, "w") : nullptr;
  if (own == nullptr || nowhere < 0) {
    return stderr;
  }
  dup2(nowhere, STDERR_FILENO);
  close(nowhere);
  dropStandardError();
  return own;
#endif
}

void print(const std::wstring& text) {
  const std::string utf8 = platform::Utf8FromWide(text);
  std::fwrite(utf8.data(), 1, utf8.size(), stdout);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  std::FILE* faults = takeStandardError();
  app::ProgramEntry entry;
  entry.surface.logLine = [](const std::wstring& line) { print(line + L"\n"); };
  entry.surface.messageBox = [](engine::BoxKind, const std::wstring& title, const std::wstring& text) {
    print(title + L": " + text + L"\n");
  };
  entry.surface.refresh = [] {};
  entry.surface.print = &print;
  entry.printError = [faults](const std::string& text) {
    std::fputs(text.c_str(), faults);
    std::fflush(faults);
  };
  entry.watchForEnd = &watchForEnd;
  return app::RunProgram(std::vector<std::string>(argv + 1, argv + argc), entry);
}
