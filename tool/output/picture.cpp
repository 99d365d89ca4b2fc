#include "tool/output/picture.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tool {
namespace {

// Rows of pixels are handed on as rows of their four numbers.
static_assert(sizeof(Pixel) == 4 * sizeof(float));

std::string lower_case_extension(const std::filesystem::path& file) {
  std::string extension = file.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

std::uint8_t eight_bits(float value) { return static_cast<std::uint8_t>(std::lround(255.0F * std::clamp(value, 0.0F, 1.0F))); }

std::uint8_t srgb_eight_bits(float linear) {
  const float bounded = std::clamp(linear, 0.0F, 1.0F);
  return eight_bits(bounded <= 0.0031308F ? 12.92F * bounded : 1.055F * std::pow(bounded, 1.0F / 2.4F) - 0.055F);
}

/// PNG stores colours without premultiplied alpha.
std::vector<std::uint8_t> srgb_rows(std::span<const Pixel> rows) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(4 * rows.size());
  for (const Pixel& pixel : rows) {
    const float scale = pixel.alpha > 0.0F ? 1.0F / pixel.alpha : 0.0F;
    for (const float value : {pixel.red, pixel.green, pixel.blue}) bytes.push_back(srgb_eight_bits(value * scale));
    bytes.push_back(eight_bits(pixel.alpha));
  }
  return bytes;
}

}  // namespace

bool PictureFile::is_picture_name(const std::filesystem::path& file) {
  const std::string extension = lower_case_extension(file);
  return extension == ".png" || extension == ".exr";
}

PictureFile::PictureFile(std::filesystem::path file, int width, int height) : file_(std::move(file)) {
  if (lower_case_extension(file_.name()) == ".png")
    png_.emplace(PngLayout{.width = width, .height = height}, [this](std::span<const std::byte> bytes) { file_.write(bytes); });
  else
    exr_.emplace(file_, width, height, PixelBox{0, 0, width, height}, std::vector<ExrChannel>{{"R"}, {"G"}, {"B"}, {"A"}});
}

void PictureFile::write_rows(std::span<const Pixel> rows) {
  if (png_) {
    const std::vector<std::uint8_t> bytes = srgb_rows(rows);
    png_->write_rows(std::as_bytes(std::span(bytes)));
  } else
    exr_->write_rows({&rows.data()->red, 4 * rows.size()});
}

void PictureFile::finish() {
  png_ ? png_->finish() : exr_->finish();
  file_.finish();
}

}  // namespace tool
