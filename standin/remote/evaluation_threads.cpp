#include "standin/remote/evaluation_threads.h"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <utility>

namespace standin {

EvaluationThreads::~EvaluationThreads() {
  {
    const std::lock_guard lock(monitor_);
    ending_ = true;
  }
  monitor_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void EvaluationThreads::start() {
  const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
  try {
    for (unsigned i = 0; i < processors; ++i) threads_.emplace_back([this] { do_all(); });
  } catch (const std::system_error&) {
    // A machine that gives no more threads is slower, and nothing else.
  }
}

void EvaluationThreads::begin(Work work) {
  if (threads_.empty()) start();
  if (threads_.empty()) {
    work();
    return;
  }
  {
    const std::lock_guard lock(monitor_);
    waiting_.push_back(std::move(work));
  }
  monitor_.notify_all();
}

void EvaluationThreads::finish() {
  std::unique_lock lock(monitor_);
  monitor_.wait_until([this] { return waiting_.empty() && busy_ == 0; });
}

void EvaluationThreads::do_all() {
  std::unique_lock lock(monitor_);
  while (true) {
    monitor_.wait_until([this] { return ending_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    const Work work = std::move(waiting_.front());
    waiting_.pop_front();
    ++busy_;
    lock.unlock();
    work();
    lock.lock();
    if (--busy_ == 0 && waiting_.empty()) monitor_.notify_all();
  }
}

}  // namespace standin
