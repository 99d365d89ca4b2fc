// What a pixel of a new picture takes where a picture of 8192x4096 pixels, four floats each, is seen through another lens: on
// standard output, as one JSON object from the name of a measurement to nanoseconds. All threads work on it, and files are left
// out: reading and writing them takes as long again. bench/run_bench.py runs it.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "tool/lens/cube_lens.h"
#include "tool/lens/perspective_lens.h"
#include "tool/lens/plain_lenses.h"
#include "tool/lens/reprojection.h"
#include "tool/pictures/cube_cells.h"
#include "tool/pictures/cube_layouts.h"
#include "tool/pictures/large_picture.h"

namespace {

constexpr int width = 8192;
constexpr int height = 4096;
constexpr int rows_at_once = 256;
constexpr int turns = 3;

/// Of noise, in memory.
class Noise final : public tool::PicturePixels {
 public:
  Noise() : samples_(std::size_t{::width} * ::height * channels_.size()) {
    std::uint32_t number = 1;
    for (float& sample : samples_) sample = static_cast<float>(number = number * 1664525U + 1013904223U) * 0x1p-32F;
  }

  int width() const override { return ::width; }
  int height() const override { return ::height; }
  const std::vector<std::string>& channels() const override { return channels_; }
  int alpha_channel() const override { return 3; }
  bool is_srgb() const override { return false; }
  void read(const tool::PixelBox& part, std::span<float> samples) const override {
    const std::size_t count = channels_.size();
    for (int row = 0; row < part.height; ++row)
      std::copy_n(&samples_[(static_cast<std::size_t>(part.top + row) * ::width + static_cast<std::size_t>(part.left)) * count],
                  static_cast<std::size_t>(part.width) * count,
                  &samples[static_cast<std::size_t>(row) * static_cast<std::size_t>(part.width) * count]);
  }

 private:
  std::vector<std::string> channels_{"R", "G", "B", "A"};
  std::vector<float> samples_;
};

struct Case {
  std::string name;
  std::unique_ptr<tool::Lens> from;
  std::unique_ptr<tool::Lens> to;
  int width;
  int height;
};

double nanoseconds_a_pixel(const Noise& picture, const Case& of) {
  double least = std::numeric_limits<double>::infinity();
  std::vector<float> samples(static_cast<std::size_t>(of.width) * rows_at_once * 4);
  for (int turn = 0; turn < turns; ++turn) {
    const auto start = std::chrono::steady_clock::now();
    tool::Reprojection reprojection(picture, *of.from, *of.to, of.width, of.height);
    for (int row = 0; row < of.height; row += rows_at_once)
      reprojection.fill({0, row, of.width, std::min(rows_at_once, of.height - row)}, samples);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    least = std::min(least, taken.count() / of.width / of.height);
  }
  return least;
}

}  // namespace

int main() try {
  const standin::ItemPose pose;
  const auto all_round = [&] { return std::make_unique<tool::EquirectangularLens>(pose); };
  const auto cube = [&] {
    return std::make_unique<tool::CubeLens>(pose, tool::cube_cells(*tool::find_cube_layout("3x2")), "cubemap:3x2");
  };
  const auto flat = [&] { return std::make_unique<tool::PerspectiveLens>(pose, std::numbers::pi / 2.0, 0.5); };
  const auto fisheye = [&] { return std::make_unique<tool::Fisheye180Lens>(pose, 1.0); };
  std::vector<Case> cases;
  cases.push_back({"equirectangular to perspective:90deg", all_round(), flat(), width, height});
  cases.push_back({"equirectangular to cubemap:3x2", all_round(), cube(), 6144, 4096});
  cases.push_back({"equirectangular to fisheye180", all_round(), fisheye(), 4096, 4096});
  cases.push_back({"cubemap:3x2 to equirectangular", cube(), all_round(), width, height});
  cases.push_back({"perspective:90deg to fisheye180", flat(), fisheye(), 4096, 4096});
  const Noise picture;
  nlohmann::json found;
  for (const Case& each : cases) found["reprojection/" + each.name] = nanoseconds_a_pixel(picture, each);
  std::cout << found << '\n';
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
