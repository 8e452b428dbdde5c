// PendingWrites: the rows of a storage's single saves that wait to be written.
//
// Rows are written in the order in which they were submitted, as many as wait in one go (the
// storage writes each batch in one transaction: a stream of single saves is group-committed).
// Batches are written on a background queue; a caller that needs the rows written (flush) or that
// finds the queue full (submit past the limit) writes the waiting rows itself unless a batch is
// being written, in which case it waits for that. So memory stays bounded, and no wait ever
// depends on a background thread being free.
#ifndef KIV_STORAGE_INTERNAL_PENDING_WRITES_HPP_
#define KIV_STORAGE_INTERNAL_PENDING_WRITES_HPP_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "kiv/foundation/background_queue.hpp"
#include "kiv/storage/internal/stored_row.hpp"

namespace kiv {

class PendingWrites {
 public:
  // Writes one batch of rows, in order.
  using Writer = std::function<void(std::vector<StoredRow>& rows)>;

  PendingWrites(Writer writer, std::size_t limit);
  // Writes every waiting row.
  ~PendingWrites();
  PendingWrites(const PendingWrites&) = delete;
  PendingWrites& operator=(const PendingWrites&) = delete;

  // Queues the row. While `limit` rows or more wait (0: no limit), first writes them itself or
  // waits until they are written.
  void submit(StoredRow row);
  // Returns when every row submitted before the call is written.
  void flush();
  // Whether rows were submitted that are not written yet (a hint: it may change at once).
  bool pending() const noexcept { return unwritten_.load(std::memory_order_acquire) != 0; }

  std::size_t limit() const;
  void setLimit(std::size_t limit);

 private:
  // With the lock held and no batch being written: writes every waiting row as one batch,
  // unlocking meanwhile.
  void writeWaiting(std::unique_lock<std::mutex>& lock);
  // The background task: writes batches until none waits.
  void drain();

  const Writer writer_;
  mutable std::mutex mutex_;
  std::condition_variable written_;
  std::vector<StoredRow> waiting_;
  std::size_t limit_;
  bool writing_ = false;      // a batch is being written
  bool scheduled_ = false;    // a drain task is queued or running
  std::uint64_t submitted_ = 0;
  std::uint64_t writtenCount_ = 0;
  std::atomic<std::uint64_t> unwritten_{0};
  BackgroundQueue queue_;
};

}  // namespace kiv

#endif  // KIV_STORAGE_INTERNAL_PENDING_WRITES_HPP_
