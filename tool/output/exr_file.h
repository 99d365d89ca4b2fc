#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tool/output/new_file.h"

namespace tool {

/// A rectangle of a frame's pixels; column and row count from the top left.
struct PixelBox {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

struct ExrChannel {
  std::string name;
  /// Half floats; otherwise floats of 32 bits.
  bool half = true;
};

/// Writes an EXR of scan lines, compressed without loss, from the top down. The same rows give the same bytes. Failures throw
/// std::runtime_error. Threads: one.
class ExrWriter {
 public:
  /// Rows of the box follow; `channels` in the order of a pixel's samples. The file must outlive this.
  ExrWriter(NewFile& file, int frame_width, int frame_height, const PixelBox& box, std::vector<ExrChannel> channels);
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
