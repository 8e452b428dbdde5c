// Change observation: the storage tells the application when stored models change.
//
//   kiv::KivObservation observation = storage.observe<Status>([](const kiv::KivChange& change) {
//     refresh(change.savedKeys);
//   });
//
// An observer receives one KivChange per committed write of the classes it observes: the key
// values saved (inserted or updated, in order), the key values deleted by key, and whether rows
// changed that cannot be named (a delete by condition or of all rows, expiry, a table made
// afresh, a version change). A write that fails or is rolled back sends nothing. Rows of single
// saves that are written together (one transaction) give one change per class.
//
// Observers run after the commit, on one serial queue of the storage, in commit order, and hold
// no lock of the storage or the database: they may read from and write to the storage (a write
// made there sends its own change later). An observer that throws is logged and the others still
// run. The observation lasts as long as its KivObservation: destroying or resetting it removes the
// observer (from inside the observer too); from another thread it waits for a call in progress.
#ifndef KIV_STORAGE_CHANGE_HPP_
#define KIV_STORAGE_CHANGE_HPP_

#include <functional>
#include <memory>
#include <vector>

#include "kiv/foundation/value.hpp"
#include "kiv/model/model_class.hpp"

namespace kiv {

// What one committed write changed in the table of a class, as observers receive it.
struct KivChange {
  // The class whose table changed; null when the tables of every class may have changed (a
  // version change, obsolete tables dropped).
  const ModelClass* modelClass = nullptr;
  // The key values of the rows written, in the order of writing (a key may repeat).
  std::vector<Value> savedKeys;
  // The key values of the rows deleted by key.
  std::vector<Value> deletedKeys;
  // Rows changed that cannot be named.
  bool unnamedRowsChanged = false;
};

// An observer: called with each change of the classes it observes (see above for where and when).
using KivChangeObserver = std::function<void(const KivChange& change)>;

class ChangeObservers;

// Keeps an observer registered while it lives. Moveable; a default-made one observes nothing.
class KivObservation {
 public:
  KivObservation() = default;
  // Removes the observer (see reset).
  ~KivObservation() { reset(); }

  // Moving hands the observer over: the moved-from observation observes nothing. Assigning first
  // removes the observer that this one kept.

  KivObservation(KivObservation&& other) noexcept = default;
  KivObservation& operator=(KivObservation&& other) noexcept;

  KivObservation(const KivObservation&) = delete;
  KivObservation& operator=(const KivObservation&) = delete;

  // Removes the observer now (see above); harmless when it is gone already.
  void reset();
  // Whether the observation keeps an observer (false when default-made, moved from or reset).
  explicit operator bool() const noexcept { return static_cast<bool>(observers_); }

 private:
  friend class ChangeObservers;
  KivObservation(std::shared_ptr<ChangeObservers> observers, std::uint64_t id) noexcept
      : observers_(std::move(observers)), id_(id) {}

  std::shared_ptr<ChangeObservers> observers_;
  std::uint64_t id_ = 0;
};

}  // namespace kiv

#endif  // KIV_STORAGE_CHANGE_HPP_
