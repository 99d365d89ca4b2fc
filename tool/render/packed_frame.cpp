#include "tool/render/packed_frame.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tool {
namespace {

/// Rows of both eyes, one after the other's end, from rows with the second eye's pixel among the samples of the first.
class SideBySide {
 public:
  SideBySide(PictureFile& picture, std::size_t width) : picture_(picture), width_(width) {}

  void write_rows(std::span<const Pixel> rows, std::span<const float> more) {
    const std::size_t count = rows.size();
    const std::size_t samples = more.size() / count;
    const std::size_t layers = (samples - 4) / 2;
    pixels_.resize(2 * count);
    layers_.resize(2 * count * layers);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t left = i / width_ * 2 * width_ + i % width_;
      const std::size_t right = left + width_;
      const std::span<const float> of_pixel = more.subspan(i * samples, samples);
      pixels_[left] = rows[i];
      pixels_[right] = {of_pixel[layers], of_pixel[layers + 1], of_pixel[layers + 2], of_pixel[layers + 3]};
      for (std::size_t channel = 0; channel < layers; ++channel) {
        layers_[left * layers + channel] = of_pixel[channel];
        layers_[right * layers + channel] = of_pixel[layers + 4 + channel];
      }
    }
    picture_.write_rows(pixels_, layers_);
  }

 private:
  PictureFile& picture_;
  std::size_t width_;
  std::vector<Pixel> pixels_;
  std::vector<float> layers_;
};

}  // namespace

RayCounts render_packed(const FrameJob& job, Packing packing, PictureFile& picture, Progress& progress) {
  const auto add_rays = [&](std::uint64_t rays) { progress.add(rays); };
  if (packing != Packing::over_under) {
    SideBySide sides(picture, static_cast<std::size_t>(job.width));
    const FrameOutput output{[&](std::span<const Pixel> rows, std::span<const float> more) { sides.write_rows(rows, more); },
                             add_rays};
    return render_frame(job, output).value();
  }
  const FrameOutput output{[&](std::span<const Pixel> rows, std::span<const float> more) { picture.write_rows(rows, more); },
                           add_rays};
  FrameJob of_eye = job;
  of_eye.second_eye.reset();
  RayCounts rays = render_frame(of_eye, output).value();
  of_eye.eye = *job.second_eye;
  rays += render_frame(of_eye, output).value();
  return rays;
}

}  // namespace tool
