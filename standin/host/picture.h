#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace standin {

/// The area that a panel control draws into: RGB, 8 bits, row 0 on top. Drawing outside is cut off, as the host cuts it.
/// Threads: one.
class Picture {
 public:
  Picture(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  using Color = std::array<std::uint8_t, 3>;
  /// Throws std::out_of_range outside the area.
  Color at(int x, int y) const;

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
  int width_;
  int height_;
  std::vector<Color> pixels_;
};

}  // namespace standin
