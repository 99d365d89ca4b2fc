#pragma once

#include <string_view>

#include "tool/output/pixel_box.h"

namespace tool {

/// How one picture holds those of both eyes, which are equally large.
enum class Packing {
  /// The left eye's on the left, the right eye's on the right.
  side_by_side,
  /// The left eye's above the right eye's.
  over_under,
  /// Side by side, each the half of all directions that lies ahead: 180 x 180 degrees, equirectangular.
  vr180,
};

/// As the command line has it.
constexpr std::string_view name_of(Packing packing) {
  switch (packing) {
    case Packing::side_by_side:
      return "side-by-side";
    case Packing::over_under:
      return "over-under";
    case Packing::vr180:
      return "vr180";
  }
  return {};
}

/// The whole picture, from the size of one eye's, pixels.
constexpr PixelBox packed_frame(Packing packing, int eye_width, int eye_height) {
  if (packing == Packing::over_under) return {0, 0, eye_width, 2 * eye_height};
  return {0, 0, 2 * eye_width, eye_height};
}

/// Where an eye's picture is in the whole one.
constexpr PixelBox place_of_eye(Packing packing, bool right_eye, int eye_width, int eye_height) {
  PixelBox place{0, 0, eye_width, eye_height};
  if (!right_eye) return place;
  (packing == Packing::over_under ? place.top : place.left) = packing == Packing::over_under ? eye_height : eye_width;
  return place;
}

}  // namespace tool
