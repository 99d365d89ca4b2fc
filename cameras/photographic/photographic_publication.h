#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "framework/settings_camera.h"
#include "interop/camera_link.h"

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

/// What one instance wrote to the camera link file last, shared by all render threads without a lock: a counter is odd while
/// a thread publishes, and a thread that meets it so goes on. While the values stay the same nothing is written to memory.
class Publication {
 public:
  /// `camera_label`, a constant text, is what the readers of the file know the camera by.
  explicit Publication(const char* camera_label) : camera_label_(camera_label) {}

  /// An instance that takes over another one's values has published nothing yet.
  void forget() { turn_.store(0, std::memory_order_relaxed); }

  /// 0 when exactly these values are in the file, or were while another thread began to replace them. Threads: any.
  std::uint64_t difference_from(const Exposure& exposure) const {
    return difference(iso_.load(std::memory_order_relaxed), exposure.iso) |
           difference(iris_.load(std::memory_order_relaxed), exposure.iris) |
           difference(shutter_degrees_.load(std::memory_order_relaxed), exposure.shutter_degrees) |
           ((turn_.load(std::memory_order_relaxed) & holding) ^ holding);
  }

  /// Writes the link file if these values are not in it already. Without success the next call tries again. Threads: any;
  /// none waits for another one.
  void publish(const Exposure& exposure, double fractional_time) {
    std::uint32_t turn = turn_.load(std::memory_order_acquire);
    if ((turn & writing) != 0 || ((turn & holding) != 0 && holds(exposure) && turn_.load(std::memory_order_relaxed) == turn))
      return;
    if (!turn_.compare_exchange_strong(turn, turn | writing, std::memory_order_acq_rel)) return;
    if (QrmLink_Write("ovicam", "4.0.0.22", camera_label_, exposure.iso, exposure.iris, exposure.shutter_degrees,
                      fractional_time) != 0) {
      iso_.store(exposure.iso, std::memory_order_release);
      iris_.store(exposure.iris, std::memory_order_release);
      shutter_degrees_.store(exposure.shutter_degrees, std::memory_order_release);
      turn |= holding;
    }
    turn_.store(turn + one_turn, std::memory_order_release);
  }

 private:
  static constexpr std::uint32_t writing = 1;
  /// A write has succeeded.
  static constexpr std::uint32_t holding = 2;
  static constexpr std::uint32_t one_turn = 4;

  bool holds(const Exposure& exposure) const {
    return unchanged(iso_.load(std::memory_order_acquire), exposure.iso) &&
           unchanged(iris_.load(std::memory_order_acquire), exposure.iris) &&
           unchanged(shutter_degrees_.load(std::memory_order_acquire), exposure.shutter_degrees);
  }

  const char* camera_label_;
  /// The two flags, and above them a count of the writes.
  std::atomic<std::uint32_t> turn_{0};
  std::atomic<double> iso_{0.0};
  std::atomic<double> iris_{0.0};
  std::atomic<double> shutter_degrees_{0.0};
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
