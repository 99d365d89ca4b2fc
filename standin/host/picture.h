#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace standin {

/// The area that a panel control draws into: RGB, 8 bits, row 0 on top. Drawing outside is clipped, as the host clips it.
/// Threads: one.
class Picture {
 public:
  /// Without an area.
  Picture() = default;
  /// Throws std::out_of_range unless both are 1 to 16384.
  Picture(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  using Color = std::array<std::uint8_t, 3>;
  /// Throws std::out_of_range outside the area.
  Color at(int x, int y) const;
  /// All of them, row by row from the top.
  std::span<Color> pixels() { return pixels_; }
  std::span<const Color> pixels() const { return pixels_; }

  void set(int x, int y, Color color);
  void fill(int x, int y, int width, int height, Color color);
  void line(int x, int y, int x2, int y2, Color color);

  struct Text {
    std::string text;
    int x = 0;
    int y = 0;

    friend bool operator==(const Text&, const Text&) = default;
  };
  std::vector<Text> texts;
  /// Pixels that were set outside the area.
  std::uint64_t cut_off = 0;

  friend bool operator==(const Picture&, const Picture&) = default;

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<Color> pixels_;
};

}  // namespace standin
