#include "kiv/storage/internal/pending_writes.hpp"

#include <exception>
#include <utility>

#include "kiv/foundation/log.hpp"

namespace kiv {

PendingWrites::PendingWrites(Writer writer, std::size_t limit)
    : writer_(std::move(writer)), limit_(limit), queue_("KivStorage writes") {}

PendingWrites::~PendingWrites() { flush(); }

void PendingWrites::submit(StoredRow row) {
  std::unique_lock<std::mutex> lock(mutex_);
  while (limit_ != 0 && waiting_.size() >= limit_) {
    if (writing_) {
      written_.wait(lock);
    } else {
      writeWaiting(lock);
    }
  }
  waiting_.push_back(std::move(row));
  ++submitted_;
  unwritten_.store(submitted_ - writtenCount_, std::memory_order_release);
  if (scheduled_) return;
  scheduled_ = true;
  lock.unlock();
  queue_.async([this] { drain(); });
}

void PendingWrites::flush() {
  std::unique_lock<std::mutex> lock(mutex_);
  const std::uint64_t target = submitted_;
  while (writtenCount_ < target) {
    if (writing_) {
      written_.wait(lock);
    } else {
      writeWaiting(lock);
    }
  }
}

void PendingWrites::drain() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!waiting_.empty()) {
    if (writing_) {
      written_.wait(lock);
    } else {
      writeWaiting(lock);
    }
  }
  scheduled_ = false;
}

void PendingWrites::writeWaiting(std::unique_lock<std::mutex>& lock) {
  std::vector<StoredRow> batch;
  batch.swap(waiting_);
  writing_ = true;
  lock.unlock();
  try {
    writer_(batch);
  } catch (const std::exception& e) {
    log(std::string("Kiv: background write failed: ") + e.what());
  } catch (...) {
    log("Kiv: background write failed");
  }
  const std::size_t count = batch.size();
  batch.clear();  // the rows' values go before the lock is taken again
  lock.lock();
  writing_ = false;
  writtenCount_ += count;
  unwritten_.store(submitted_ - writtenCount_, std::memory_order_release);
  written_.notify_all();
}

std::size_t PendingWrites::limit() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return limit_;
}

void PendingWrites::setLimit(std::size_t limit) {
  std::lock_guard<std::mutex> lock(mutex_);
  limit_ = limit;
}

}  // namespace kiv
