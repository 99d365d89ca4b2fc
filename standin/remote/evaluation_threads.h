#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "standin/remote/monitor.h"

namespace standin {

/// As many threads as the machine has processors, which do one request after the other. They are started by the first request,
/// and end with this, when all is done. Threads: one.
class EvaluationThreads {
 public:
  /// Does a request and answers it. Must not throw.
  using Work = std::function<void()>;

  EvaluationThreads() = default;
  ~EvaluationThreads();
  EvaluationThreads(const EvaluationThreads&) = delete;
  EvaluationThreads& operator=(const EvaluationThreads&) = delete;

  /// Leaves the work to one of the threads; does it here on a machine that gives no thread.
  void begin(Work work);
  /// Returns when everything that was begun is done.
  void finish();

 private:
  void start();
  void do_all();

  std::vector<std::thread> threads_;
  Monitor monitor_;
  std::deque<Work> waiting_;
  std::size_t busy_ = 0;
  bool ending_ = false;
};

}  // namespace standin
