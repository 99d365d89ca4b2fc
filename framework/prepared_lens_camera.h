#pragma once

#include <bit>
#include <cstdint>
#include <utility>

#include "framework/for_ray.h"
#include "framework/lens_camera.h"

namespace framework {

/// A camera that works out once, and not in each ray, what follows from its values and the film alone: `prepared(lens, film)`,
/// a plain function beside its `Lens`.
template <class Lens>
class PreparedLensCamera : public LensCamera<Lens> {
 public:
  using Prepared = decltype(prepared(std::declval<const Lens&>(), Film{}));

  using LensCamera<Lens>::LensCamera;

  void read_values(LWTime time) override {
    LensCamera<Lens>::read_values(time);
    prepare();
  }

 protected:
  void initialise() override { prepare(); }
  void after_frame() override { prepare(); }
  void after_copy(const Camera& /*from*/) override { prepare(); }

  /// To be called after the values have changed. Threads: one.
  void prepare() {
    film_ = film_of(this->access);
    prepared_ = prepared(this->values, film_);
  }

  /// For the film of the frame. Threads: any.
  const Prepared& prepared_for_frame() const { return prepared_; }

  /// For the film of a record, which is the frame's nearly always. Threads: any.
  ForRay<Prepared> prepared_for(const LWCameraAccess& record) const {
    const Film film = film_of(record);
    const auto differ = [](double a, double b) { return std::bit_cast<std::uint64_t>(a) ^ std::bit_cast<std::uint64_t>(b); };
    if ((differ(film.width, film_.width) | differ(film.height, film_.height)) != 0) [[unlikely]]
      return ForRay<Prepared>(prepared(this->values, film));
    return ForRay<Prepared>(&prepared_);
  }

 private:
  Film film_;
  Prepared prepared_;
};

}  // namespace framework
