#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <condition_variable>
#include <mutex>
#endif

namespace standin {

/// A lock with a condition that threads wait for. The system's own, because those of the compiler's library ask Wine's server
/// each time, which takes longer than the work that is waited for here. Threads: any.
class Monitor {
 public:
  Monitor() = default;
  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;

#ifdef _WIN32
  void lock() { AcquireSRWLockExclusive(&lock_); }
  void unlock() { ReleaseSRWLockExclusive(&lock_); }
  void notify_all() { WakeAllConditionVariable(&changed_); }
  /// With the lock held.
  template <class Condition>
  void wait_until(Condition condition) {
    while (!condition()) SleepConditionVariableSRW(&changed_, &lock_, INFINITE, 0);
  }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
  CONDITION_VARIABLE changed_ = CONDITION_VARIABLE_INIT;
#else
  void lock() { lock_.lock(); }
  void unlock() { lock_.unlock(); }
  void notify_all() { changed_.notify_all(); }
  /// With the lock held.
  template <class Condition>
  void wait_until(Condition condition) {
    changed_.wait(*this, condition);
  }

 private:
  std::mutex lock_;
  std::condition_variable_any changed_;
#endif
};

}  // namespace standin
