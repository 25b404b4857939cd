#include "realtime_watch.h"

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstring>

namespace {

constexpr size_t kMostNotes = 64;
std::array<std::atomic<const char*>, kMostNotes> notes;
std::atomic<size_t> noteCount{0};
std::atomic<int> mutexLocks{0};
std::atomic<bool> watchingWorkers{false};

// Plain thread-local words of the program itself: reading them calls nothing.
thread_local bool watchedHere __attribute__((tls_model("initial-exec"))) = false;
thread_local bool isWorker __attribute__((tls_model("initial-exec"))) = false;

bool watched() {
  return watchedHere || (isWorker && watchingWorkers.load(std::memory_order_relaxed));
}

void note(const char* function) {
  if (watched()) {
    const size_t at = noteCount.fetch_add(1);
    if (at < kMostNotes) {
      notes[at].store(function);
    }
  }
}

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

// glibc's own names for its allocator: usable before dlsym is.
void* __libc_malloc(size_t);
void __libc_free(void*);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

#define ALLOCATES(name, real, parameters, arguments) \
  void* name parameters {                            \
    note(#name);                                     \
    return real arguments;                           \
  }

ALLOCATES(malloc, __libc_malloc, (size_t s), (s))
ALLOCATES(calloc, __libc_calloc, (size_t n, size_t s), (n, s))
ALLOCATES(realloc, __libc_realloc, (void* m, size_t s), (m, s))
ALLOCATES(aligned_alloc, __libc_memalign, (size_t a, size_t s), (a, s))
#undef ALLOCATES

void free(void* memory) {
  if (memory != nullptr) {
    note("free");
  }
  __libc_free(memory);
}
int posix_memalign(void** memory, size_t alignment, size_t size) {
  note("posix_memalign");
  *memory = __libc_memalign(alignment, size);
  return *memory == nullptr ? 12 : 0;
}

// How a thread names itself.
int prctl(int option, ...) {
  va_list list;
  va_start(list, option);
  unsigned long words[4];
  for (unsigned long& word : words) {
    word = va_arg(list, unsigned long);
  }
  va_end(list);
  if (option == PR_SET_NAME) {
    isWorker = std::strcmp(reinterpret_cast<const char*>(words[0]), "twk-worker") == 0;
  }
  static auto* const real = next<int(int, ...)>("prctl");
  return real(option, words[0], words[1], words[2], words[3]);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  static auto* const real = next<int(pthread_mutex_t*)>("pthread_mutex_lock");
  if (watched()) {
    mutexLocks.fetch_add(1);
  }
  return real(mutex);
}

#define WATCHED(result, name, parameters, arguments)          \
  result name parameters {                                    \
    static auto* const real = next<result parameters>(#name); \
    note(#name);                                              \
    return real arguments;                                    \
  }

WATCHED(int, pthread_cond_wait, (pthread_cond_t * c, pthread_mutex_t* m), (c, m))
WATCHED(int, pthread_cond_clockwait, (pthread_cond_t * c, pthread_mutex_t* m, clockid_t k, const timespec* t),
        (c, m, k, t))
WATCHED(int, pthread_rwlock_wrlock, (pthread_rwlock_t * l), (l))
WATCHED(int, pthread_create, (pthread_t * t, const pthread_attr_t* a, void* (*f)(void*), void* x), (t, a, f, x))
WATCHED(int, pthread_join, (pthread_t t, void** r), (t, r))
WATCHED(int, sem_wait, (sem_t * s), (s))
WATCHED(int, nanosleep, (const timespec* t, timespec* r), (t, r))
WATCHED(int, clock_nanosleep, (clockid_t k, int f, const timespec* t, timespec* r), (k, f, t, r))
WATCHED(int, poll, (pollfd * f, nfds_t n, int t), (f, n, t))
WATCHED(ssize_t, read, (int f, void* b, size_t n), (f, b, n))
WATCHED(ssize_t, write, (int f, const void* b, size_t n), (f, b, n))
WATCHED(int, close, (int f), (f))
WATCHED(int, munmap, (void* a, size_t n), (a, n))
WATCHED(void*, mmap, (void* a, size_t n, int p, int f, int d, off_t o), (a, n, p, f, d, o))
#undef WATCHED

}  // extern "C"

namespace tarnwick::tests {

WatchThisThread::WatchThisThread() {
  watchedHere = true;
}
WatchThisThread::~WatchThisThread() {
  watchedHere = false;
}

void WatchWorkers(bool watch) {
  watchingWorkers.store(watch);
}

Seen TakeSeen() {
  Seen seen;
  const size_t count = noteCount.exchange(0);
  for (size_t k = 0; k < count && k < kMostNotes; ++k) {
    seen.forbidden.emplace_back(notes[k].load());
  }
  seen.mutexLocks = mutexLocks.exchange(0);
  return seen;
}

}  // namespace tarnwick::tests
