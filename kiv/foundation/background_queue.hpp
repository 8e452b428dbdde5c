// BackgroundQueue: work that runs later, on background threads at low priority, one task at a
// time in the order in which it was submitted.
//
// All queues share one process-wide pool of low-priority worker threads; a queue occupies at
// most one of them at a time, so its tasks never overlap and never overtake each other.
// waitUntilIdle() blocks until every task submitted so far has finished, and the destructor
// waits the same way, so that no submitted task is lost when its owner goes away. A task that
// throws is logged and dropped; the queue goes on.
#ifndef KIV_FOUNDATION_BACKGROUND_QUEUE_HPP_
#define KIV_FOUNDATION_BACKGROUND_QUEUE_HPP_

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

namespace kiv {

class BackgroundQueue {
 public:
  // A unit of work; what it throws is logged and dropped.
  using Task = std::function<void()>;

  // An idle queue; its label names it in the log lines of failed tasks.
  explicit BackgroundQueue(std::string label = {});
  ~BackgroundQueue();
  BackgroundQueue(const BackgroundQueue&) = delete;
  BackgroundQueue& operator=(const BackgroundQueue&) = delete;

  // The label given at construction.
  const std::string& label() const noexcept { return label_; }

  // Queues the task and returns at once.
  void async(Task task);
  // Blocks until every task submitted before the call has finished. Called from one of this
  // queue's own tasks it returns at once (waiting there could never end).
  void waitUntilIdle();

  // Runs a task on the shared pool with no ordering against anything else.
  static void runDetached(Task task);

 private:
  // Runs the queued tasks one by one on a pool thread until none is left.
  void drain();

  std::string label_;
  std::mutex mutex_;
  std::condition_variable idle_;
  std::deque<Task> tasks_;
  bool draining_ = false;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_BACKGROUND_QUEUE_HPP_
