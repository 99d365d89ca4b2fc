#pragma once

namespace tool {

/// A rectangle of a picture's pixels; column and row count from the top left.
struct PixelBox {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

}  // namespace tool
