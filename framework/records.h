#pragma once

/// The host's records and this side's values, one from the other.

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>

#include "framework/lens.h"
#include "sdk/host.h"

namespace framework {

inline Vector to_vector(const double* v) { return {v[0], v[1], v[2]}; }

inline void store(Vector from, double* to) {
  to[0] = from.x;
  to[1] = from.y;
  to[2] = from.z;
}

inline int store(const Ray& ray, LWCameraRay& record) {
  store(ray.position, record.rayPos);
  store(ray.direction, record.rayDir);
  store(ray.film_normal, record.filmNorm);
  return LWCAMEVAL_RAY;
}

/// 1 with the film point stored, 0 without one.
inline int store(const std::optional<FilmPoint>& point, double* film) {
  if (!point) return 0;
  store(Vector{point->x, point->y, 0.0}, film);
  return 1;
}

inline Film film_of(const LWCameraAccess& access) { return {access.filmSize[0], access.filmSize[1]}; }

/// Bit for bit, word by word: the records' padding does not count.
inline bool same_frame(const LWFrameInfo& a, const LWFrameInfo& b) {
  const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
  return a.frame == b.frame && bits(a.start) == bits(b.start) && bits(a.duration) == bits(b.duration) &&
         bits(a.fps) == bits(b.fps) && a.motionSteps == b.motionSteps;
}

/// Byte for byte: a zero of the other sign counts as a change, and the record has no padding.
inline bool same_access(const LWCameraAccess& a, const LWCameraAccess& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;  // NOLINT(*-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c)
}

}  // namespace framework
