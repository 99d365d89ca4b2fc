#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <span>
#include <thread>
#include <vector>

#include "standin/remote/monitor.h"
#include "standin/session/session.h"

namespace standin {

/// Evaluates and projects for a session on all of the machine's processors. The threads are started by the first request that
/// is large enough for them, and end with this. Threads: one.
class EvaluationThreads {
 public:
  EvaluationThreads() = default;
  ~EvaluationThreads();
  EvaluationThreads(const EvaluationThreads&) = delete;
  EvaluationThreads& operator=(const EvaluationThreads&) = delete;

  /// As Session::evaluate; throws what that throws on any of the threads.
  void evaluate(Session& session, std::span<const RayQuery> queries, std::span<RayAnswer> answers);
  /// As Session::project of many points.
  void project(Session& session, std::span<const PointQuery> queries, std::span<PointAnswer> answers);

 private:
  /// Does a part of the request: so many of its queries, from the first on.
  using Part = std::function<void(std::size_t first, std::size_t count)>;

  void share(std::size_t count, Part part);
  void start();
  void work();
  /// Takes one part of the request after the other, until none is left.
  void take_parts();

  std::vector<std::thread> helpers_;
  Monitor monitor_;
  /// Counts the requests: helpers take part in each once.
  std::uint64_t request_ = 0;
  bool ending_ = false;
  /// Whether helpers may still begin to take part in it, and how many do.
  bool open_ = false;
  std::size_t busy_ = 0;
  std::exception_ptr failure_;
  /// Of the request.
  Part part_;
  std::size_t count_ = 0;
  std::atomic<std::size_t> next_ = 0;
};

}  // namespace standin
