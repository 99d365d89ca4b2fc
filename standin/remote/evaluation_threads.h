#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "standin/session/session.h"

namespace standin {

/// Evaluates a session's rays on all of the machine's processors. The threads are started by the first request that is large
/// enough for them, and end with this. Threads: one.
class EvaluationThreads {
 public:
  EvaluationThreads() = default;
  ~EvaluationThreads();
  EvaluationThreads(const EvaluationThreads&) = delete;
  EvaluationThreads& operator=(const EvaluationThreads&) = delete;

  /// As Session::evaluate; throws what that throws on any of the threads.
  void evaluate(Session& session, std::span<const RayQuery> queries, std::span<RayAnswer> answers);

 private:
  void start();
  void work();
  /// Takes one part of the rays after the other, until none is left.
  void take_parts();

  std::vector<std::thread> helpers_;
  std::mutex mutex_;
  std::condition_variable changed_;
  /// Counts the requests: helpers take part in each once.
  std::uint64_t request_ = 0;
  bool ending_ = false;
  std::size_t busy_ = 0;
  std::exception_ptr failure_;
  /// Of the request.
  Session* session_ = nullptr;
  std::span<const RayQuery> queries_;
  std::span<RayAnswer> answers_;
  std::atomic<std::size_t> next_ = 0;
};

}  // namespace standin
