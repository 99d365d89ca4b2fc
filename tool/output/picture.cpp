#include "tool/output/picture.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/output/file_extension.h"
#include "tool/output/srgb.h"

namespace tool {
namespace {

// Rows of pixels are handed on as rows of their four numbers.
static_assert(sizeof(Pixel) == 4 * sizeof(float));

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

bool is_utf8(std::string_view text) {
  std::size_t follow = 0;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (follow > 0) {
      if ((byte & 0xC0U) != 0x80U) return false;
      --follow;
    } else if (byte >= 0x80U) {
      follow = byte >= 0xF0U ? 3 : byte >= 0xE0U ? 2 : 1;
      if (byte < 0xC2U || byte > 0xF4U) return false;
    }
  }
  return follow == 0;
}

/// The host's own files are in the code page of the machine that saved them, which for western ones is nearly Latin-1.
std::string as_utf8(const std::string& text) {
  if (is_utf8(text)) return text;
  std::string converted;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte < 0x80U) {
      converted += letter;
    } else {
      converted += static_cast<char>(0xC0U | byte >> 6);
      converted += static_cast<char>(0x80U | (byte & 0x3FU));
    }
  }
  return converted;
}

std::vector<std::pair<std::string, std::string>> texts_of(const PictureMetadata& metadata) {
  std::vector<std::pair<std::string, std::string>> texts;
  const auto add = [&](const char* keyword, const std::string& text) {
    if (!text.empty()) texts.emplace_back(keyword, as_utf8(text));
  };
  if (!metadata.tool_version.empty()) add("Software", "ovicam " + metadata.tool_version);
  add("Module", metadata.module_version);
  add("Scene", metadata.scene);
  add("Camera", metadata.camera);
  add("Server", metadata.server);
  add("Light", metadata.light);
  add("Packing", metadata.packing);
  add("XML:com.adobe.xmp", metadata.xmp);
  if (!metadata.scene.empty()) add("Frame", std::to_string(metadata.frame));
  return texts;
}

PngLayout png_layout(const PictureForm& form) {
  const PixelBox part = form.part.value_or(PixelBox{0, 0, form.width, form.height});
  return {.width = part.width, .height = part.height, .texts = texts_of(form.metadata)};
}

ExrLayout exr_layout(const PictureForm& form) {
  const PixelBox part = form.part.value_or(PixelBox{0, 0, form.width, form.height});
  std::vector<ExrChannel> channels{{"R"}, {"G"}, {"B"}, {"A"}};
  std::ranges::copy(form.more_channels, std::back_inserter(channels));
  return {form.width, form.height, part, std::move(channels), form.views, form.metadata};
}

class MemoryOutput final : public RandomOutput {
 public:
  std::string title() const override { return "the picture"; }
  void write(std::span<const std::byte> bytes) override {
    bytes_.resize(std::max(bytes_.size(), position_ + bytes.size()));
    std::ranges::copy(bytes, bytes_.begin() + static_cast<std::ptrdiff_t>(position_));
    position_ += bytes.size();
  }
  std::uint64_t position() override { return position_; }
  void move_to(std::uint64_t position) override { position_ = position; }
  [[noreturn]] void fail(const std::string& reason) const override {
    throw std::runtime_error("The picture cannot be made: " + reason.substr(0, reason.find('\n')));
  }
  std::vector<std::byte> take() { return std::move(bytes_); }

 private:
  std::vector<std::byte> bytes_;
  std::size_t position_ = 0;
};

}  // namespace

std::vector<std::byte> png_bytes(std::span<const Pixel> pixels, const PictureForm& form) {
  std::vector<std::byte> file;
  PngWriter writer(png_layout(form),
                   [&](std::span<const std::byte> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
  const std::vector<std::uint8_t> rows = srgb_rows(pixels);
  writer.write_rows(std::as_bytes(std::span(rows)));
  writer.finish();
  return file;
}

std::vector<std::byte> exr_bytes(std::span<const Pixel> pixels, const PictureForm& form) {
  MemoryOutput output;
  ExrWriter writer(output, exr_layout(form));
  writer.write_rows({&pixels.data()->red, 4 * pixels.size()});
  writer.finish();
  return output.take();
}

bool PictureFile::is_exr_name(const std::filesystem::path& file) { return lower_case_extension(file) == ".exr"; }

bool PictureFile::is_picture_name(const std::filesystem::path& file) {
  return is_exr_name(file) || lower_case_extension(file) == ".png";
}

PictureFile::PictureFile(std::filesystem::path file, const PictureForm& form)
    : file_(std::move(file)), more_channels_(form.more_channels.size()) {
  if (lower_case_extension(file_.name()) == ".png") {
    png_.emplace(png_layout(form), [this](std::span<const std::byte> bytes) { file_.write(bytes); });
    return;
  }
  exr_.emplace(file_, exr_layout(form));
}

void PictureFile::write_rows(std::span<const Pixel> rows, std::span<const float> more) {
  if (png_) {
    const std::vector<std::uint8_t> bytes = srgb_rows(rows);
    png_->write_rows(std::as_bytes(std::span(bytes)));
    return;
  }
  if (more_channels_ == 0) {
    exr_->write_rows({&rows.data()->red, 4 * rows.size()});
    return;
  }
  std::vector<float> samples;
  samples.reserve(rows.size() * (4 + more_channels_));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Pixel& pixel = rows[i];
    samples.insert(samples.end(), {pixel.red, pixel.green, pixel.blue, pixel.alpha});
    const auto others = more.subspan(i * more_channels_, more_channels_);
    samples.insert(samples.end(), others.begin(), others.end());
  }
  exr_->write_rows(samples);
}

void PictureFile::finish() {
  png_ ? png_->finish() : exr_->finish();
  file_.finish();
}

}  // namespace tool
