// ChangeObservers: the observers of one storage and the serial queue on which they are told of
// changes (see kiv/storage/change.hpp).
#ifndef KIV_STORAGE_INTERNAL_CHANGE_OBSERVERS_HPP_
#define KIV_STORAGE_INTERNAL_CHANGE_OBSERVERS_HPP_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "kiv/foundation/background_queue.hpp"
#include "kiv/storage/change.hpp"

namespace kiv {

class ChangeObservers : public std::enable_shared_from_this<ChangeObservers> {
 public:
  ChangeObservers();
  ~ChangeObservers();

  // Registers the observer for the class (null: every class).
  KivObservation add(const ModelClass* cls, KivChangeObserver observer);
  // Removes it; waits for a call of it in progress on another thread.
  void remove(std::uint64_t id);

  // Whether any observer is registered (a hint for writers, which then collect keys).
  bool any() const noexcept { return count_.load(std::memory_order_acquire) != 0; }
  // Queues the changes for the observers; they run later, in the order of posting.
  void post(std::vector<KivChange> changes);
  // Blocks until every change posted so far has been delivered; returns at once on the queue.
  void waitUntilDelivered();

 private:
  struct Entry {
    std::uint64_t id;
    const ModelClass* cls;
    KivChangeObserver observer;
  };

  void deliver(const KivChange& change);
  bool observes(const Entry& entry, const KivChange& change) const;

  std::mutex mutex_;
  std::condition_variable idle_;
  std::vector<std::shared_ptr<const Entry>> entries_;
  std::uint64_t nextId_ = 1;
  std::uint64_t running_ = 0;          // the observer being called, 0 when none
  std::thread::id runningThread_;
  std::atomic<std::size_t> count_{0};
  BackgroundQueue queue_;
};

}  // namespace kiv

#endif  // KIV_STORAGE_INTERNAL_CHANGE_OBSERVERS_HPP_
