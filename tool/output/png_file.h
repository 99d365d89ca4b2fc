#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// What a PNG says before its first row.
struct PngLayout {
  int width = 0;
  int height = 0;
  /// 1 grey, 2 grey and alpha, 3 colours, 4 colours and alpha.
  int channels = 4;
  /// 8 or 16 for each channel.
  int bits = 8;
  /// Keyword, 1 to 79 letters of ASCII, and its text in UTF-8.
  std::vector<std::pair<std::string, std::string>> texts = {};
};

/// Writes a PNG in sRGB from the top down. The same layout and rows give the same bytes. Failures, and exceptions of the
/// sink, are thrown. Threads: one.
class PngWriter {
 public:
  using Sink = std::function<void(std::span<const std::byte>)>;

  PngWriter(const PngLayout& layout, Sink sink);
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;
  ~PngWriter();

  /// The next whole rows; samples of 16 bits in this machine's order.
  void write_rows(std::span<const std::byte> rows);
  /// After the last row.
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Whether a file is a whole PNG of that size: it is decoded to its end.
bool is_whole_png(std::span<const std::byte> file, int width, int height);

}  // namespace tool
