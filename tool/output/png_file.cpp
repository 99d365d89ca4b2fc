#include "tool/output/png_file.h"

#include <array>
#include <cstring>
#include <new>
#include <png.h>
#include <stdexcept>
#include <zlib.h>

namespace tool {
namespace {

[[noreturn]] void refuse(png_structp /*png*/, png_const_charp reason) { throw std::runtime_error(reason); }
void stay_silent(png_structp /*png*/, png_const_charp /*warning*/) {}

int color_type(int channels) {
  constexpr std::array types{PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA};
  return types.at(static_cast<std::size_t>(channels) - 1);
}

}  // namespace

struct PngWriter::State {
  explicit State(Sink to)
      : sink(std::move(to)), png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, refuse, stay_silent)) {
    if (png == nullptr) throw std::bad_alloc();
    info = png_create_info_struct(png);
    if (info == nullptr) {
      png_destroy_write_struct(&png, nullptr);
      throw std::bad_alloc();
    }
  }
  ~State() { png_destroy_write_struct(&png, &info); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  Sink sink;
  png_structp png;
  png_infop info = nullptr;
  std::size_t row_bytes = 0;
};

PngWriter::PngWriter(const PngLayout& layout, Sink sink) : state_(std::make_unique<State>(std::move(sink))) {
  png_structp png = state_->png;
  png_infop info = state_->info;
  png_set_write_fn(
      png, state_.get(),
      [](png_structp of, png_bytep bytes, std::size_t count) {
        static_cast<State*>(png_get_io_ptr(of))->sink(std::as_bytes(std::span(bytes, count)));
      },
      [](png_structp) {});
  png_set_IHDR(png, info, static_cast<png_uint_32>(layout.width), static_cast<png_uint_32>(layout.height), layout.bits,
               color_type(layout.channels), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_sRGB_gAMA_and_cHRM(png, info, PNG_sRGB_INTENT_ABSOLUTE);
  for (const auto& [keyword, text] : layout.texts) {
    png_text chunk{};
    chunk.compression = PNG_ITXT_COMPRESSION_NONE;
    chunk.key = const_cast<char*>(keyword.c_str());
    chunk.text = const_cast<char*>(text.c_str());
    chunk.itxt_length = text.size();
    png_set_text(png, info, &chunk, 1);
  }
  png_set_compression_level(png, 6);
  // The library's own choice makes these pictures larger.
  png_set_compression_strategy(png, Z_DEFAULT_STRATEGY);
  png_write_info(png, info);
  if (layout.bits == 16) png_set_swap(png);
  state_->row_bytes = png_get_rowbytes(png, info);
}

PngWriter::~PngWriter() = default;

void PngWriter::write_rows(std::span<const std::byte> rows) {
  for (; rows.size() >= state_->row_bytes; rows = rows.subspan(state_->row_bytes))
    png_write_row(state_->png, reinterpret_cast<png_const_bytep>(rows.data()));
}

void PngWriter::finish() { png_write_end(state_->png, nullptr); }

bool is_whole_png(std::span<const std::byte> file, int width, int height) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&image, file.data(), file.size()) == 0) return false;
  const bool right_size = image.width == static_cast<png_uint_32>(width) && image.height == static_cast<png_uint_32>(height);
  image.format = PNG_FORMAT_RGB;
  std::vector<png_byte> pixels(right_size ? PNG_IMAGE_SIZE(image) : 0);
  const bool whole = right_size && png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) != 0;
  png_image_free(&image);
  return whole && (image.warning_or_error & PNG_IMAGE_ERROR) == 0;
}

}  // namespace tool
