#include "kiv/storage/internal/change_observers.hpp"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "kiv/foundation/log.hpp"

namespace kiv {

KivObservation& KivObservation::operator=(KivObservation&& other) noexcept {
  if (this != &other) {
    reset();
    observers_ = std::move(other.observers_);
    id_ = other.id_;
  }
  return *this;
}

void KivObservation::reset() {
  if (const std::shared_ptr<ChangeObservers> observers = std::move(observers_)) observers->remove(id_);
}

ChangeObservers::ChangeObservers() : queue_("KivStorage changes") {}

ChangeObservers::~ChangeObservers() = default;

KivObservation ChangeObservers::add(const ModelClass* cls, KivChangeObserver observer) {
  std::lock_guard<std::mutex> lock(mutex_);
  const std::uint64_t id = nextId_++;
  entries_.push_back(std::make_shared<const Entry>(Entry{id, cls, std::move(observer)}));
  count_.store(entries_.size(), std::memory_order_release);
  return KivObservation(shared_from_this(), id);
}

void ChangeObservers::remove(std::uint64_t id) {
  std::shared_ptr<const Entry> removed;  // its observer goes outside the lock
  std::unique_lock<std::mutex> lock(mutex_);
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry->id == id; });
  if (found != entries_.end()) {
    removed = std::move(*found);
    entries_.erase(found);
    count_.store(entries_.size(), std::memory_order_release);
  }
  // A call in progress finishes first, unless it is the caller itself.
  idle_.wait(lock, [&] { return running_ != id || runningThread_ == std::this_thread::get_id(); });
}

void ChangeObservers::post(std::vector<KivChange> changes) {
  if (changes.empty()) return;
  // The storage waits for the queue before it lets go of the observers, so they outlive the task.
  queue_.async([this, changes = std::move(changes)] {
    for (const KivChange& change : changes) deliver(change);
  });
}

void ChangeObservers::waitUntilDelivered() { queue_.waitUntilIdle(); }

bool ChangeObservers::observes(const Entry& entry, const KivChange& change) const {
  return !entry.cls || !change.modelClass || entry.cls == change.modelClass;
}

void ChangeObservers::deliver(const KivChange& change) {
  std::vector<std::shared_ptr<const Entry>> entries;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    entries = entries_;
  }
  for (const std::shared_ptr<const Entry>& entry : entries) {
    if (!observes(*entry, change)) continue;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      // Removed since the list was taken: not called any more.
      if (std::none_of(entries_.begin(), entries_.end(), [&](const auto& e) { return e == entry; })) continue;
      running_ = entry->id;
      runningThread_ = std::this_thread::get_id();
    }
    try {
      entry->observer(change);
    } catch (const std::exception& e) {
      log(std::string("Kiv: a change observer failed: ") + e.what());
    } catch (...) {
      log("Kiv: a change observer failed");
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      running_ = 0;
    }
    idle_.notify_all();
  }
}

}  // namespace kiv
