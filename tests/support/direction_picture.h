#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "standin/scene/vector.h"
#include "tool/lens/lens.h"
#include "tool/pictures/large_picture.h"
#include "tool/pictures/picture_filter.h"

/// Pictures whose colour is the direction that they show.
namespace test_support {

/// A picture in memory.
class MemoryPicture final : public tool::PicturePixels {
 public:
  MemoryPicture(int width, int height, std::vector<std::string> channels);

  int width() const override { return width_; }
  int height() const override { return height_; }
  const std::vector<std::string>& channels() const override { return channels_; }
  int alpha_channel() const override { return static_cast<int>(channels_.size()) - 1; }
  bool is_srgb() const override { return false; }
  void read(const tool::PixelBox& part, std::span<float> samples) const override;

  float* pixel(int column, int row) { return &samples_[index(column, row)]; }

 private:
  std::size_t index(int column, int row) const {
    return (static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(column)) *
           channels_.size();
  }

  int width_;
  int height_;
  std::vector<std::string> channels_;
  std::vector<float> samples_;
};

/// Of the middles of all pixels, row by row.
std::vector<tool::LensDirection> pixel_directions(const tool::Lens& lens, int width, int height);

void show_directions(const tool::Lens& lens, MemoryPicture& picture);

struct DirectionCheck {
  double worst = 0.0;
  int inside = 0;
  int seen = 0;
};

/// The new picture, of a picture that shows the directions of its lens, against those of its own lens: wherever a pixel is
/// wholly within the field, and in one part of the frame.
DirectionCheck reprojected(const MemoryPicture& picture, const tool::Lens& from, const tool::Lens& to, int to_width,
                           int to_height, const tool::PictureFilter& filter = {});
DirectionCheck reprojected(const tool::Lens& from, const tool::Lens& to, int from_width, int from_height, int to_width,
                           int to_height, const tool::PictureFilter& filter = {});

standin::ItemPose turned(double heading, double pitch);

}  // namespace test_support
