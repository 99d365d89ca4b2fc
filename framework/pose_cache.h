#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace framework {

/// The poses of the fractional times that one frame has been asked for, shared by all render threads without a lock. A pose
/// is written once, in a place of its own, and then published; from there on it is only read, so that no ray ever sees half
/// of one or another time's. A frame that asks for more times than there are places is served from its motion samples, and
/// then evaluation writes nothing that threads share.
template <class PoseType>
class PoseCache {
 public:
  /// Begins a frame with the pose of time 0. Threads: one, with no reader meanwhile.
  void begin(const PoseType& start) {
    entries_[0] = {0.0, start};
    claimed_.store(1, std::memory_order_relaxed);
    latest_.store(entries_.data(), std::memory_order_release);
  }

  const PoseType& start() const { return entries_[0].pose; }

  /// The pose of exactly this time when it is the one published last; else null. Threads: any.
  const PoseType* find(double time) const {
    const Entry* entry = latest_.load(std::memory_order_acquire);
    return entry->time == time ? &entry->pose : nullptr;
  }

  /// Threads: any.
  void publish(double time, const PoseType& pose) {
    if (claimed_.load(std::memory_order_relaxed) >= entries_.size()) return;
    const std::size_t place = claimed_.fetch_add(1, std::memory_order_relaxed);
    if (place >= entries_.size()) return;
    entries_[place] = {time, pose};
    latest_.store(&entries_[place], std::memory_order_release);
  }

 private:
  struct Entry {
    double time = 0.0;
    PoseType pose{};
  };

  std::array<Entry, 32> entries_{};
  std::atomic<std::size_t> claimed_{1};
  std::atomic<const Entry*> latest_{entries_.data()};
};

/// A pose to map one ray with: a published one where it stands, or one of its own. Copying a pose would cost a good part of
/// a simple lens's time.
template <class PoseType>
class PoseForRay {
 public:
  explicit PoseForRay(const PoseType* published) : published_(published) {}
  explicit PoseForRay(const PoseType& own) : own_(own) {}

  operator const PoseType&() const { return published_ != nullptr ? *published_ : own_; }  // NOLINT(*-explicit-*)

 private:
  const PoseType* published_ = nullptr;
  union {
    PoseType own_;
  };
};

}  // namespace framework
