#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tool/output/picture_metadata.h"
#include "tool/output/pixel_box.h"
#include "tool/output/random_output.h"

namespace tool {

struct ExrChannel {
  std::string name;
  /// Half floats; otherwise floats of 32 bits.
  bool half = true;
};

/// A channel's name in a view that is not the first of a file's views.
std::string name_in_view(const std::string& channel, const std::vector<std::string>& views, int view);

/// What an EXR says before its first row.
struct ExrLayout {
  int frame_width = 0;
  int frame_height = 0;
  /// The part of the frame that the file holds.
  PixelBox part;
  /// In the order of a pixel's samples.
  std::vector<ExrChannel> channels;
  /// Names of its views, the one whose channels have no name in front first; empty where there is only one.
  std::vector<std::string> views;
  PictureMetadata metadata;
  /// Whether neighbouring pixels differ little, as in a map. Then all processors compress it, another way.
  bool smooth = false;
};

/// Writes an EXR of scan lines, compressed without loss, from the top down. The same rows give the same bytes. Failures throw
/// std::runtime_error. Threads: one.
class ExrWriter {
 public:
  /// The output must outlive this.
  ExrWriter(RandomOutput& file, const ExrLayout& layout);
  ExrWriter(const ExrWriter&) = delete;
  ExrWriter& operator=(const ExrWriter&) = delete;
  ~ExrWriter();

  /// The next whole rows, pixel by pixel.
  void write_rows(std::span<const float> samples);
  /// After the last row.
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tool
