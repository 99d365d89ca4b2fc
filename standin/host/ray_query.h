#pragma once

#include <cstdint>

#include "standin/scene/vector.h"

namespace standin {

enum class Eye : std::int32_t { centre = 0, left = 1, right = 2 };

/// What the renderer asks for: film metres from the film centre, lens position in the unit disc, fraction 0 to 1 of the
/// frame's motion-blur interval.
struct RayQuery {
  double film_x = 0.0;
  double film_y = 0.0;
  double lens_x = 0.0;
  double lens_y = 0.0;
  double fractional_time = 0.0;
  Eye eye = Eye::centre;
};

/// `result` holds the evaluation's bits; 0 is no ray, and then the rest is meaningless.
struct RayAnswer {
  std::int32_t result = 0;
  Vec3 position;
  Vec3 direction;
  Vec3 film_normal;
};

/// A world point in metres that is to be found on the film, at a fraction 0 to 1 of the frame's motion-blur interval.
struct PointQuery {
  Vec3 world;
  double fractional_time = 0.0;
  Eye eye = Eye::centre;
};

/// Film metres from the film's centre; meaningless where `found` is 0.
struct PointAnswer {
  double film_x = 0.0;
  double film_y = 0.0;
  std::int32_t found = 0;
};

}  // namespace standin
