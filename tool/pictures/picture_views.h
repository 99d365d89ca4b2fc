#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "tool/pictures/large_picture.h"

namespace tool {

/// One of the pictures that a file holds beside each other, such as that of an eye.
struct PictureView {
  /// Empty where the file has only this one.
  std::string name;
  /// Indexes of its channels.
  std::vector<std::size_t> channels;
};

/// The views of a picture, the first of which has all channels whose names tell of no other; views without a channel are left
/// out. Threads: any.
std::vector<PictureView> views_of(const LargePicture& picture);

/// A channel's name without that of its view: "N.X" of "N.right.X".
std::string name_without_view(const std::string& channel, const std::string& view);

/// Some channels of a picture, as a picture.
class PictureChannels final : public PicturePixels {
 public:
  /// The picture must outlive this.
  PictureChannels(const PicturePixels& picture, std::vector<std::size_t> channels);

  int width() const override { return picture_.width(); }
  int height() const override { return picture_.height(); }
  const std::vector<std::string>& channels() const override { return names_; }
  int alpha_channel() const override { return alpha_; }
  bool is_srgb() const override { return picture_.is_srgb(); }
  void read(const PixelBox& part, std::span<float> samples) const override;

 private:
  const PicturePixels& picture_;
  std::vector<std::size_t> channels_;
  std::vector<std::string> names_;
  int alpha_ = -1;
};

/// A part of a picture's frame, as a picture.
class PicturePart final : public PicturePixels {
 public:
  /// The picture must outlive this; the part lies in its frame.
  PicturePart(const PicturePixels& picture, const PixelBox& part) : picture_(picture), part_(part) {}

  int width() const override { return part_.width; }
  int height() const override { return part_.height; }
  const std::vector<std::string>& channels() const override { return picture_.channels(); }
  int alpha_channel() const override { return picture_.alpha_channel(); }
  bool is_srgb() const override { return picture_.is_srgb(); }
  void read(const PixelBox& part, std::span<float> samples) const override {
    picture_.read({part_.left + part.left, part_.top + part.top, part.width, part.height}, samples);
  }

 private:
  const PicturePixels& picture_;
  PixelBox part_;
};

}  // namespace tool
