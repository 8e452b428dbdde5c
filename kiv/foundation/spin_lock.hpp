// SpinLock: a small lock for very short critical sections (a dictionary read or write).
#ifndef KIV_FOUNDATION_SPIN_LOCK_HPP_
#define KIV_FOUNDATION_SPIN_LOCK_HPP_

#include <atomic>
#include <thread>

namespace kiv {

class SpinLock {
 public:
  SpinLock() = default;
  // A copy is a new, unlocked lock: it excludes nothing that the original excludes. (The
  // lock-taking getters of OxDictionaryAdapter take their lock by value and so lock only their
  // own copy.)
  SpinLock(const SpinLock&) noexcept {}
  SpinLock& operator=(const SpinLock&) = delete;

  // The operations of a standard lockable (std::lock_guard and friends): lock spins, yielding the
  // thread, until the lock is free; try_lock takes it only if it is free, and says whether it did.

  void lock() noexcept {
    while (locked_.exchange(true, std::memory_order_acquire)) {
      while (locked_.load(std::memory_order_relaxed)) std::this_thread::yield();
    }
  }
  bool try_lock() noexcept { return !locked_.exchange(true, std::memory_order_acquire); }
  void unlock() noexcept { locked_.store(false, std::memory_order_release); }

 private:
  std::atomic<bool> locked_{false};
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_SPIN_LOCK_HPP_
