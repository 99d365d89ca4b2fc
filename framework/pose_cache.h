#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace framework {

/// The poses of the fractional times that one frame has been asked for, shared by all render threads without a lock. A pose
/// is written once, in a place of its own, and then published; from there on it is only read, so that no ray ever sees half
/// of one or another time's. Looking up writes nothing. A frame that asks for more times than there are places is served from
/// its motion samples.
template <class PoseType>
class PoseCache {
 public:
  /// Times of one frame that have a place.
  static constexpr std::size_t most_times = 512;

  PoseCache() { begin(PoseType{}); }

  /// Begins a frame with the pose of time 0. Threads: one, with no reader meanwhile.
  void begin(const PoseType& start) {
    places_[0].entry = {std::bit_cast<std::uint64_t>(0.0), start};
    for (Slot& slot : slots_) slot.store(free, std::memory_order_relaxed);
    claimed_.store(1, std::memory_order_release);
  }

  const PoseType& start() const { return places_[0].entry.pose; }

  /// The pose of exactly this time; null when there is none, or only just being written. Threads: any.
  const PoseType* find(double time) const {
    const auto key = std::bit_cast<std::uint64_t>(time);
    if (key == places_[0].entry.time_bits) return &places_[0].entry.pose;
    for (std::size_t at = first_slot(key);; at = next_slot(at)) {
      const std::uint16_t place = slots_[at].load(std::memory_order_acquire);
      if (place == free || place == being_written) return nullptr;
      if (places_[place].entry.time_bits == key) return &places_[place].entry.pose;
    }
  }

  /// Gives a time that was not found a place, while there is one. Threads: any.
  void publish(double time, const PoseType& pose) {
    if (claimed_.load(std::memory_order_relaxed) >= most_times) return;
    const auto key = std::bit_cast<std::uint64_t>(time);
    for (std::size_t at = first_slot(key);; at = next_slot(at)) {
      std::uint16_t place = slots_[at].load(std::memory_order_acquire);
      if (place == free && slots_[at].compare_exchange_strong(place, being_written, std::memory_order_acq_rel)) {
        const std::size_t own = claimed_.fetch_add(1, std::memory_order_relaxed);
        if (own < most_times) places_[own].entry = {key, pose};
        slots_[at].store(own < most_times ? static_cast<std::uint16_t>(own) : free, std::memory_order_release);
        return;
      }
      // Another thread may be writing this very time there.
      if (place == being_written || places_[place].entry.time_bits == key) return;
    }
  }

 private:
  struct Entry {
    std::uint64_t time_bits;
    PoseType pose;
  };
  /// Holds nothing until it is published: most frames ask for few times, and the memory of the others is never touched.
  union Place {
    Place() {}  // NOLINT(modernize-use-equals-default): a default would be deleted.
    Entry entry;
  };
  static_assert(std::is_trivially_copyable_v<Entry>);
  using Slot = std::atomic<std::uint16_t>;

  /// Twice as many as there are places, so that a search soon meets a free one.
  static constexpr std::size_t slot_count = 2 * most_times;
  /// No slot leads to the place of time 0.
  static constexpr std::uint16_t free = 0;
  static constexpr std::uint16_t being_written = 0xFFFF;

  /// By Fibonacci hashing: neighbouring times come to lie far apart.
  static std::size_t first_slot(std::uint64_t key) {
    return (key * 0x9E3779B97F4A7C15U) >> (64 - std::bit_width(slot_count - 1));
  }
  static std::size_t next_slot(std::size_t slot) { return (slot + 1) % slot_count; }

  std::atomic<std::size_t> claimed_;
  std::array<Slot, slot_count> slots_;
  std::array<Place, most_times> places_;
};

}  // namespace framework
