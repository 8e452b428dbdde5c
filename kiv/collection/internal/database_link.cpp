#include "kiv/collection/internal/database_link.hpp"

namespace kiv {

DatabaseLink::Pin::Pin(DatabaseLink& link) : link_(link) {
  std::lock_guard<std::mutex> lock(link.mutex_);
  database_ = link.database_;
  if (database_) ++link.pins_;
}

DatabaseLink::Pin::~Pin() {
  if (!database_) return;
  std::lock_guard<std::mutex> lock(link_.mutex_);
  if (--link_.pins_ == 0) link_.unpinned_.notify_all();
}

OxSimpleDatabase* DatabaseLink::database() {
  std::lock_guard<std::mutex> lock(mutex_);
  return database_;
}

void DatabaseLink::detach() {
  std::unique_lock<std::mutex> lock(mutex_);
  database_ = nullptr;
  unpinned_.wait(lock, [this] { return pins_ == 0; });
}

}  // namespace kiv
