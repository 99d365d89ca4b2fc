#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tool/output/pixel_box.h"

namespace tool {

/// A picture that was read whole. Threads: one.
class StoredPicture {
 public:
  StoredPicture() = default;
  StoredPicture(const StoredPicture&) = delete;
  StoredPicture& operator=(const StoredPicture&) = delete;
  virtual ~StoredPicture() = default;

  virtual int width() const = 0;
  virtual int height() const = 0;
  virtual const std::vector<std::string>& channels() const = 0;
  /// Index of a channel; -1: there is none.
  virtual int alpha_channel() const = 0;
  /// Whether the numbers are those of sRGB rather than of linear light, and colours are not multiplied by alpha.
  virtual bool is_srgb() const = 0;

  /// The pixels of a part, row by row from the top, each with all its channels; 1 is white. The part must lie in the picture.
  virtual std::vector<float> samples(const PixelBox& part) const = 0;

  /// The bytes of a file that holds the part unchanged, in the form of this picture's own file. Throws std::runtime_error.
  virtual std::vector<std::byte> file_of_part(const PixelBox& part) const = 0;
  /// The same of other pixels, with this picture's channels and kind of numbers.
  virtual std::vector<std::byte> file_of(int width, int height, std::span<const float> samples) const = 0;
};

/// Reads a PNG or EXR, or whatever else is installed for. Throws std::runtime_error with a sentence for a person. What does the
/// reading is loaded here, on first use: it takes longer to start than everything else together. Threads: one.
std::unique_ptr<StoredPicture> read_picture(const std::filesystem::path& file);

}  // namespace tool
