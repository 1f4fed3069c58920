#pragma once

#include <atomic>
#include <thread>

namespace Kalvex {

// A lock for process-wide tables whose critical sections are a few instructions long, such as
// the id set that every node enters and leaves: taking it costs one atomic exchange. A waiter
// yields its time slice rather than burning it. Usable with std::lock_guard.
class SpinLock {
  public:
    void lock() noexcept {
        while (_flag.test_and_set(std::memory_order_acquire))
            while (_flag.test(std::memory_order_relaxed)) std::this_thread::yield();
    }
    bool try_lock() noexcept { return !_flag.test_and_set(std::memory_order_acquire); }
    void unlock() noexcept { _flag.clear(std::memory_order_release); }

  private:
    std::atomic_flag _flag = ATOMIC_FLAG_INIT;
};

}  // namespace Kalvex
