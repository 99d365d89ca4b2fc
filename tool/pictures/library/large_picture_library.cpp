/// What reads pictures part by part, in the library that is loaded for it: see open_picture.

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <future>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <zlib.h>

#include "tool/output/panorama_metadata.h"
#include "tool/output/picture.h"
#include "tool/pictures/large_picture.h"
#include "tool/pictures/library/whole_frame.h"

namespace {

/// Of decoded pixels.
constexpr float most_megabytes = 192.0F;
/// Rows that are decoded at once where a picture is not stored in tiles.
constexpr int rows_at_once = 64;

/// OpenImageIO's way to those bytes. It must not meet an exception: the first is kept.
class FileProxy final : public OIIO::Filesystem::IOProxy {
 public:
  explicit FileProxy(tool::PictureBytes& file) : IOProxy("picture", Write), file_(file) {}

  // What calls itself "file" is taken for one of OpenImageIO's own.
  const char* proxytype() const override { return "picture"; }
  bool seek(int64_t offset) override {
    m_pos = offset;
    size_ = std::max(size_, m_pos);
    return guarded([&] { file_.move_to(static_cast<std::uint64_t>(offset)); });
  }
  /// Writes these when so many others have been written; nothing may be written before them afterwards.
  void insert(std::int64_t after, std::vector<std::byte> bytes) {
    insert_after_ = after;
    inserted_ = std::move(bytes);
  }

  size_t write(const void* bytes, size_t count) override {
    if (!inserted_.empty() && m_pos + static_cast<std::int64_t>(count) >= insert_after_) {
      const auto before = static_cast<std::size_t>(std::max<std::int64_t>(0, insert_after_ - m_pos));
      const std::vector<std::byte> now = std::exchange(inserted_, {});
      if (write(bytes, before) != before || !guarded([&] { file_.write(now); })) return 0;
      return before + write(static_cast<const std::byte*>(bytes) + before, count - before);
    }
    const bool written = guarded([&] { file_.write({static_cast<const std::byte*>(bytes), count}); });
    if (!written) return 0;
    m_pos += static_cast<int64_t>(count);
    size_ = std::max(size_, m_pos);
    return count;
  }
  size_t size() const override { return static_cast<size_t>(size_); }

  void throw_if_failed() const {
    if (failed_) std::rethrow_exception(failed_);
  }

 private:
  template <class Step>
  bool guarded(Step&& step) {
    if (failed_) return false;
    try {
      step();
      return true;
    } catch (...) {
      failed_ = std::current_exception();
      return false;
    }
  }

  tool::PictureBytes& file_;
  int64_t size_ = 0;
  std::int64_t insert_after_ = 0;
  std::vector<std::byte> inserted_;
  std::exception_ptr failed_;
};

/// A PNG's chunk with an XMP packet, and after how many bytes it stands: signature and header.
constexpr std::int64_t png_header_bytes = 33;
std::vector<std::byte> xmp_chunk(const std::string& packet) {
  std::string text("iTXtXML:com.adobe.xmp");
  // Neither compressed, nor in a language.
  text.append(5, '\0').append(packet);
  const auto bytes_of = [](std::uint32_t number) {
    std::string bytes;
    for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(number >> static_cast<unsigned>(shift) & 0xFFU);
    return bytes;
  };
  const auto sum = crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size()));
  text = bytes_of(static_cast<std::uint32_t>(text.size() - 4)) + text + bytes_of(static_cast<std::uint32_t>(sum));
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

class Writer final : public tool::PictureWriter {
 public:
  /// The packet is for PNG files only.
  Writer(tool::PictureBytes& file, const std::string& format, const OIIO::ImageSpec& layout, const std::string& packet)
      : proxy_(file), output_(OIIO::ImageOutput::create(format)), layout_(layout) {
    if (format == "png" && !packet.empty()) proxy_.insert(png_header_bytes, xmp_chunk(packet));
    // Others, as TIFF, read what they have written.
    if (!output_ || (format != "png" && format != "openexr" && format != "jpeg"))
      throw std::runtime_error("no picture of this format can be written; give a PNG, EXR or JPEG file to begin with");
    if (!output_->set_ioproxy(&proxy_) || !output_->open("picture." + format, layout)) fail();
  }
  ~Writer() override {
    if (writing_.valid()) writing_.wait();
    if (output_) output_->close();
  }

