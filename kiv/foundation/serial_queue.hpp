// SerialQueue: runs blocks one at a time, in the order in which they arrive, on the threads of
// their callers.
//
// sync(block) waits until every block that arrived earlier has finished, then runs the block on
// the calling thread and returns its result. While a block runs, the queue is marked as running
// on that thread, so code can ask whether it is already inside the queue (isRunningOnThisThread).
// A sync call on a queue that is already running on the calling thread, directly or through
// other queues' blocks (A -> B -> A), could never get its turn: it stops the process with an
// assertion instead of hanging.
#ifndef KIV_FOUNDATION_SERIAL_QUEUE_HPP_
#define KIV_FOUNDATION_SERIAL_QUEUE_HPP_

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>

namespace kiv {

class SerialQueue {
 public:
  // A free queue; the label names it for diagnostics.
  explicit SerialQueue(std::string label = {});
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  // The label given at construction.
  const std::string& label() const noexcept { return label_; }

  // Runs the block on this thread once the queue is free; returns what the block returns.
  // Exceptions leave the block and free the queue.
  template <class Block>
  decltype(auto) sync(Block&& block) {
    Turn turn(*this);
    return std::forward<Block>(block)();
  }

  // Whether a block of this queue is running on the calling thread, innermost or further out.
  bool isRunningOnThisThread() const noexcept;

 private:
  // Waits for this caller's turn and marks the queue running on this thread while it lives.
  class Turn {
   public:
    explicit Turn(SerialQueue& queue);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    SerialQueue& queue_;
    const Turn* outer_;
    friend class SerialQueue;
  };

  // The innermost turn held on this thread; each turn links to the one it runs inside.
  static thread_local const Turn* innermostTurn_;

  std::string label_;
  std::mutex mutex_;
  std::condition_variable turnEnded_;
  std::uint64_t nextTicket_ = 0;
  std::uint64_t nowServing_ = 0;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_SERIAL_QUEUE_HPP_
