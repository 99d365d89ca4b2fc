#include "tool/pictures/cube_faces.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include "tool/pictures/linear_light.h"

namespace tool {
namespace {

using standin::Vec3;

constexpr double quarter_turn = std::numbers::pi / 2.0;
/// Along each edge of a pixel; a view that is much larger gets more.
constexpr int fewest_samples = 2;
constexpr int most_samples = 32;

}  // namespace

CubePicture::CubePicture(const StoredPicture& picture, std::span<const CubeView, 6> views)
    : channel_count_(picture.channels().size()), alpha_channel_(picture.alpha_channel()), is_srgb_(picture.is_srgb()) {
  for (std::size_t i = 0; i < views.size(); ++i) {
    const CubeView& shown = views[i];
    const PixelBox& box = shown.pixels;
    const auto across = [&](double column) { return std::atan((column - shown.middle_column) / shown.columns_at_45_degrees); };
    const auto down = [&](double row) { return std::atan((row - shown.middle_row) / shown.rows_at_45_degrees); };
    views_[i] = {shown,
                 picture.samples(box),
                 -across(box.left + 0.5),
                 across(box.left + box.width - 0.5),
                 -down(box.top + 0.5),
                 down(box.top + box.height - 0.5)};
    if (is_srgb_) make_linear(views_[i].samples, channel_count_, alpha_channel_);
  }
}

double CubePicture::View::limit_towards(Vec3 axis) const {
  if (dot(axis, as_shown.side.right) > 0.5) return right;
  if (dot(axis, as_shown.side.right) < -0.5) return left;
  return dot(axis, as_shown.side.up) > 0.0 ? top : bottom;
}

/// How much of a direction the view shows, as far as the neighbour along an axis matters: from 1 within the view to 0 within
/// the neighbour.
double CubePicture::share_across(const View& view, double along, double forward, Vec3 axis) const {
  if (along < 0.0) return share_across(view, -along, forward, axis * -1.0);
  const double angle = std::atan2(along, forward);
  const double own = view.limit_towards(axis);
  if (angle <= own && angle <= quarter_turn / 2.0) return 1.0;
  const auto neighbour =
      std::ranges::find_if(views_, [&](const View& other) { return dot(other.as_shown.side.forward, axis) > 0.5; });
  const double its = quarter_turn - neighbour->limit_towards(view.as_shown.side.forward);
  // Views that overlap meet in the middle.
  if (its <= own) return angle <= (its + own) / 2.0 ? 1.0 : 0.0;
  return std::clamp((its - angle) / (its - own), 0.0, 1.0);
}

double CubePicture::share(const View& view, Vec3 direction) const {
  const CubeSide& side = view.as_shown.side;
  const double forward = dot(direction, side.forward);
  if (!(forward > 0.0)) return 0.0;
  const double across = share_across(view, dot(direction, side.right), forward, side.right);
  return across > 0.0 ? across * share_across(view, dot(direction, side.up), forward, side.up) : 0.0;
}

void CubePicture::add(const View& view, Vec3 direction, double weight, std::span<double> sum) const {
  const CubeView& shown = view.as_shown;
  const PixelBox& box = shown.pixels;
  const double forward = dot(direction, shown.side.forward);
  const double column = shown.middle_column + dot(direction, shown.side.right) / forward * shown.columns_at_45_degrees;
  const double row = shown.middle_row - dot(direction, shown.side.up) / forward * shown.rows_at_45_degrees;
  // From centre to centre; beyond the outermost, the outermost.
  const double x = std::clamp(column - 0.5 - box.left, 0.0, box.width - 1.0);
  const double y = std::clamp(row - 0.5 - box.top, 0.0, box.height - 1.0);
  const auto left = static_cast<std::size_t>(x);
  const auto top = static_cast<std::size_t>(y);
  const std::size_t right = std::min(left + 1, static_cast<std::size_t>(box.width) - 1);
  const std::size_t bottom = std::min(top + 1, static_cast<std::size_t>(box.height) - 1);
  const double to_right = x - static_cast<double>(left);
  const double to_bottom = y - static_cast<double>(top);
  const auto add_pixel = [&](std::size_t at_column, std::size_t at_row, double part) {
    const float* pixel = &view.samples[(at_row * static_cast<std::size_t>(box.width) + at_column) * channel_count_];
    for (std::size_t channel = 0; channel < channel_count_; ++channel) sum[channel] += weight * part * pixel[channel];
  };
  add_pixel(left, top, (1.0 - to_right) * (1.0 - to_bottom));
  add_pixel(right, top, to_right * (1.0 - to_bottom));
  add_pixel(left, bottom, (1.0 - to_right) * to_bottom);
  add_pixel(right, bottom, to_right * to_bottom);
}

std::vector<float> CubePicture::side(const CubeSide& side, int width_pixels) const {
  const auto width = static_cast<std::size_t>(width_pixels);
  std::vector<float> result(width * width * channel_count_);
  const int cell_pixels =
      std::ranges::max(views_, {}, [](const View& view) { return view.as_shown.pixels.width; }).as_shown.pixels.width;
  const int samples = std::clamp(2 * cell_pixels / width_pixels, fewest_samples, most_samples);
  const double step = 2.0 / (static_cast<double>(width_pixels) * samples);
  tbb::parallel_for(tbb::blocked_range<int>(0, width_pixels), [&](const tbb::blocked_range<int>& rows) {
    std::vector<double> pixel(channel_count_);
    std::vector<double> here(channel_count_);
    for (int row = rows.begin(); row < rows.end(); ++row) {
      for (int column = 0; column < width_pixels; ++column) {
        std::ranges::fill(pixel, 0.0);
        for (int sample = 0; sample < samples * samples; ++sample) {
          const int across = column * samples + sample % samples;
          const int down = row * samples + sample / samples;
          const double right = (across + 0.5) * step - 1.0;
          const double up = 1.0 - (down + 0.5) * step;
          const Vec3 direction = side.forward + side.right * right + side.up * up;
          std::ranges::fill(here, 0.0);
          double all = 0.0;
          for (const View& view : views_) {
            const double weight = share(view, direction);
            if (!(weight > 0.0)) continue;
            add(view, direction, weight, here);
            all += weight;
          }
          for (std::size_t channel = 0; channel < channel_count_; ++channel) pixel[channel] += here[channel] / all;
        }
        float* to = &result[(static_cast<std::size_t>(row) * width + static_cast<std::size_t>(column)) * channel_count_];
        for (std::size_t channel = 0; channel < channel_count_; ++channel)
          to[channel] = static_cast<float>(pixel[channel] / (samples * samples));
      }
    }
  });
  if (is_srgb_) make_srgb(result, channel_count_, alpha_channel_);
  return result;
}

}  // namespace tool
