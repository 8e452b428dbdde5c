// DatabaseLink: how the collections of a database reach it without owning it (owning would make a
// cycle, as the database keeps its collections), safely while the database may be going away on
// another thread.
#ifndef KIV_COLLECTION_INTERNAL_DATABASE_LINK_HPP_
#define KIV_COLLECTION_INTERNAL_DATABASE_LINK_HPP_

#include <condition_variable>
#include <mutex>

namespace kiv {

class OxSimpleDatabase;

class DatabaseLink {
 public:
  explicit DatabaseLink(OxSimpleDatabase* database) noexcept : database_(database) {}
  DatabaseLink(const DatabaseLink&) = delete;
  DatabaseLink& operator=(const DatabaseLink&) = delete;

  // Holds the database for the length of one operation: the database does not go while a pin of
  // it lives. A pin taken after the database began to go holds nothing.
  class Pin {
   public:
    explicit Pin(DatabaseLink& link);
    ~Pin();
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;

    OxSimpleDatabase* get() const noexcept { return database_; }
    OxSimpleDatabase* operator->() const noexcept { return database_; }
    explicit operator bool() const noexcept { return database_ != nullptr; }

   private:
    DatabaseLink& link_;
    OxSimpleDatabase* database_;
  };

  // The database, or null once it began to go; not held (see Pin).
  OxSimpleDatabase* database();
  // Called by the database as it goes: from now on pins hold nothing; returns when the pins taken
  // before have all gone.
  void detach();

 private:
  std::mutex mutex_;
  std::condition_variable unpinned_;
  OxSimpleDatabase* database_;
  int pins_ = 0;
};

}  // namespace kiv

#endif  // KIV_COLLECTION_INTERNAL_DATABASE_LINK_HPP_
