#include "tests/support/direction_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "tool/lens/reprojection.h"

namespace test_support {

MemoryPicture::MemoryPicture(int width, int height, std::vector<std::string> channels)
    : width_(width), height_(height), channels_(std::move(channels)) {
  samples_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * channels_.size());
}

void MemoryPicture::read(const tool::PixelBox& part, std::span<float> samples) const {
  if (part.left < 0 || part.top < 0 || part.left + part.width > width_ || part.top + part.height > height_)
    throw std::runtime_error("a part beyond the picture");
  for (int row = 0; row < part.height; ++row)
    std::copy_n(&samples_[index(part.left, part.top + row)], static_cast<std::size_t>(part.width) * channels_.size(),
                &samples[static_cast<std::size_t>(row) * static_cast<std::size_t>(part.width) * channels_.size()]);
}

std::vector<tool::LensDirection> pixel_directions(const tool::Lens& lens, int width, int height) {
  std::vector<tool::FramePlace> places;
  for (int row = 0; row < height; ++row)
    for (int column = 0; column < width; ++column) places.push_back({(column + 0.5) / width, 1.0 - (row + 0.5) / height, true});
  std::vector<tool::LensDirection> directions(places.size());
  lens.look(places, directions);
  return directions;
}

void show_directions(const tool::Lens& lens, MemoryPicture& picture) {
  const int width = picture.width();
  const int height = picture.height();
  const auto directions = pixel_directions(lens, width, height);
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      const tool::LensDirection& seen =
          directions[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column)];
      const standin::Vec3 v = seen.found ? seen.towards : standin::Vec3{};
      const std::array<float, 4> values{static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z),
                                        seen.found ? 1.0F : 0.0F};
      std::ranges::copy(values, picture.pixel(column, row));
    }
  }
}

DirectionCheck reprojected(const MemoryPicture& picture, const tool::Lens& from, const tool::Lens& to, int to_width,
                           int to_height, const tool::PictureFilter& filter) {
  tool::Reprojection reprojection(picture, from, to, to_width, to_height, filter);
  std::vector<float> samples(static_cast<std::size_t>(to_width) * static_cast<std::size_t>(to_height) * 4);
  // In two bands, of which the first is not a whole number of blocks.
  const int first = to_height / 3 + 1;
  const std::size_t numbers = static_cast<std::size_t>(first) * static_cast<std::size_t>(to_width) * 4;
  reprojection.fill({0, 0, to_width, first}, std::span(samples).first(numbers));
  reprojection.fill({0, first, to_width, to_height - first}, std::span(samples).subspan(numbers));
  const auto directions = pixel_directions(to, to_width, to_height);
  const std::vector<tool::PixelBox> parts = tool::pixels_of_parts(to, to_width, to_height);
  const auto in_one_part = [&](int column, int row) {
    return parts.empty() || std::ranges::any_of(parts, [&](const tool::PixelBox& part) {
             return column >= part.left && column < part.left + part.width && row >= part.top && row < part.top + part.height;
           });
  };
  DirectionCheck outcome;
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const float* sample = &samples[4 * i];
    const auto number = static_cast<int>(i);
    if (!directions[i].found || !in_one_part(number % to_width, number / to_width)) continue;
    ++outcome.seen;
    if (sample[3] < 0.99999F) continue;
    ++outcome.inside;
    const standin::Vec3 v{sample[0], sample[1], sample[2]};
    outcome.worst = std::max(outcome.worst, length(v - directions[i].towards));
  }
  return outcome;
}

DirectionCheck reprojected(const tool::Lens& from, const tool::Lens& to, int from_width, int from_height, int to_width,
                           int to_height, const tool::PictureFilter& filter) {
  MemoryPicture picture(from_width, from_height, {"X", "Y", "Z", "A"});
  show_directions(from, picture);
  return reprojected(picture, from, to, to_width, to_height, filter);
}

standin::ItemPose turned(double heading, double pitch) {
  standin::ItemPose pose;
  pose.forward = {std::sin(heading) * std::cos(pitch), std::sin(pitch), std::cos(heading) * std::cos(pitch)};
  pose.right = {std::cos(heading), 0.0, -std::sin(heading)};
  pose.up = cross(pose.forward, pose.right);
  return pose;
}

}  // namespace test_support
