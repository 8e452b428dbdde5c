// ClassCache: a thread-safe map from model classes to immutable objects built for them (a class
// level's property mapping, its stored-property list), for the mapping layer's process-wide caches.
//
// Entries are added, never replaced or removed, so an entry, once found, stays valid for the
// cache's life. Look-ups take no lock and touch no reference count: they are on the path of every
// mapped model. Adding takes a mutex; when the table grows, the old table is kept, so that readers
// still probing it are never left with freed memory.
#ifndef KIV_MAPPING_INTERNAL_CLASS_CACHE_HPP_
#define KIV_MAPPING_INTERNAL_CLASS_CACHE_HPP_

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "kiv/foundation/object.hpp"
#include "kiv/model/model_class.hpp"

namespace kiv {

class ClassCacheTable {
 public:
  ClassCacheTable();
  ~ClassCacheTable();
  ClassCacheTable(const ClassCacheTable&) = delete;
  ClassCacheTable& operator=(const ClassCacheTable&) = delete;

  // The object under the class, or null.
  const Object* find(const ModelClass& cls) const noexcept;
  // Stores the object under the class unless the class has one already; returns the object that
  // the cache holds for the class afterwards.
  const Object& insert(const ModelClass& cls, Ref<const Object> object);
  std::size_t count() const;

 private:
  struct Slot {
    std::atomic<const ModelClass*> key{nullptr};
    std::atomic<const Object*> object{nullptr};
  };
  struct Table {
    explicit Table(std::size_t capacity) : mask(capacity - 1), slots(new Slot[capacity]) {}
    std::size_t mask;  // capacity - 1; the capacity is a power of two
    std::unique_ptr<Slot[]> slots;
  };

  static std::size_t home(const Table& table, const ModelClass& cls) noexcept;
  static void place(Table& table, const ModelClass& cls, const Object* object) noexcept;
  void grow();

  std::atomic<Table*> current_;
  mutable std::mutex mutex_;                   // serialises insert() and grow()
  std::vector<std::unique_ptr<Table>> tables_;  // every table made, the current one last
  std::size_t count_ = 0;
};

// The typed face of ClassCacheTable for objects of type T.
template <class T>
class ClassCache {
 public:
  // The object under the class, or null.
  const T* objectForKey(const ModelClass& cls) const noexcept {
    return static_cast<const T*>(table_.find(cls));
  }
  // Stores the object under the class unless the class has one already (two threads that built
  // one at the same time built equal ones); returns the object that the cache holds.
  const T& insert(const ModelClass& cls, Ref<const T> object) {
    return static_cast<const T&>(table_.insert(cls, std::move(object)));
  }
  std::size_t count() const { return table_.count(); }

 private:
  ClassCacheTable table_;
};

}  // namespace kiv

#endif  // KIV_MAPPING_INTERNAL_CLASS_CACHE_HPP_
