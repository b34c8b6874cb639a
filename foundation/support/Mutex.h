#pragma once

#include "foundation/support/Guarded.h"

#include <condition_variable>
#include <mutex>

namespace halvane {

// The standard's locks, in a form that Clang can check what they guard. One waits for a condition
// with a MutexLock on std::condition_variable_any; what is waited for stands in a loop around the
// wait or in a lambda that says REQUIRES(the lock).
template <class Native> class CAPABILITY("mutex") BasicMutex {
  public:
    void lock() ACQUIRE() { native_.lock(); }
    void unlock() RELEASE() { native_.unlock(); }

  private:
    Native native_;
};

using Mutex = BasicMutex<std::mutex>;
using RecursiveMutex = BasicMutex<std::recursive_mutex>; // whoever holds it may take it again

// Holds a lock as long as it lives, but for the time between an unlock and the next lock.
template <class Native> class SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(BasicMutex<Native>& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() {
        if (held_) mutex_.unlock();
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void lock() ACQUIRE() {
        mutex_.lock();
        held_ = true;
    }
    void unlock() RELEASE() {
        held_ = false;
        mutex_.unlock();
    }

  private:
    BasicMutex<Native>& mutex_;
    bool held_ = true;
};

} // namespace halvane
