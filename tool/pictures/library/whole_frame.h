#pragma once

#include <OpenImageIO/imageio.h>

namespace tool {

/// The layout of a picture that is written line by line and fills a frame of this size, else as another picture's.
inline OIIO::ImageSpec whole_frame(OIIO::ImageSpec layout, int width, int height) {
  layout.x = layout.y = layout.full_x = layout.full_y = 0;
  layout.width = layout.full_width = width;
  layout.height = layout.full_height = height;
  layout.tile_width = layout.tile_height = layout.tile_depth = 0;
  return layout;
}

}  // namespace tool
