#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace tool {

/// "950", "3.1 k", "3.1 M" or "3.1 G".
std::string short_count(double count);

/// Shows the progress of a long task on standard error: the lines of note() and, on a terminal, one that redraws itself.
class Progress {
 public:
  explicit Progress(double total_rays);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Ends the line, so that the next output starts on a new one.
  ~Progress();

  /// Adds to the rays that are done. Threads: any number at once.
  void add(std::uint64_t rays);

  /// A line for a log, above the bar on a terminal. Threads: one.
  void note(const std::string& line);

 private:
  using Clock = std::chrono::steady_clock;

  void draw() const;

  const bool terminal_;
  const double total_;
  const Clock::time_point start_;
  std::mutex mutex_;
  std::uint64_t done_ = 0;
  Clock::time_point drawn_;
};

}  // namespace tool
