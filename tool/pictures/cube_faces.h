#pragma once

#include <array>
#include <span>
#include <vector>

#include "standin/scene/vector.h"
#include "tool/pictures/cube_layouts.h"
#include "tool/pictures/stored_picture.h"

namespace tool {

/// A side of a cube as a cell of a picture shows it, in perspective.
struct CubeView {
  CubeSide side;
  /// Where the view's axis meets the picture, and how far from there a direction of 45 degrees is; pixels from the picture's
  /// upper left corner.
  double middle_column = 0.0;
  double middle_row = 0.0;
  double columns_at_45_degrees = 0.0;
  double rows_at_45_degrees = 0.0;
  /// The pixels that belong to the view wholly.
  PixelBox pixels;
};

/// The sides of a cube, square and of a quarter turn exactly, from six views that may be a little narrower. Between two views
/// that do not reach each other, the nearest pixel of the one goes over into that of the other, so that the sides meet.
class CubePicture {
 public:
  /// Reads the views' pixels; each must have some.
  CubePicture(const StoredPicture& picture, std::span<const CubeView, 6> views);

  /// `width_pixels` squared pixels, row by row from the top, in the form of the picture's own. Uses all threads. Threads: one.
  std::vector<float> side(const CubeSide& side, int width_pixels) const;

 private:
  struct View {
    CubeView as_shown;
    /// Linear light times alpha.
    std::vector<float> samples;
    /// Radians from the axis to the outermost pixels' centres.
    double left = 0.0;
    double right = 0.0;
    double top = 0.0;
    double bottom = 0.0;

    double limit_towards(standin::Vec3 axis) const;
  };

  double share(const View& view, standin::Vec3 direction) const;
  double share_across(const View& view, double along, double forward, standin::Vec3 axis) const;
  void add(const View& view, standin::Vec3 direction, double weight, std::span<double> sum) const;

  std::size_t channel_count_ = 0;
  int alpha_channel_ = -1;
  bool is_srgb_ = false;
  std::array<View, 6> views_;
};

}  // namespace tool
