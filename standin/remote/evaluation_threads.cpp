#include "standin/remote/evaluation_threads.h"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <utility>

namespace standin {
namespace {

/// Rays or points that one thread takes at a time: enough to make up for the taking.
constexpr std::size_t part_size = 1024;

}  // namespace

EvaluationThreads::~EvaluationThreads() {
  {
    const std::lock_guard lock(monitor_);
    ending_ = true;
  }
  monitor_.notify_all();
  for (std::thread& helper : helpers_) helper.join();
}

void EvaluationThreads::start() {
  const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
  try {
    for (unsigned i = 1; i < processors; ++i) helpers_.emplace_back([this] { work(); });
  } catch (const std::system_error&) {
    // A machine that gives no more threads is slower, and nothing else.
  }
}

void EvaluationThreads::evaluate(Session& session, std::span<const RayQuery> queries, std::span<RayAnswer> answers) {
  share(queries.size(), [&session, queries, answers](std::size_t first, std::size_t count) {
    session.evaluate(queries.subspan(first, count), answers.subspan(first, count));
  });
}

void EvaluationThreads::project(Session& session, std::span<const PointQuery> queries, std::span<PointAnswer> answers) {
  share(queries.size(), [&session, queries, answers](std::size_t first, std::size_t count) {
    session.project(queries.subspan(first, count), answers.subspan(first, count));
  });
}

void EvaluationThreads::share(std::size_t count, Part part) {
  if (count <= part_size) {
    part(0, count);
    return;
  }
  if (helpers_.empty()) start();
  {
    const std::lock_guard lock(monitor_);
    part_ = std::move(part);
    count_ = count;
    next_ = 0;
    failure_ = nullptr;
    open_ = true;
    ++request_;
  }
  monitor_.notify_all();
  take_parts();
  std::unique_lock lock(monitor_);
  // Nobody waits for a helper that has not come yet: on a busy machine that may take longer than all of the work.
  open_ = false;
  monitor_.wait_until([this] { return busy_ == 0; });
  if (failure_) std::rethrow_exception(failure_);
}

void EvaluationThreads::work() {
  std::unique_lock lock(monitor_);
  for (std::uint64_t done = 0;;) {
    monitor_.wait_until([&] { return ending_ || (open_ && request_ != done); });
    if (ending_) return;
    done = request_;
    ++busy_;
    lock.unlock();
    take_parts();
    lock.lock();
    if (--busy_ == 0) monitor_.notify_all();
  }
}

void EvaluationThreads::take_parts() {
  try {
    for (std::size_t first = next_.fetch_add(part_size); first < count_; first = next_.fetch_add(part_size))
      part_(first, std::min(part_size, count_ - first));
  } catch (...) {
    const std::lock_guard lock(monitor_);
    failure_ = std::current_exception();
  }
}

}  // namespace standin
