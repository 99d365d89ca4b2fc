#include "tool/lens/reprojection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tbb/blocked_range2d.h>
#include <tbb/parallel_for.h>

#include "tool/pictures/linear_light.h"

namespace tool {
namespace {

/// Of the new frame, along each side.
constexpr int block_pixels = 64;
constexpr int least_block_pixels = 4;
/// Of the picture, for one block; a block that needs more is divided.
constexpr std::size_t most_numbers = std::size_t{1} << 22;
/// Samples along each axis of what a pixel sees, where the mapping is smooth, and where it is not.
constexpr int most_samples = 48;
constexpr int samples_of_edge = 6;
/// Where the edges of frames are compared.
constexpr int edge_places = 17;
/// Between directions that are the same.
constexpr double same_direction = 1e-5;
/// Shares of a frame that rounding may lose.
constexpr double rounding = 1e-9;

std::vector<LensDirection> looked(const Lens& lens, bool along_s, double other) {
  std::vector<FramePlace> places;
  for (int i = 0; i < edge_places; ++i) {
    const double along = (i + 0.5) / edge_places;
    places.push_back({along_s ? along : other, along_s ? other : along, true});
  }
  std::vector<LensDirection> directions(places.size());
  lens.look(places, directions);
  return directions;
}

bool is_one_direction(const std::vector<LensDirection>& directions) {
  return std::ranges::all_of(directions, [&](const LensDirection& each) {
    return each.found && length(each.towards - directions.front().towards) < same_direction;
  });
}

}  // namespace

FrameEdges edges_of(const Lens& lens) {
  const auto left = looked(lens, false, 0.0);
  const auto right = looked(lens, false, 1.0);
  FrameEdges edges;
  edges.goes_round = std::ranges::equal(left, right, [](const LensDirection& a, const LensDirection& b) {
    return a.found && b.found && length(a.towards - b.towards) < same_direction;
  });
  edges.pole_above = edges.goes_round && is_one_direction(looked(lens, true, 1.0));
  edges.pole_below = edges.goes_round && is_one_direction(looked(lens, true, 0.0));
  return edges;
}

/// What one pixel sees of the picture.
struct Reprojection::Footprint {
  PicturePoint middle;
  /// To the neighbours' middles, in pixels of the picture.
  double across_column = 0.0;
  double across_row = 0.0;
  double down_column = 0.0;
  double down_row = 0.0;
  /// In place of these, where the mapping is not smooth.
  std::vector<PicturePoint> points;

  bool sees() const { return middle.found || !points.empty(); }
  int samples_across() const { return samples_over(std::hypot(across_column, across_row)); }
  int samples_down() const { return samples_over(std::hypot(down_column, down_row)); }

  template <class Use>
  void for_each(Use use) const {
    if (!points.empty()) {
      for (const PicturePoint& point : points)
        if (point.found) use(point.column, point.row, 1.0 / static_cast<double>(points.size()));
      return;
    }
    const int across = samples_across();
    const int down = samples_down();
    const double weight = 1.0 / (static_cast<double>(across) * down);
    for (int i = 0; i < down; ++i) {
      for (int j = 0; j < across; ++j) {
        const double x = (j + 0.5) / across - 0.5;
        const double y = (i + 0.5) / down - 0.5;
        use(middle.column + across_column * x + down_column * y, middle.row + across_row * x + down_row * y, weight);
      }
    }
  }

 private:
  static int samples_over(double pixels) { return std::clamp(static_cast<int>(std::ceil(pixels - 1e-6)), 1, most_samples); }
};

/// A part of the picture. Columns go on around it where its edges meet.
class Reprojection::Pixels {
 public:
  Pixels(const Reprojection& of, int left, int top, int right, int bottom)
      : of_(of), left_(left), top_(top), columns_(right - left), rows_(bottom - top) {}

  std::size_t count() const { return static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_) * of_.channels_; }

