#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tool/output/pixel_box.h"

namespace tool {

/// Where the bytes of a new picture go. Failures throw. Threads: one.
class PictureBytes {
 public:
  PictureBytes() = default;
  PictureBytes(const PictureBytes&) = delete;
  PictureBytes& operator=(const PictureBytes&) = delete;
  virtual ~PictureBytes() = default;

  virtual void write(std::span<const std::byte> bytes) = 0;
  /// Bytes from the start to where the next one is written.
  virtual void move_to(std::uint64_t position) = 0;
};

/// A new picture in the form of another: its kind of file and of numbers, its channels and what it says of itself.
class PictureWriter {
 public:
  PictureWriter() = default;
  PictureWriter(const PictureWriter&) = delete;
  PictureWriter& operator=(const PictureWriter&) = delete;
  virtual ~PictureWriter() = default;

  /// The next whole rows from the top, each pixel with all its channels; leaves other numbers in their place. Throws
  /// std::runtime_error. Threads: one.
  virtual void write_rows(std::vector<float>& samples) = 0;
  /// After the last row: nothing is written any more.
  virtual void finish() = 0;
};

/// The pixels of a picture that is read part by part, so that it may be larger than the memory that it takes.
class PicturePixels {
 public:
  PicturePixels() = default;
  PicturePixels(const PicturePixels&) = delete;
  PicturePixels& operator=(const PicturePixels&) = delete;
  virtual ~PicturePixels() = default;

  /// Of the whole frame, which the file may hold only a part of.
  virtual int width() const = 0;
  virtual int height() const = 0;
  virtual const std::vector<std::string>& channels() const = 0;
  /// Index of a channel; -1: there is none.
  virtual int alpha_channel() const = 0;
  /// Whether the numbers are those of sRGB rather than of linear light, and colours are not multiplied by alpha.
  virtual bool is_srgb() const = 0;

  /// The pixels of a part of the frame, row by row from the top, each with all its channels; 1 is white. What the file does not
  /// hold is 0. Throws std::runtime_error. Threads: any number at once.
  virtual void read(const PixelBox& part, std::span<float> samples) const = 0;
};

/// What a new picture in the form of another has of its own.
struct NewPicture {
  /// Of its frame, which it fills, pixels.
  int width = 0;
  int height = 0;
  /// Which of the other's channels it has, by index, in their order.
  std::vector<std::size_t> channels;
  /// Their names; empty: those that they have.
  std::vector<std::string> names;
  /// Whether it has the other's views.
  bool has_views = true;
  /// Texts by name.
  std::vector<std::pair<std::string, std::string>> facts;
  /// Of a panorama, what players read of it: see panorama_properties.
  std::vector<std::pair<std::string, std::string>> panorama;
};

/// A picture's file.
class LargePicture : public PicturePixels {
 public:
  /// The names of its views, the one whose channels have no name of a view first; empty where there is only one.
  virtual std::vector<std::string> views() const = 0;

  /// A picture in the form of this one. What this one says of its camera is left out. The bytes' place must outlive the writer.
  /// Throws std::runtime_error. Threads: one.
  virtual std::unique_ptr<PictureWriter> create(PictureBytes& bytes, const NewPicture& form) const = 0;
};

/// Opens a PNG or EXR, or whatever else is installed for. Throws std::runtime_error with a sentence for a person. Threads: one.
std::unique_ptr<LargePicture> open_picture(const std::filesystem::path& file);

}  // namespace tool
