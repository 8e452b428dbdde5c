#include "kiv/foundation/serial_queue.hpp"

#include "kiv/foundation/log.hpp"

namespace kiv {

thread_local const SerialQueue::Turn* SerialQueue::innermostTurn_ = nullptr;

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {}

SerialQueue::Turn::Turn(SerialQueue& queue) : queue_(queue), outer_(innermostTurn_) {
  if (queue.isRunningOnThisThread()) {
    abortWithAssertion(
        "!isRunningOnThisThread() && \"sync was called on a serial queue that is already running "
        "on this thread, which would lead to a deadlock\"");
  }
  // Tickets make the waiters take their turns in arrival order.
  std::unique_lock<std::mutex> lock(queue.mutex_);
  const std::uint64_t ticket = queue.nextTicket_++;
  queue.turnEnded_.wait(lock, [&] { return queue.nowServing_ == ticket; });
  innermostTurn_ = this;
}

SerialQueue::Turn::~Turn() {
  innermostTurn_ = outer_;
  {
    std::lock_guard<std::mutex> lock(queue_.mutex_);
    ++queue_.nowServing_;
  }
  queue_.turnEnded_.notify_all();
}

bool SerialQueue::isRunningOnThisThread() const noexcept {
  for (const Turn* turn = innermostTurn_; turn; turn = turn->outer_) {
    if (&turn->queue_ == this) return true;
  }
  return false;
}

}  // namespace kiv