  void read(Reprojection& from) {
    samples_.resize(count());
    // The part may lie across the picture's edges: at most two pieces, as it is no wider than the picture.
    const int first = wrapped(left_);
    const int before_edge = std::min(columns_, of_.width_ - first);
    if (before_edge == columns_) {
      from.read({first, top_, columns_, rows_}, samples_);
      return;
    }
    for (const auto& [column, left, width] :
         {std::array{0, first, before_edge}, std::array{before_edge, 0, columns_ - before_edge}}) {
      std::vector<float> piece(static_cast<std::size_t>(width) * static_cast<std::size_t>(rows_) * of_.channels_);
      from.read({left, top_, width, rows_}, piece);
      const std::size_t row_size = static_cast<std::size_t>(width) * of_.channels_;
      for (int row = 0; row < rows_; ++row)
        std::copy_n(&piece[static_cast<std::size_t>(row) * row_size], row_size, &samples_[place(column, row)]);
    }
  }

  void add(double column, double row, double weight, std::span<float> sum) const {
    const double left = std::floor(column);
    const double top = std::floor(row);
    const auto to_right = static_cast<float>(column - left);
    const auto to_bottom = static_cast<float>(row - top);
    const auto first = static_cast<int>(left);
    const auto above = static_cast<int>(top);
    const auto share = static_cast<float>(weight);
    const std::array<const float*, 4> taps{pixel(first, above), pixel(first + 1, above), pixel(first, above + 1),
                                           pixel(first + 1, above + 1)};
    const std::array<float, 4> weights{share * (1.0F - to_right) * (1.0F - to_bottom), share * to_right * (1.0F - to_bottom),
                                       share * (1.0F - to_right) * to_bottom, share * to_right * to_bottom};
    for (std::size_t channel = 0; channel < of_.channels_; ++channel)
      sum[channel] += weights[0] * taps[0][channel] + weights[1] * taps[1][channel] + weights[2] * taps[2][channel] +
                      weights[3] * taps[3][channel];
  }

 private:
  int wrapped(int column) const { return ((column % of_.width_) + of_.width_) % of_.width_; }

  std::size_t place(int column, int row) const {
    return (static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) + static_cast<std::size_t>(column)) *
           of_.channels_;
  }

  const float* pixel(int column, int row) const {
    // Beyond a pole lies the other side of the same row.
    const bool beyond_first = row < 0 && of_.edges_.pole_above;
    if (beyond_first || (row >= of_.height_ && of_.edges_.pole_below)) {
      const std::vector<float>& edge = beyond_first ? of_.first_row_ : of_.last_row_;
      return &edge[static_cast<std::size_t>(wrapped(column + of_.width_ / 2)) * of_.channels_];
    }
    const int x = of_.edges_.goes_round ? wrapped(column - left_) : std::clamp(column, 0, of_.width_ - 1) - left_;
    return &samples_[place(x, std::clamp(row, 0, of_.height_ - 1) - top_)];
  }

  const Reprojection& of_;
  int left_;
  int top_;
  int columns_;
  int rows_;
  std::vector<float> samples_;
};

Reprojection::Reprojection(const PicturePixels& picture, const Lens& from, const Lens& to, int to_width, int to_height)
    : picture_(picture),
      from_(from),
      to_(to),
      to_width_(to_width),
      to_height_(to_height),
      width_(picture.width()),
      height_(picture.height()),
      channels_(picture.channels().size()),
      edges_(edges_of(from)) {
  const std::size_t row = static_cast<std::size_t>(width_) * channels_;
  if (edges_.pole_above) read({0, 0, width_, 1}, first_row_ = std::vector<float>(row));
  if (edges_.pole_below) read({0, height_ - 1, width_, 1}, last_row_ = std::vector<float>(row));
}

