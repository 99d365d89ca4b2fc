#pragma once

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "framework/camera_instance.h"
#include "link/camera_link.h"

namespace photographic {

/// The values of one evaluation.
struct Exposure {
  double iso;
  double iris;
  double shutter_degrees;
};

/// What is not a number stays unchanged when it still is none: otherwise every ray would count as a change.
inline bool unchanged(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

/// What one instance wrote to the camera link file last, shared by all render threads without a lock: a counter is odd while
/// a thread publishes, and a thread that meets it so goes on. While the values stay the same nothing is written to memory.
class Publication {
 public:
  Publication() = default;
  /// Forgets: an instance that takes over another one's values has published nothing yet.
  Publication& operator=(const Publication& other) {
    if (this != &other) published_.store(false, std::memory_order_relaxed);
    return *this;
  }

  /// Writes the link file if these values are not in it already. Without success the next call tries again. Threads: any;
  /// none waits for another one.
  void publish(const char* camera_label, const Exposure& exposure, double fractional_time) {
    const std::uint32_t turn = turn_.load(std::memory_order_acquire);
    if ((turn & 1U) == 0 && !holds(exposure, turn)) write(camera_label, exposure, fractional_time, turn);
  }

 private:
  bool holds(const Exposure& exposure, std::uint32_t turn) const {
    return published_.load(std::memory_order_acquire) && unchanged(iso_.load(std::memory_order_acquire), exposure.iso) &&
           unchanged(iris_.load(std::memory_order_acquire), exposure.iris) &&
           unchanged(shutter_degrees_.load(std::memory_order_acquire), exposure.shutter_degrees) &&
           turn_.load(std::memory_order_relaxed) == turn;
  }

  [[gnu::noinline, gnu::cold]] void write(const char* camera_label, const Exposure& exposure, double fractional_time,
                                          std::uint32_t turn) {
    if (!turn_.compare_exchange_strong(turn, turn + 1, std::memory_order_acq_rel)) return;
    if (QrmLink_Write("ovicam", "4.0.0.22", camera_label, exposure.iso, exposure.iris, exposure.shutter_degrees,
                      fractional_time) != 0) {
      iso_.store(exposure.iso, std::memory_order_release);
      iris_.store(exposure.iris, std::memory_order_release);
      shutter_degrees_.store(exposure.shutter_degrees, std::memory_order_release);
      published_.store(true, std::memory_order_release);
    }
    turn_.store(turn + 2, std::memory_order_release);
  }

  std::atomic<std::uint32_t> turn_{0};
  std::atomic<bool> published_{false};
  std::atomic<double> iso_{0.0};
  std::atomic<double> iris_{0.0};
  std::atomic<double> shutter_degrees_{0.0};
};

/// The state of a camera that publishes and keeps nothing else.
struct PublishingState {
  Publication publication;
};

/// Reads one value and keeps it, for the panel and the scene file; without an envelope the kept value stands. Part of every
/// ray, which a call for each of the three would slow down.
template <auto value, class Camera>
[[gnu::always_inline]] inline double refresh(framework::CameraInstance<Camera>& camera, double fractional_time) {
  constexpr std::size_t index = framework::index_of(Camera::parameters, value);
  const std::atomic_ref<double> kept(camera.lens.*value);
  const double before = kept.load(std::memory_order_relaxed);
  const double now = framework::envelope_value(camera.host().vparmf, camera.envelopes[index], fractional_time, before);
  if (!unchanged(now, before)) kept.store(now, std::memory_order_relaxed);
  return now;
}

/// Reads the exposure of an evaluation and publishes it under the camera's label. The fraction of the frame itself is the
/// time that the envelopes are read at: the readers of the link file count on it. Threads: any.
template <class Camera>
void publish_exposure(framework::CameraInstance<Camera>& camera, double fractional_time) {
  using Lens = typename Camera::Lens;
  const Exposure exposure{.iso = refresh<&Lens::photo_iso>(camera, fractional_time),
                          .iris = refresh<&Lens::photo_iris>(camera, fractional_time),
                          .shutter_degrees = refresh<&Lens::photo_shutter_degrees>(camera, fractional_time)};
  camera.state.publication.publish(Camera::link_label, exposure, fractional_time);
}

}  // namespace photographic
