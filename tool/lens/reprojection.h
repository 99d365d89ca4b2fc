#pragma once

#include <atomic>
#include <cstddef>
#include <optional>
#include <span>
#include <tbb/enumerable_thread_specific.h>
#include <vector>

#include "tool/lens/block_mapping.h"
#include "tool/lens/lens.h"
#include "tool/output/pixel_box.h"
#include "tool/pictures/large_picture.h"
#include "tool/pictures/picture_filter.h"

namespace tool {

/// How the edges of a lens's frame meet.
struct FrameEdges {
  /// The left edge looks where the right one does.
  bool goes_round = false;
  /// The whole edge looks in one direction.
  bool pole_above = false;
  bool pole_below = false;
};

/// What the lens's directions say of its frame's edges. Throws what the lens throws. Threads: any.
FrameEdges edges_of(const Lens& lens);

/// The whole pixels of each of the lens's parts, in a frame of that size. Throws what the lens throws. Threads: any.
std::vector<PixelBox> pixels_of_parts(const Lens& lens, int width, int height);

/// A picture seen through another lens. Each pixel is the mean of the picture over what the pixel sees: of as many samples as
/// the lenses' mapping needs there, each of which a filter takes from the pixels around it. Colours of sRGB are mixed as linear
/// light.
class Reprojection {
 public:
  /// Everything must outlive this. `to_width` and `to_height`: of the new frame, pixels. Throws what lenses and picture throw.
  Reprojection(const PicturePixels& picture, const Lens& from, const Lens& to, int to_width, int to_height,
               PictureFilter filter = {});

  /// All channels of a part of the new frame, row by row from the top; 0 where it sees nothing of the picture. Uses all threads
  /// of the caller's TBB arena. Throws what the lenses and the picture throw. Threads: one.
  void fill(PixelBox part, std::span<float> samples);

  /// Whether numbers of the picture were none, or infinite, and were taken for 0.
  bool has_broken_numbers() const { return broken_; }
  /// Whether a pixel saw something of the picture.
  bool has_seen() const { return seen_; }

 private:
  struct Footprint;
  class Pixels;
  struct RoughPixels;

  void fill_block(PixelBox block, PixelBox part, std::span<float> samples);
  std::vector<float> rows_from(int row, int step);
  bool is_blank(const PixelBox& box) const;
  PicturePoint point_at(const FramePlace& place) const;
  std::vector<PicturePoint> points(std::span<const FramePlace> seen_at) const;
  void move_near(PicturePoint& point, double column) const;
  /// `to_part`: of the new frame, which the block lies in; -1: it may lie anywhere.
  std::vector<Footprint> footprints(PixelBox block, int to_part, std::optional<double> near_column) const;
  void read(const PixelBox& box, std::span<float> samples);

  const PicturePixels& picture_;
  const Lens& from_;
  const Lens& to_;
  int to_width_;
  int to_height_;
  int width_;
  int height_;
  std::size_t channels_;
  FrameEdges edges_;
  /// The picture, or the pictures that it holds side by side.
  std::vector<PixelBox> parts_;
  bool has_parts_;
  /// Those that the new frame will hold side by side.
  std::vector<PixelBox> to_parts_;
  PictureFilter filter_;
  /// The picture's rows next to its poles, from the pole on, as many as the filter reaches; empty where it has none.
  std::vector<float> first_rows_;
  std::vector<float> last_rows_;
  /// Of the block that each thread did last; empty while it does one, as it may begin another before that is done.
  tbb::enumerable_thread_specific<std::vector<float>> spare_storage_;
  std::atomic<bool> broken_ = false;
  std::atomic<bool> seen_ = false;
};

}  // namespace tool