void Reprojection::fill(PixelBox part, std::span<float> samples) {
  tbb::parallel_for(
      tbb::blocked_range2d<int>(part.top, part.top + part.height, block_pixels, part.left, part.left + part.width,
                                block_pixels),
      [&](const tbb::blocked_range2d<int>& range) {
        fill_block({range.cols().begin(), range.rows().begin(), static_cast<int>(range.cols().size()),
                    static_cast<int>(range.rows().size())},
                   part, samples);
      },
      tbb::simple_partitioner());
  if (picture_.is_srgb()) make_srgb(samples, channels_, picture_.alpha_channel());
}

void Reprojection::read(const PixelBox& box, std::span<float> samples) {
  picture_.read(box, samples);
  bool broken = false;
  for (float& sample : samples) {
    if (std::isfinite(sample)) continue;
    sample = 0.0F;
    broken = true;
  }
  if (broken) broken_ = true;
  if (picture_.is_srgb()) make_linear(samples, channels_, picture_.alpha_channel());
}

std::vector<Reprojection::PicturePoint> Reprojection::points(std::span<const FramePlace> seen_at) const {
  std::vector<LensDirection> directions(seen_at.size());
  std::vector<FramePlace> places(seen_at.size());
  to_.look(seen_at, directions);
  from_.locate(directions, places);
  std::vector<PicturePoint> points(seen_at.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    const auto& [s, t, found] = places[i];
    const bool in_columns = edges_.goes_round ? std::abs(s) < 1e3 : s >= -rounding && s <= 1.0 + rounding;
    if (found && in_columns && t >= -rounding && t <= 1.0 + rounding)
      points[i] = {s * width_ - 0.5, (1.0 - t) * height_ - 0.5, true};
  }
  return points;
}

void Reprojection::move_near(PicturePoint& point, double column) const {
  if (edges_.goes_round) point.column -= std::round((point.column - column) / width_) * width_;
}

std::vector<Reprojection::Footprint> Reprojection::footprints(PixelBox block) const {
  const int stride = block.width + 2;
  const auto place = [&](double column, double row) {
    return FramePlace{(column + 0.5) / to_width_, 1.0 - (row + 0.5) / to_height_, true};
  };
  std::vector<FramePlace> seen_at;
  for (int row = -1; row <= block.height; ++row)
    for (int column = -1; column <= block.width; ++column) seen_at.push_back(place(block.left + column, block.top + row));
  std::vector<PicturePoint> grid = points(seen_at);
  const auto first = std::ranges::find_if(grid, &PicturePoint::found);
  if (first == grid.end()) return {};
  const double near = first->column;
  for (PicturePoint& point : grid) move_near(point, near);

  std::vector<Footprint> prints(static_cast<std::size_t>(block.width) * static_cast<std::size_t>(block.height));
  std::vector<std::size_t> edges;
  seen_at.clear();
  for (int row = 0; row < block.height; ++row) {
    for (int column = 0; column < block.width; ++column) {
      const std::size_t at =
          static_cast<std::size_t>(row + 1) * static_cast<std::size_t>(stride) + static_cast<std::size_t>(column) + 1;
      const std::size_t number =
          static_cast<std::size_t>(row) * static_cast<std::size_t>(block.width) + static_cast<std::size_t>(column);
      Footprint& print = prints[number];
      print.middle = grid[at];
      const std::array neighbours{grid[at - 1], grid[at + 1], grid[at - static_cast<std::size_t>(stride)],
                                  grid[at + static_cast<std::size_t>(stride)]};
      bool smooth = print.middle.found;
      bool any = print.middle.found;
      const auto change = [&](PicturePoint before, PicturePoint after, double& by_column, double& by_row) {
        any = any || before.found || after.found;
        if (!smooth || !before.found || !after.found) {
          smooth = false;
          return;
        }
        move_near(before, print.middle.column);
        move_near(after, print.middle.column);
        by_column = (after.column - before.column) / 2.0;
        by_row = (after.row - before.row) / 2.0;
        const double bend = std::hypot(after.column + before.column - 2.0 * print.middle.column,
                                       after.row + before.row - 2.0 * print.middle.row);
        const double size = std::hypot(by_column, by_row);
        if (bend > 0.25 * size + 0.05 || size > most_samples) smooth = false;
      };
      change(neighbours[0], neighbours[1], print.across_column, print.across_row);
      change(neighbours[2], neighbours[3], print.down_column, print.down_row);
      if (smooth || !any) continue;
      edges.push_back(number);
      for (int i = 0; i < samples_of_edge * samples_of_edge; ++i) {
        const double x = (i % samples_of_edge + 0.5) / samples_of_edge - 0.5;
        const int line = i / samples_of_edge;
        const double y = (line + 0.5) / samples_of_edge - 0.5;
        seen_at.push_back(place(block.left + column + x, block.top + row + y));
      }
    }
  }
  const std::vector<PicturePoint> more = points(seen_at);
  constexpr std::size_t each = static_cast<std::size_t>(samples_of_edge) * samples_of_edge;
  for (std::size_t i = 0; i < edges.size(); ++i) {
    auto& to = prints[edges[i]].points;
    to.assign(more.begin() + static_cast<std::ptrdiff_t>(i * each), more.begin() + static_cast<std::ptrdiff_t>((i + 1) * each));
    for (PicturePoint& point : to) move_near(point, near);
  }
  return prints;
}