  /// They are written while the next ones are made: a failure is thrown by the call after this one.
  void write_rows(std::vector<float>& samples) override {
    if (writing_.valid()) writing_.get();
    rows_.swap(samples);
    writing_ = std::async(std::launch::async, [this] {
      const std::size_t row = static_cast<std::size_t>(layout_.width) * static_cast<std::size_t>(layout_.nchannels);
      const int end = next_ + static_cast<int>(rows_.size() / row);
      if (!output_->write_scanlines(next_, end, 0, OIIO::TypeDesc::FLOAT, rows_.data())) fail();
      proxy_.throw_if_failed();
      next_ = end;
    });
  }

  void finish() override {
    if (writing_.valid()) writing_.get();
    const bool closed = output_->close();
    proxy_.throw_if_failed();
    if (!closed) fail();
    output_.reset();
  }

 private:
  [[noreturn]] void fail() {
    proxy_.throw_if_failed();
    throw std::runtime_error("the picture cannot be written: " + output_->geterror());
  }

  FileProxy proxy_;
  std::unique_ptr<OIIO::ImageOutput> output_;
  OIIO::ImageSpec layout_;
  int next_ = 0;
  std::vector<float> rows_;
  std::future<void> writing_;
};

/// Whether OpenImageIO may take its newer reader of EXR files, in which threads do not wait for one another. That one does not
/// know the compressions DWAA and DWAB.
int has_newer_reader(const std::string& file) {
  OIIO::attribute("openexr:core", 0);
  const auto input = OIIO::ImageInput::open(file);
  if (!input) OIIO::geterror();
  return input && !std::string(input->spec().get_string_attribute("compression")).starts_with("dwa") ? 1 : 0;
}

class Picture final : public tool::LargePicture {
 public:
  explicit Picture(const std::string& file) : file_(file), name_(file), cache_(OIIO::ImageCache::create(false)) {
    OIIO::attribute("openexr:core", has_newer_reader(file));
    cache_->attribute("max_memory_MB", most_megabytes);
    cache_->attribute("autotile", rows_at_once);
    cache_->attribute("unassociatedalpha", 1);
    cache_->attribute("failure_retries", 0);
    int parts = 0;
    if (!cache_->get_imagespec(name_, layout_, 0, 0, true) ||
        !cache_->get_image_info(name_, 0, 0, OIIO::ustring("subimages"), OIIO::TypeDesc::INT, &parts)) {
      cache_->geterror();
      refuse("it is not a picture that can be read; give a PNG or EXR file");
    }
    if (parts > 1) refuse("it has several parts; give one of them as a file of its own");
    if (layout_.full_width > tool::largest_picture_side || layout_.full_height > tool::largest_picture_side ||
        layout_.depth > 1)
      refuse("it is larger than " + std::to_string(tool::largest_picture_side) + " pixels");
    if (layout_.full_width < 1 || layout_.full_height < 1) refuse("it has no pixels");
    OIIO::ustring format;
    cache_->get_image_info(name_, 0, 0, OIIO::ustring("fileformat"), OIIO::TypeDesc::STRING, &format);
    format_ = format.string();
  }
  ~Picture() override { OIIO::ImageCache::destroy(cache_); }

  int width() const override { return layout_.full_width; }
  int height() const override { return layout_.full_height; }
  const std::vector<std::string>& channels() const override { return layout_.channelnames; }
  int alpha_channel() const override { return layout_.alpha_channel; }
  bool is_srgb() const override { return format_ == "png" || format_ == "jpeg"; }

