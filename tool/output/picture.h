#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tool/output/exr_file.h"
#include "tool/output/new_file.h"
#include "tool/output/png_file.h"

namespace tool {

/// Largest width and height of a picture, pixels.
inline constexpr int largest_picture_side = 32768;

/// Linear light times alpha, and alpha: the share of the pixel's samples that had a ray.
struct Pixel {
  float red = 0.0F;
  float green = 0.0F;
  float blue = 0.0F;
  float alpha = 0.0F;
};

/// What a picture is to hold, beside red, green, blue and alpha.
struct PictureForm {
  /// Of the whole frame, pixels.
  int width = 0;
  int height = 0;
  /// The part of it that is written; none: all.
  std::optional<PixelBox> part = {};
  /// For an EXR: after the four, in the order of the samples.
  std::vector<ExrChannel> more_channels = {};
  std::vector<std::string> views = {};
  PictureMetadata metadata = {};
};

/// A whole picture as the bytes of the PNG that a PictureFile of that form would be. Throws std::runtime_error. Threads: any.
std::vector<std::byte> png_bytes(std::span<const Pixel> pixels, const PictureForm& form);

/// The same of an EXR.
std::vector<std::byte> exr_bytes(std::span<const Pixel> pixels, const PictureForm& form);

/// A PNG (8 bits, sRGB) or EXR (half floats, linear) that is written from the top down and appears under its name only when
/// it is complete. Failures throw std::runtime_error with the file's name and the reason. Threads: one.
class PictureFile {
 public:
  /// The extension of `file` gives the format; its folder must exist.
  PictureFile(std::filesystem::path file, const PictureForm& form);

  /// The next whole rows, and the samples of the other channels, pixel by pixel.
  void write_rows(std::span<const Pixel> rows, std::span<const float> more = {});

  /// After the last row: closes the file and renames it to its final name, replacing a file of that name.
  void finish();

  /// Whether the name's extension is one that can be written.
  static bool is_picture_name(const std::filesystem::path& file);
  static bool is_exr_name(const std::filesystem::path& file);

 private:
  NewFile file_;
  /// One of the two.
  std::optional<PngWriter> png_;
  std::optional<ExrWriter> exr_;
  /// Channels beside the four.
  std::size_t more_channels_;
};

}  // namespace tool
