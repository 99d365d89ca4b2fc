#pragma once

#include <span>
#include <string>
#include <vector>

#include "standin/scene/vector.h"

namespace tool {

/// Lenses whose positions are closer than this stand in one place.
inline constexpr double same_position_metres = 1e-4;

/// A place in a frame, in shares of it: 0, 0 is the lower left corner and 1, 1 the upper right one. What lies outside of the
/// frame goes on beyond these. Without meaning where nothing was found.
struct FramePlace {
  double s = 0.0;
  double t = 0.0;
  bool found = false;
  /// The one of Lens::parts; -1: told from s and t.
  int part = -1;
};

/// A rectangle of a frame, in shares of it.
struct FramePart {
  double left = 0.0;
  double right = 0.0;
  double bottom = 0.0;
  double top = 0.0;
};

/// Where a place of a frame looks to: of length one, in the world's axes. Without meaning where nothing was found.
struct LensDirection {
  standin::Vec3 towards;
  bool found = false;
};

/// What a frame's places look at, and where on the frame a direction is: directions only, wherever the lens stands.
class Lens {
 public:
  Lens() = default;
  Lens(const Lens&) = delete;
  Lens& operator=(const Lens&) = delete;
  virtual ~Lens() = default;

  /// The direction of each place that was found. Failures throw std::runtime_error. Threads: any number at once.
  virtual void look(std::span<const FramePlace> places, std::span<LensDirection> directions) const = 0;
  /// The place of each direction that was found. Of several, one. Failures throw std::runtime_error. Threads: any number at
  /// once.
  virtual void locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const = 0;

  /// Of a frame that shows several pictures side by side: the rectangles, beyond whose edges something else lies on the frame
  /// than in the world. A place of a part may lie beyond its edges: it looks where the part would if it were larger. Empty: the
  /// frame is one picture. Threads: any.
  virtual std::vector<FramePart> parts() const { return {}; }

  /// Whether all of a rectangle is known to look nowhere, without asking for each place. Threads: any.
  virtual bool is_blank(const FramePart& /*within*/) const { return false; }

  /// Where the lens stands, metres.
  virtual standin::Vec3 position() const = 0;
  /// For a person, as what it is: "the perspective of 90 degrees".
  virtual std::string description() const = 0;
};

}  // namespace tool
