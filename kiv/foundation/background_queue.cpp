#include "kiv/foundation/background_queue.hpp"

#include <algorithm>
#include <exception>
#include <thread>
#include <vector>

#include "kiv/foundation/log.hpp"
#include "kiv/foundation/internal/platform.hpp"

namespace kiv {
namespace {

// The process-wide pool of low-priority worker threads. It is never destroyed: its threads wait
// for work until the process ends, so no static destructor can race with a running task.
class Pool {
 public:
  static Pool& shared() {
    static Pool* pool = new Pool(std::max(2u, std::thread::hardware_concurrency()));
    return *pool;
  }

  void submit(BackgroundQueue::Task task) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      tasks_.push_back(std::move(task));
    }
    available_.notify_one();
  }

 private:
  explicit Pool(unsigned threads) {
    for (unsigned i = 0; i < threads; ++i) std::thread([this] { work(); }).detach();
  }

  void work() {
    // Background work yields to the application's own threads.
    platform::lowerCurrentThreadPriority();
    while (true) {
      BackgroundQueue::Task task;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        available_.wait(lock, [this] { return !tasks_.empty(); });
        task = std::move(tasks_.front());
        tasks_.pop_front();
      }
      task();
    }
  }

  std::mutex mutex_;
  std::condition_variable available_;
  std::deque<BackgroundQueue::Task> tasks_;
};

// The queue whose task runs on this thread, if any.
thread_local const BackgroundQueue* runningQueue = nullptr;

void runLogged(const BackgroundQueue::Task& task, const std::string& label) {
  try {
    task();
  } catch (const std::exception& e) {
    log("Background task on " + label + " failed: " + e.what());
  } catch (...) {
    log("Background task on " + label + " failed");
  }
}

}  // namespace

BackgroundQueue::BackgroundQueue(std::string label) : label_(std::move(label)) {}

BackgroundQueue::~BackgroundQueue() { waitUntilIdle(); }

void BackgroundQueue::async(Task task) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    if (draining_) return;
    draining_ = true;
  }
  Pool::shared().submit([this] { drain(); });
}

void BackgroundQueue::drain() {
  runningQueue = this;
  std::unique_lock<std::mutex> lock(mutex_);
  while (!tasks_.empty()) {
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    runLogged(task, label_);
    task = nullptr;  // release what the task holds before the queue may be idle
    lock.lock();
  }
  draining_ = false;
  runningQueue = nullptr;
  idle_.notify_all();
}

void BackgroundQueue::waitUntilIdle() {
  if (runningQueue == this) return;
  std::unique_lock<std::mutex> lock(mutex_);
  idle_.wait(lock, [this] { return !draining_; });
}

void BackgroundQueue::runDetached(Task task) {
  Pool::shared().submit([task = std::move(task)] { runLogged(task, "the background pool"); });
}

}  // namespace kiv
