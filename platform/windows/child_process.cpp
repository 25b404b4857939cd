#include "platform/child_process.h"

#include <algorithm>
#include <exception>
#include <thread>

#include "platform/text.h"
#include "platform/threads.h"
#include "platform/windows/command_line.h"
#include "platform/windows/handle.h"
#include "platform/windows/own_program.h"

namespace tarnwick::platform {
namespace {

constexpr size_t kMostOutput = size_t{64} << 10;

struct Pipe {
  Handle readEnd;
  Handle writeEnd;  // inheritable
};

bool makePipe(Pipe& pipe) {
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  if (CreatePipe(&readEnd, &writeEnd, nullptr, 0) == FALSE) {
    return false;
  }
  pipe.readEnd.reset(readEnd);
  pipe.writeEnd.reset(writeEnd);
  return SetHandleInformation(writeEnd, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != FALSE;
}

// An input that is at its end, inheritable.
Handle openNothing() {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  const HANDLE nothing =
      CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_EXISTING, 0, nullptr);
  return Handle(nothing != INVALID_HANDLE_VALUE ? nothing : nullptr);
}

// The list of those handles that a new process inherits, and no others.
class InheritedHandles {
 public:
  InheritedHandles(HANDLE* handles, size_t count) {
    SIZE_T bytes = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
    memory_.resize(bytes);
    initialised_ = InitializeProcThreadAttributeList(get(), 1, 0, &bytes) != FALSE;
    complete_ = initialised_ && UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                                          count * sizeof *handles, nullptr, nullptr) != FALSE;
  }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;
  ~InheritedHandles() {
    if (initialised_) {
      DeleteProcThreadAttributeList(get());
    }
  }
  LPPROC_THREAD_ATTRIBUTE_LIST get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data()); }
  bool complete() const { return complete_; }

 private:
  std::vector<char> memory_;
  bool initialised_ = false;
  bool complete_ = false;
};

// The running program. What it starts belongs to the same job and ends with it, so nothing keeps the pipe open.
class Child {
 public:
  Child() = default;
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { end(); }

  bool start(std::wstring commandLine, HANDLE input, HANDLE output) {
    HANDLE handles[] = {input, output};
    InheritedHandles inherited(handles, 2);
    job_.reset(CreateJobObjectW(nullptr, nullptr));
    if (!job_ || !inherited.complete()) {
      return false;
    }
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = input;
    startup.StartupInfo.hStdOutput = output;
    startup.StartupInfo.hStdError = output;
    startup.lpAttributeList = inherited.get();
    constexpr DWORD kFlags = NORMAL_PRIORITY_CLASS | CREATE_NO_WINDOW | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT;
    PROCESS_INFORMATION process{};
    if (CreateProcessW(OwnExecutable().c_str(), commandLine.data(), nullptr, nullptr, TRUE, kFlags, nullptr, nullptr,
                       &startup.StartupInfo, &process) == FALSE) {
      return false;
    }
    process_.reset(process.hProcess);
    const Handle thread(process.hThread);
    SetProcessAffinityMask(process.hProcess, SystemAffinityMask());
    return AssignProcessToJobObject(job_.get(), process.hProcess) != FALSE &&
           ResumeThread(process.hThread) != static_cast<DWORD>(-1);
  }

  bool awaitEnd(DWORD time) const { return WaitForSingleObject(process_.get(), time) == WAIT_OBJECT_0; }

  int exitCode() const {
    DWORD code = 0;
    GetExitCodeProcess(process_.get(), &code);
    return static_cast<int>(code);
  }

  void end() {
    if (process_) {
      TerminateProcess(process_.get(), 1);  // for one that has not come into the job
      TerminateJobObject(job_.get(), 1);
    }
  }

 private:
  Handle job_;
  Handle process_;
};

// Until the last writer has gone; keeps the beginning.
void collect(HANDLE readEnd, std::string& output) noexcept {
  char piece[4096];
  DWORD got = 0;
  while (ReadFile(readEnd, piece, sizeof piece, &got, nullptr) != FALSE) {
    const size_t taken = std::min(size_t{got}, kMostOutput - output.size());
    output.append(piece, taken);  // within what was reserved
  }
}

std::wstring commandLine(const std::vector<std::string>& arguments) {
  std::vector<std::wstring> wide;
  wide.reserve(arguments.size());
  for (const std::string& argument : arguments) {
    wide.push_back(WideFromUtf8(argument));
  }
  return CommandLineOf(OwnExecutable(), wide);
}

}  // namespace

std::optional<ChildAnswer> RunOwnProgram(const std::vector<std::string>& arguments, std::chrono::milliseconds time,
                                         const std::atomic<bool>* cancelled) try {
  constexpr int64_t kLongest = 24 * 60 * 60 * 1000;
  const auto milliseconds = static_cast<DWORD>(std::clamp<int64_t>(time.count(), 0, kLongest));
  const Handle input = openNothing();
  Pipe pipe;
  ChildAnswer answer;
  answer.output.reserve(kMostOutput);
  Child child;
  if (!input || !makePipe(pipe) || !child.start(commandLine(arguments), input.get(), pipe.writeEnd.get())) {
    return std::nullopt;
  }
  pipe.writeEnd.reset();
  std::thread reader([&] { collect(pipe.readEnd.get(), answer.output); });
  const ULONGLONG end = GetTickCount64() + milliseconds;
  bool inTime = child.awaitEnd(0);
  while (!inTime && GetTickCount64() < end && (cancelled == nullptr || !cancelled->load())) {
    inTime = child.awaitEnd(static_cast<DWORD>(std::min<ULONGLONG>(end - GetTickCount64(), 100)));
  }
  answer.exitCode = child.exitCode();
  child.end();
  reader.join();
  return inTime ? std::optional(std::move(answer)) : std::nullopt;
} catch (const std::exception&) {  // no memory or no thread left
  return std::nullopt;
}

}  // namespace tarnwick::platform
