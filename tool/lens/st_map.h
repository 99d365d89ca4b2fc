#pragma once

#include <span>

#include "tool/lens/lens.h"
#include "tool/output/pixel_box.h"

namespace tool {

/// The pixels of a frame that a map has: those of a window, which may reach beyond the frame.
struct MapPixels {
  int frame_width = 0;
  int frame_height = 0;
  PixelBox window;
};

/// Floats of a map's pixel: s to the right, t upward, nothing, and 1 where there is an answer.
inline constexpr int map_channels = 4;

/// Where each of the pixels of some rows, seen through one lens, lies in the frame of another. `rows` lie in the window;
/// `samples` has `map_channels` floats for each pixel, row by row from the top. What has no answer is 0. Throws what the lenses
/// throw. Uses all threads of the caller's TBB arena. Threads: one.
void map_rows(const Lens& pixels, const MapPixels& form, const Lens& into, PixelBox rows, std::span<float> samples);

/// The least window that has the whole frame, and all that the frame of another lens shows. Throws std::runtime_error with a
/// sentence where no window has that, or none of at most `largest_side` pixels. Threads: one.
PixelBox window_that_shows(const Lens& pixels, int frame_width, int frame_height, const Lens& shown, int largest_side);

}  // namespace tool
