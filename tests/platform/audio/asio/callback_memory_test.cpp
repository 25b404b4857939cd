// A driver's thread is not this program's own: whatever the compiler sets up for a thread at its first look, it would
// set up inside a block. Counts what the program's own code allocates on such a thread; the libraries' is not seen.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

#include "engine/pool_control.h"
#include "platform/windows/win32.h"
#include "support/engine_rig.h"

namespace {

std::atomic<DWORD> watchedThread{0};
std::atomic<int> allocations{0};

void count() noexcept {
  if (watchedThread.load() == GetCurrentThreadId()) {
    allocations += 1;
  }
}

}  // namespace

// Linked instead of the C library's.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* memory, size_t size);

void* __wrap_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  count();
  return __real_malloc(size);
}
void* __wrap_calloc(size_t number, size_t size);
void* __wrap_calloc(size_t number, size_t size) {
  count();
  return __real_calloc(number, size);
}
void* __wrap_realloc(void* memory, size_t size);
void* __wrap_realloc(void* memory, size_t size) {
  count();
  return __real_realloc(memory, size);
}
}

namespace tarnwick::tests {
namespace {

int allocationsOn(DWORD(WINAPI* body)(void*), void* argument) {
  allocations = 0;
  DWORD id = 0;
  HANDLE thread = CreateThread(nullptr, 0, body, argument, CREATE_SUSPENDED, &id);
  watchedThread = id;
  ResumeThread(thread);
  WaitForSingleObject(thread, INFINITE);
  watchedThread = 0;
  CloseHandle(thread);
  return allocations;
}

thread_local int perThread = 1;
DWORD WINAPI look(void* /*argument*/) {
  perThread += 1;
  return 0;
}

DWORD WINAPI runBlocks(void* rig) {
  for (int block = 0; block < 3; ++block) {
    static_cast<EngineRig*>(rig)->device.runBlock();
  }
  return 0;
}

TEST(CallbackMemory, TheFirstBlocksOfAThreadAllocateNothing) {
  ASSERT_GT(allocationsOn(&look, nullptr), 0) << "a thread_local of this compiler";
  EngineRig rig;
  rig.engine.mmcssEnabled = true;
  rig.engine.enginePriority = 5;
  ASSERT_TRUE(rig.startDevice());
  rig.addInstance(0, 0);
  rig.addInstance(1, 1);
  engine::ReconfigurePool(rig.engine, true);  // as a start does: this system sets a mutex up when it is first locked
  rig.runHost();
  EXPECT_EQ(allocationsOn(&runBlocks, &rig), 0);
  EXPECT_EQ(rig.engine.counters.hostCount.load(), 3u);
  EXPECT_GE(rig.engine.granted.callback.load(), 0) << "the thread has not asked for its scheduling";
  rig.engine.hostRunning = false;
  engine::ReleasePool(rig.engine, engine::TakePool(rig.engine));
}

}  // namespace
}  // namespace tarnwick::tests
