#pragma once

#include <mutex>

// Clang's thread-safety analysis (-Wthread-safety) checks these; other compilers see nothing.
#if defined(__clang__)
#define VIGILO_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VIGILO_THREAD_ANNOTATION(x)
#endif
#define VIGILO_GUARDED_BY(x) VIGILO_THREAD_ANNOTATION(guarded_by(x))
#define VIGILO_REQUIRES(x) VIGILO_THREAD_ANNOTATION(requires_capability(x))
#define VIGILO_EXCLUDES(x) VIGILO_THREAD_ANNOTATION(locks_excluded(x))

namespace vigilo {

// std::mutex, annotated so that the compiler can check who holds it.
class VIGILO_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  void lock() VIGILO_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
  void unlock() VIGILO_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds a Mutex for a scope.
class VIGILO_THREAD_ANNOTATION(scoped_lockable) LockGuard {
 public:
  explicit LockGuard(Mutex& mutex) VIGILO_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  ~LockGuard() VIGILO_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace vigilo
