#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "framework/settings_camera.h"
#include "interop/camera_link.h"
#include "platform/operating_system.h"

namespace photographic {

/// The values of one evaluation.
struct Exposure {
  double iso;
  double iris;
  double shutter_degrees;
};

/// 0 when the two are the same bit for bit. Many of them joined with | cost one branch, and what is not a number is still
/// the same as itself.
inline std::uint64_t difference(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) ^ std::bit_cast<std::uint64_t>(b);
}

/// As numbers: zeros of both signs are one, and so is all that is not a number. Otherwise the latter would be a change with
/// every ray.
inline bool unchanged(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

/// How an instance publishes; what QrmLink_Write returns.
using WriteExposure = int (*)(const char* camera_label, const Exposure& exposure, double fractional_time);
/// Milliseconds; starts again at 0 after 2^32.
using MillisecondClock = unsigned long (*)() noexcept;

inline int write_exposure(const char* camera_label, const Exposure& exposure, double fractional_time) {
  return QrmLink_Write("ovicam", "4.0.0.22", camera_label, exposure.iso, exposure.iris, exposure.shutter_degrees,
                       fractional_time);
}

/// What one instance wrote to the camera link file last, shared by all render threads without a lock: a counter is odd while
/// a thread publishes, and a thread that meets it so goes on. While the values stay the same nothing is written to memory.
///
/// Publishing never holds a render up: where writes fail again and again, or every ray has another exposure, further ones are
/// put off. What was put off last is written when the frame ends.
class Publication {
 public:
  /// `camera_label`, a constant text, is what the readers of the file know the camera by.
  explicit Publication(const char* camera_label, WriteExposure write = write_exposure,
                       MillisecondClock clock = platform::tick_count_milliseconds)
      : camera_label_(camera_label), write_(write), clock_(clock) {}

  /// An instance that takes over another one's values has published nothing yet.
  void forget() {
    turn_.store(0, std::memory_order_relaxed);
    failures_in_a_row_ = 0;
    writes_in_frame_ = 0;
  }

  /// 0 when exactly these values are in the file, or were while another thread began to replace them, and none were put off.
  /// Threads: any.
  std::uint64_t difference_from(const Exposure& exposure) const {
    return difference(iso_.load(std::memory_order_relaxed), exposure.iso) |
           difference(iris_.load(std::memory_order_relaxed), exposure.iris) |
           difference(shutter_degrees_.load(std::memory_order_relaxed), exposure.shutter_degrees) |
           ((turn_.load(std::memory_order_relaxed) & (holding | put_off)) ^ holding);
  }

  /// Writes the link file if these values are not in it already, or puts that off. Without success a later call tries again.
  /// Threads: any; none waits for another one.
  void publish(const Exposure& exposure, double fractional_time) {
    std::uint32_t turn = turn_.load(std::memory_order_acquire);
    if ((turn & writing) != 0) return;
    const bool held = (turn & holding) != 0 && holds(exposure) && turn_.load(std::memory_order_relaxed) == turn;
    if (held && (turn & put_off) == 0) return;
    if (!turn_.compare_exchange_strong(turn, turn | writing, std::memory_order_acq_rel)) return;
    if (held) {
      turn &= ~put_off;
    } else {
      latest_ = exposure;
      latest_fractional_time_ = fractional_time;
      turn |= put_off;
      if (is_due()) turn = write_latest(turn);
    }
    turn_.store(turn + one_turn, std::memory_order_release);
  }

  /// Writes what was put off last. From here on the writes of a frame are counted anew. Threads: one; where another one is
  /// writing all the same, nothing happens.
  void end_frame() {
    std::uint32_t turn = turn_.load(std::memory_order_acquire);
    if ((turn & writing) != 0 || !turn_.compare_exchange_strong(turn, turn | writing, std::memory_order_acq_rel)) return;
    if ((turn & put_off) != 0) turn = write_latest(turn);
    writes_in_frame_ = 0;
    turn_.store(turn + one_turn, std::memory_order_release);
  }

 private:
  static constexpr std::uint32_t writing = 1;
  /// A write has succeeded.
  static constexpr std::uint32_t holding = 2;
  /// There are later values than those in the file.
  static constexpr std::uint32_t put_off = 4;
  static constexpr std::uint32_t one_turn = 8;

  static constexpr std::uint32_t most_failures = 8;
  static constexpr std::uint32_t milliseconds_after_failures = 100;
  static constexpr std::uint32_t most_writes_in_frame = 256;
  static constexpr std::uint32_t milliseconds_after_writes = 10;

  bool holds(const Exposure& exposure) const {
    return unchanged(iso_.load(std::memory_order_acquire), exposure.iso) &&
           unchanged(iris_.load(std::memory_order_acquire), exposure.iris) &&
           unchanged(shutter_degrees_.load(std::memory_order_acquire), exposure.shutter_degrees);
  }

  /// How far writes are apart; 0 as long as there have not been many. For whoever has the turn.
  std::uint32_t spacing_milliseconds() const {
    if (failures_in_a_row_ >= most_failures) return milliseconds_after_failures;
    return writes_in_frame_ >= most_writes_in_frame ? milliseconds_after_writes : 0;
  }

  bool is_due() const {
    const std::uint32_t spacing = spacing_milliseconds();
    return spacing == 0 || static_cast<std::uint32_t>(clock_() - last_write_milliseconds_) >= spacing;
  }

  /// Returns the turn's new flags. For whoever has the turn.
  std::uint32_t write_latest(std::uint32_t turn) {
    if (write_(camera_label_, latest_, latest_fractional_time_) != 0) {
      iso_.store(latest_.iso, std::memory_order_release);
      iris_.store(latest_.iris, std::memory_order_release);
      shutter_degrees_.store(latest_.shutter_degrees, std::memory_order_release);
      failures_in_a_row_ = 0;
      writes_in_frame_ = std::min(writes_in_frame_ + 1, most_writes_in_frame);
      turn = (turn | holding) & ~put_off;
    } else {
      failures_in_a_row_ = std::min(failures_in_a_row_ + 1, most_failures);
    }
    if (spacing_milliseconds() != 0) last_write_milliseconds_ = static_cast<std::uint32_t>(clock_());
    return turn;
  }

  const char* camera_label_;
  WriteExposure write_;
  MillisecondClock clock_;
  /// The flags, and above them a count of the turns.
  std::atomic<std::uint32_t> turn_{0};
  std::atomic<double> iso_{0.0};
  std::atomic<double> iris_{0.0};
  std::atomic<double> shutter_degrees_{0.0};
  // What follows belongs to whoever has the turn.
  Exposure latest_{};
  double latest_fractional_time_ = 0.0;
  std::uint32_t failures_in_a_row_ = 0;
  std::uint32_t writes_in_frame_ = 0;
  std::uint32_t last_write_milliseconds_ = 0;
};

/// A value kept in the lens, which render threads may replace.
inline std::atomic_ref<double> kept(double& value) { return std::atomic_ref<double>(value); }

/// Reads one value into `out`; without an envelope the kept value stands. Part of every ray, which a call would slow down.
[[gnu::always_inline]] inline void read(LWVParmID envelope, const LWVParmFuncs* vparmf, double& value, double fractional_time,
                                        double* out) {
  *out = kept(value).load(std::memory_order_relaxed);
  if (vparmf != nullptr && envelope != nullptr) vparmf->getVal(envelope, fractional_time, nullptr, out);
}

/// Keeps new values, for the panel and the scene file, and publishes them.
template <class Lens>
[[gnu::noinline, gnu::cold]] void take_over(Lens& lens, Publication& publication, const Exposure& exposure,
                                            double fractional_time) {
  const auto keep = [](double& value, double now) {
    if (difference(kept(value).load(std::memory_order_relaxed), now) != 0) kept(value).store(now, std::memory_order_relaxed);
  };
  keep(lens.photo_iso, exposure.iso);
  keep(lens.photo_iris, exposure.iris);
  keep(lens.photo_shutter_degrees, exposure.shutter_degrees);
  publication.publish(exposure, fractional_time);
}

/// Reads the exposure of an evaluation and publishes it. The fraction of the frame itself is the time that the envelopes are
/// read at: the readers of the link file count on it. `parameters` are the camera's, and `services` its namespace's. Threads:
/// any.
template <const auto& parameters, class Camera>
[[gnu::always_inline]] inline void publish_exposure(Camera& camera, const framework::HostServices& services,
                                                    Publication& publication, double fractional_time) {
  auto& lens = camera.values;
  using Lens = std::remove_reference_t<decltype(lens)>;
  constexpr std::size_t iso = framework::index_of(parameters, &Lens::photo_iso);
  constexpr std::size_t iris = framework::index_of(parameters, &Lens::photo_iris);
  constexpr std::size_t shutter = framework::index_of(parameters, &Lens::photo_shutter_degrees);
  // The host may fill three numbers from where it is told to: what one reading leaves behind its own, the next one replaces.
  std::array<double, 5> readings;
  const LWVParmFuncs* vparmf = services.vparmf;
  read(camera.envelopes[iso], vparmf, lens.photo_iso, fractional_time, readings.data());
  read(camera.envelopes[iris], vparmf, lens.photo_iris, fractional_time, readings.data() + 1);
  read(camera.envelopes[shutter], vparmf, lens.photo_shutter_degrees, fractional_time, readings.data() + 2);
  const auto kept_difference = [](double& value, double now) {
    return difference(kept(value).load(std::memory_order_relaxed), now);
  };
  const std::uint64_t differences = kept_difference(lens.photo_iso, readings[0]) |
                                    kept_difference(lens.photo_iris, readings[1]) |
                                    kept_difference(lens.photo_shutter_degrees, readings[2]) |
                                    publication.difference_from({readings[0], readings[1], readings[2]});
  if (differences != 0) [[unlikely]]
    take_over(lens, publication, {readings[0], readings[1], readings[2]}, fractional_time);
}

}  // namespace photographic
