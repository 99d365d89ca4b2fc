#include "standin/host/picture.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace standin {

Picture::Picture(int width, int height) : width_(width), height_(height) {
  if (width < 1 || height < 1 || width > 16384 || height > 16384)
    throw std::out_of_range("A drawing area is 1 to 16384 pixels wide and high");
  pixels_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), Color{128, 128, 128});
}

Picture::Color Picture::at(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) throw std::out_of_range("The pixel is outside the drawing area");
  return pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)];
}

void Picture::set(int x, int y, Color color) {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) {
    ++cut_off;
    return;
  }
  pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)] = color;
}

void Picture::fill(int x, int y, int width, int height, Color color) {
  const auto clip = [](long long from, long long size, int limit) {
    return std::pair{static_cast<int>(std::clamp<long long>(from, 0, limit)),
                     static_cast<int>(std::clamp<long long>(from + size, 0, limit))};
  };
  const auto [left, right] = clip(x, width, width_);
  const auto [top, bottom] = clip(y, height, height_);
  if (width > 0 && height > 0) {
    const auto inside = static_cast<std::uint64_t>(right - left) * static_cast<std::uint64_t>(bottom - top);
    cut_off += static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) - inside;
  }
  for (int row = top; row < bottom; ++row)
    for (int column = left; column < right; ++column) set(column, row, color);
}

void Picture::line(int x, int y, int x2, int y2, Color color) {
  // A line longer than any area would only cost time.
  constexpr long long longest = 65536;
  const long long dx = static_cast<long long>(x2) - x;
  const long long dy = static_cast<long long>(y2) - y;
  const long long steps = std::max(std::llabs(dx), std::llabs(dy));
  if (steps > longest) {
    ++cut_off;
    return;
  }
  for (long long step = 0; step <= steps; ++step) {
    const double t = steps == 0 ? 0.0 : static_cast<double>(step) / static_cast<double>(steps);
    set(x + static_cast<int>(static_cast<double>(dx) * t + (dx < 0 ? -0.5 : 0.5)),
        y + static_cast<int>(static_cast<double>(dy) * t + (dy < 0 ? -0.5 : 0.5)), color);
  }
}

}  // namespace standin
