#include "tool/output/picture.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tool {
namespace {

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

PictureFile::PictureFile(std::filesystem::path file, int width, int height) : file_(std::move(file)), width_(width) {
  eight_bits_ = lower_case_extension(file_.name()) == ".png";
  OIIO::ImageSpec layout(width, height, 4, eight_bits_ ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::HALF);
  layout.alpha_channel = 3;
  layout.attribute("oiio:ColorSpace", eight_bits_ ? "sRGB" : "Linear");
  if (eight_bits_) layout.attribute("oiio:UnassociatedAlpha", 1);
  if (!eight_bits_) layout.attribute("compression", "zip");
  // By default the library writes the time into the file, and no two renders of a frame would be the same bytes.
  layout.attribute("DateTime", "");
  const std::string unfinished = file_.unfinished().string();
  output_ = OIIO::ImageOutput::create(unfinished);
  if (!output_) file_.fail(OIIO::geterror());
  if (!output_->open(unfinished, layout)) file_.fail(output_->geterror());
}

void PictureFile::write_rows(std::span<const Pixel> rows) {
  const int end_row = next_row_ + static_cast<int>(rows.size()) / width_;
  const bool written = eight_bits_
                           ? output_->write_scanlines(next_row_, end_row, 0, OIIO::TypeDesc::UINT8, srgb_rows(rows).data())
                           : output_->write_scanlines(next_row_, end_row, 0, OIIO::TypeDesc::FLOAT, rows.data());
  if (!written) file_.fail(output_->geterror());
  next_row_ = end_row;
}

void PictureFile::finish() {
  if (!output_->close()) file_.fail(output_->geterror());
  file_.finish();
}

}  // namespace tool