void Reprojection::fill_block(PixelBox block, PixelBox part, std::span<float> samples) {
  const std::vector<Footprint> prints = footprints(block);
  const auto output = [&](int column, int row) {
    const std::size_t pixel = static_cast<std::size_t>(block.top - part.top + row) * static_cast<std::size_t>(part.width) +
                              static_cast<std::size_t>(block.left - part.left + column);
    return samples.subspan(pixel * channels_, channels_);
  };
  for (int row = 0; row < block.height; ++row)
    for (int column = 0; column < block.width; ++column) std::ranges::fill(output(column, row), 0.0F);
  double left = 1e9;
  double right = -1e9;
  double top = 1e9;
  double bottom = -1e9;
  for (const Footprint& print : prints) {
    if (!print.sees()) continue;
    print.for_each([&](double column, double row, double) {
      left = std::min(left, column);
      right = std::max(right, column);
      top = std::min(top, row);
      bottom = std::max(bottom, row);
    });
  }
  if (!(left <= right)) return;
  seen_ = true;
  auto first = static_cast<int>(std::floor(left));
  auto last = static_cast<int>(std::floor(right)) + 1;
  if (!edges_.goes_round) {
    first = std::clamp(first, 0, width_ - 1);
    last = std::clamp(last, 0, width_ - 1);
  } else if (last - first >= width_) {
    first = 0;
    last = width_ - 1;
  }
  const int above = std::clamp(static_cast<int>(std::floor(top)), 0, height_ - 1);
  const int below = std::clamp(static_cast<int>(std::floor(bottom)) + 1, 0, height_ - 1);
  Pixels pixels(*this, first, above, last + 1, below + 1);
  if (pixels.count() > most_numbers && std::max(block.width, block.height) > least_block_pixels) {
    const bool wide = block.width >= block.height;
    const int half = (wide ? block.width : block.height) / 2;
    PixelBox one = block;
    PixelBox other = block;
    (wide ? one.width : one.height) = half;
    (wide ? other.width : other.height) -= half;
    (wide ? other.left : other.top) += half;
    fill_block(one, part, samples);
    fill_block(other, part, samples);
    return;
  }
  pixels.read(*this);
  for (int row = 0; row < block.height; ++row) {
    for (int column = 0; column < block.width; ++column) {
      const Footprint& print =
          prints[static_cast<std::size_t>(row) * static_cast<std::size_t>(block.width) + static_cast<std::size_t>(column)];
      if (!print.sees()) continue;
      const std::span<float> sum = output(column, row);
      print.for_each([&](double x, double y, double weight) { pixels.add(x, y, weight, sum); });
    }
  }
}

}  // namespace tool
