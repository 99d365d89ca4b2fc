/// What reads pictures, as a library of its own: see read_picture.

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imageio.h>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "tool/output/picture.h"
#include "tool/pictures/library/whole_frame.h"
#include "tool/pictures/stored_picture.h"

namespace {

class Picture final : public tool::StoredPicture {
 public:
  explicit Picture(std::string file) : file_(std::move(file)), pixels_(file_, 0, 0, nullptr, &as_stored()) {
    if (!pixels_.init_spec(file_, 0, 0)) refuse("it is not a picture that can be read; give a PNG or EXR file");
    const OIIO::ImageSpec& layout = pixels_.spec();
    if (layout.width > tool::largest_picture_side || layout.height > tool::largest_picture_side || layout.depth > 1)
      refuse("it is larger than " + std::to_string(tool::largest_picture_side) + " pixels");
    if (!pixels_.read(0, 0, true)) refuse("it cannot be read to its end: " + pixels_.geterror());
  }

  int width() const override { return pixels_.spec().width; }
  int height() const override { return pixels_.spec().height; }
  const std::vector<std::string>& channels() const override { return pixels_.spec().channelnames; }
  int alpha_channel() const override { return pixels_.spec().alpha_channel; }
  bool is_srgb() const override { return std::string_view(pixels_.file_format_name()) == "png"; }

  std::vector<float> samples(const tool::PixelBox& part) const override {
    std::vector<float> samples(sample_count(part));
    if (!pixels_.get_pixels(region(part), OIIO::TypeDesc::FLOAT, samples.data())) refuse(pixels_.geterror());
    return samples;
  }

  std::vector<std::byte> file_of_part(const tool::PixelBox& part) const override {
    std::vector<std::byte> samples(sample_count(part) * largest_sample);
    const OIIO::TypeDesc kind = pixels_.spec().format;
    if (!pixels_.get_pixels(region(part), kind, samples.data())) refuse(pixels_.geterror());
    return encoded(part.width, part.height, kind, samples.data());
  }

  std::vector<std::byte> file_of(int width, int height, std::span<const float> samples) const override {
    return encoded(width, height, OIIO::TypeDesc::FLOAT, samples.data());
  }

 private:
  static constexpr std::size_t largest_sample = sizeof(double);

  static const OIIO::ImageSpec& as_stored() {
    static const OIIO::ImageSpec wish = [] {
      OIIO::ImageSpec spec;
      spec.attribute("oiio:UnassociatedAlpha", 1);
      return spec;
    }();
    return wish;
  }

  [[noreturn]] void refuse(const std::string& reason) const { throw std::runtime_error(file_ + ": " + reason); }

  std::size_t sample_count(const tool::PixelBox& part) const {
    return static_cast<std::size_t>(part.width) * static_cast<std::size_t>(part.height) * channels().size();
  }

  OIIO::ROI region(const tool::PixelBox& part) const {
    const OIIO::ImageSpec& layout = pixels_.spec();
    const int left = layout.x + part.left;
    const int top = layout.y + part.top;
    return {left, left + part.width, top, top + part.height, 0, 1, 0, layout.nchannels};
  }

  std::vector<std::byte> encoded(int width, int height, const OIIO::TypeDesc& kind, const void* samples) const {
    // Channels of several kinds have one in memory.
    const OIIO::ImageSpec layout = tool::whole_frame(pixels_.nativespec(), width, height);
    std::vector<unsigned char> bytes;
    OIIO::Filesystem::IOVecOutput memory(bytes);
    const std::string format = pixels_.file_format_name();
    const auto output = OIIO::ImageOutput::create(format);
    if (!output || output->supports("ioproxy") == 0) refuse("no picture of this format can be written; give a PNG or EXR file");
    if (!output->set_ioproxy(&memory) || !output->open("part." + format, layout) || !output->write_image(kind, samples) ||
        !output->close())
      refuse("a part of it cannot be written: " + output->geterror());
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    return {first, first + bytes.size()};
  }

  std::string file_;
  OIIO::ImageBuf pixels_;
};

}  // namespace

extern "C" [[gnu::visibility("default")]] tool::StoredPicture* ovicam_read_picture(const char* file) {
  return new Picture(file);
}