  void read(const tool::PixelBox& part, std::span<float> samples) const override {
    const int left = layout_.full_x + part.left;
    const int top = layout_.full_y + part.top;
    if (!cache_->get_pixels(name_, 0, 0, left, left + part.width, top, top + part.height, 0, 1, OIIO::TypeDesc::FLOAT,
                            samples.data()))
      refuse("it cannot be read to its end: " + cache_->geterror());
  }

  std::vector<std::string> views() const override {
    const auto* const found = layout_.find_attribute("multiView");
    std::vector<std::string> names;
    if (found == nullptr || found->type().basetype != OIIO::TypeDesc::STRING) return names;
    for (int i = 0; i < static_cast<int>(found->type().basevalues()); ++i) names.push_back(found->get_string_indexed(i));
    return names;
  }

  std::unique_ptr<tool::PictureWriter> create(tool::PictureBytes& file, const tool::NewPicture& form) const override {
    OIIO::ImageSpec layout = tool::whole_frame(layout_, form.width, form.height);
    keep_channels(layout, form.channels);
    if (!form.names.empty()) layout.channelnames = form.names;
    if (!form.has_views) layout.erase_attribute("multiView");
    // True of the old lens only.
    layout.erase_attribute("worldtocamera");
    layout.erase_attribute("worldtoscreen");
    layout.erase_attribute("worldToNDC");
    layout.erase_attribute("PixelAspectRatio");
    layout.erase_attribute("ovicam/.*");
    layout.erase_attribute("GPano:.*");
    layout.erase_attribute("GSpherical:.*");
    layout.erase_attribute("GImage:.*");
    layout.erase_attribute("XML:com.adobe.xmp");
    // Of an environment, as OpenImageIO has it.
    for (const char* name : {"textureformat", "oiio:updirection", "oiio:sampleborder"}) layout.erase_attribute(name);
    if (is_of_panorama(layout.get_string_attribute("xmp")) || !form.panorama.empty()) layout.erase_attribute("xmp");
    layout.attribute("oiio:UnassociatedAlpha", is_srgb() ? 1 : 0);
    for (const auto& [name, text] : form.facts) layout.attribute(name, text);
    const std::string packet = tool::panorama_packet(form.panorama);
    if (!packet.empty() && format_ == "openexr") layout.attribute("xmp", packet);
    // Those of a JPEG are written by OpenImageIO, which knows nothing of both eyes.
    const bool has_both_eyes =
        std::ranges::any_of(form.panorama, [](const auto& each) { return each.first.starts_with("GS"); });
    if (format_ == "jpeg" && !has_both_eyes)
      for (const auto& [name, value] : form.panorama) layout.attribute(name, value);
    return std::make_unique<Writer>(file, format_, layout, packet);
  }

 private:
  static bool is_of_panorama(const std::string& packet) {
    return packet.find("GPano") != std::string::npos || packet.find("GSpherical") != std::string::npos;
  }

  static void keep_channels(OIIO::ImageSpec& layout, const std::vector<std::size_t>& kept) {
    const OIIO::ImageSpec before = layout;
    layout.nchannels = static_cast<int>(kept.size());
    layout.channelnames.clear();
    layout.channelformats.clear();
    layout.alpha_channel = layout.z_channel = -1;
    for (std::size_t i = 0; i < kept.size(); ++i) {
      const auto old = static_cast<int>(kept[i]);
      layout.channelnames.push_back(before.channelnames[kept[i]]);
      if (!before.channelformats.empty()) layout.channelformats.push_back(before.channelformats[kept[i]]);
      if (old == before.alpha_channel) layout.alpha_channel = static_cast<int>(i);
      if (old == before.z_channel) layout.z_channel = static_cast<int>(i);
    }
  }

  [[noreturn]] void refuse(const std::string& reason) const { throw std::runtime_error(file_ + ": " + reason); }

  std::string file_;
  OIIO::ustring name_;
  OIIO::ImageCache* cache_;
  OIIO::ImageSpec layout_;
  std::string format_;
};

}  // namespace

extern "C" [[gnu::visibility("default")]] tool::LargePicture* ovicam_open_picture(const char* file) {
  return new Picture(file);
}
