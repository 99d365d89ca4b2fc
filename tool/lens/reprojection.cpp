#include "tool/lens/reprojection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <tbb/parallel_for.h>
#include <utility>

#include "tool/pictures/cube_cells.h"
#include "tool/pictures/linear_light.h"

namespace tool {
namespace {

/// Of the new frame, along each side.
constexpr int block_pixels = 64;
constexpr int least_block_pixels = 4;
/// Pixels of the picture that one sample stands for: it is interpolated between neighbours, and so sees two of them anyway.
constexpr double pixels_of_a_sample = 1.25;
/// Of the picture, for one block; a block that needs more is divided.
constexpr std::size_t most_numbers = std::size_t{1} << 22;
/// Samples along each axis of what a pixel sees, where the mapping is smooth, and where it is not.
constexpr int most_samples = 48;
constexpr int fewest_samples_of_edge = 6;
constexpr int most_samples_of_edge = 16;
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

namespace {

/// Four numbers, which the processor handles at once.
using Four = float __attribute__((vector_size(16)));

Four four_at(const float* numbers) {
  Four four;
  std::memcpy(&four, numbers, sizeof(four));
  return four;
}

/// Along an axis of what a pixel sees, so long in pixels of the picture.
int samples_over(double pixels) {
  return std::clamp(static_cast<int>(std::ceil(pixels - (pixels_of_a_sample - 1.0))), 1, most_samples);
}

}  // namespace

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
        if (point.found) use(point.part, point.column, point.row, 1.0F / static_cast<float>(points.size()));
      return;
    }
    const int across = samples_across();
    const int down = samples_down();
    const float share = 1.0F / static_cast<float>(across * down);
    for (int i = 0; i < down; ++i) {
      for (int j = 0; j < across; ++j) {
        const double x = (j + 0.5) / across - 0.5;
        const double y = (i + 0.5) / down - 0.5;
        use(middle.part, middle.column + across_column * x + down_column * y, middle.row + across_row * x + down_row * y,
            share);
      }
    }
  }
};

/// Pixels whose mapping is not smooth, or not all of it.
struct Reprojection::RoughPixels {
  PixelBox box;
  std::vector<Footprint> prints;
};

/// A rectangle of the picture, or of one of its parts, with what lies beyond the edges of that: the other side where edges
/// meet, the neighbour where the picture holds several parts, else the outermost pixels again.
class Reprojection::Pixels {
 public:
  Pixels(const Reprojection& of, int part, int left, int top, int right, int bottom)
      : of_(of),
        part_(part),
        box_(of.parts_[static_cast<std::size_t>(part)]),
        left_(left),
        top_(top),
        columns_(right - left),
        rows_(bottom - top) {}

  std::size_t count() const { return static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_) * of_.channels_; }
  int left() const { return left_; }
  int top() const { return top_; }

  /// Numbers that it needs: four are read at once, whatever a pixel has.
  std::size_t storage_count() const { return count() + 4; }

  /// `storage` must outlive this.
  void read(Reprojection& from, std::span<float> storage) {
    samples_ = storage;
    const int above = std::clamp(box_.top, top_, top_ + rows_ - 1);
    const int below = std::clamp(box_.top + box_.height, above + 1, top_ + rows_);
    const bool round = of_.edges_.goes_round;
    const int before = round ? left_ : std::clamp(box_.left, left_, left_ + columns_ - 1);
    const int behind = round ? left_ + columns_ : std::clamp(box_.left + box_.width, before + 1, left_ + columns_);
    for (int column = before; column < behind;) {
      const int first = round ? wrapped(column) : column;
      const int width = std::min(behind - column, of_.width_ - first);
      read_stored(from, {first, above, width, below - above}, column);
      column += width;
    }
    for (int row = above; row < below; ++row) {
      for (int column = left_; column < before; ++column) copy(before, row, column, row, 1);
      for (int column = behind; column < left_ + columns_; ++column) copy(behind - 1, row, column, row, 1);
    }
    for (int row = top_; row < above; ++row) fill_row_beyond(row, above, of_.edges_.pole_above, of_.first_rows_);
    for (int row = below; row < top_ + rows_; ++row) fill_row_beyond(row, below - 1, of_.edges_.pole_below, of_.last_rows_);
    if (of_.has_parts_) read_neighbours(from, {before, above, behind - before, below - above});
  }

  /// The new picture's pixels of a smooth cell, whose places count from the first pixel here. `line`: numbers from one row of
  /// the new picture to the next.
  void fill(const BlockMapping::Cell& cell, std::span<const float> columns, std::span<const float> rows, float* samples,
            std::size_t line) const {
    const int across = samples_over(std::hypot(cell.across_column, cell.across_row));
    const int down = samples_over(std::hypot(cell.down_column, cell.down_row));
    std::array<float, static_cast<std::size_t>(most_samples) * most_samples> beside;
    std::array<float, static_cast<std::size_t>(most_samples) * most_samples> above;
    const auto count = static_cast<std::size_t>(across) * static_cast<std::size_t>(down);
    for (std::size_t i = 0; i < count; ++i) {
      const double x = (static_cast<int>(i) % across + 0.5) / across - 0.5;
      const int below = static_cast<int>(i) / across;
      const double y = (below + 0.5) / down - 0.5;
      beside[i] = static_cast<float>(cell.across_column * x + cell.down_column * y);
      above[i] = static_cast<float>(cell.across_row * x + cell.down_row * y);
    }
    const float share = 1.0F / static_cast<float>(count);
    for (int row = 0; row < cell.pixels.height; ++row) {
      float* to = samples + static_cast<std::size_t>(row) * line;
      for (int column = 0; column < cell.pixels.width; ++column, to += of_.channels_) {
        const std::size_t number = static_cast<std::size_t>(row) * BlockMapping::cell_pixels + static_cast<std::size_t>(column);
        for (std::size_t channel = 0; channel < of_.channels_; channel += 4) {
          Four sum{};
          if (count == 1) {
            sum = at(columns[number], rows[number], channel);
          } else {
            for (std::size_t i = 0; i < count; ++i) sum += at(columns[number] + beside[i], rows[number] + above[i], channel);
            sum *= share;
          }
          std::memcpy(to + channel, &sum, std::min<std::size_t>(4, of_.channels_ - channel) * sizeof(float));
        }
      }
    }
  }

  /// Four channels of the picture between pixels; the place counts from the first pixel here. Not all of the four need exist.
  Four at(float column, float row, std::size_t channel) const {
    return of_.filter_.is_linear() ? interpolated_at(column, row, channel) : filtered_at(column, row, channel);
  }

  /// A share of all channels there; the place counts from the picture's first pixel.
  void add(double column, double row, float share, std::span<float> sum) const {
    const auto x = static_cast<float>(column - left_);
    const auto y = static_cast<float>(row - top_);
    for (std::size_t channel = 0; channel < sum.size(); channel += 4) {
      const Four four = at(x, y, channel) * share;
      for (std::size_t i = 0; i < std::min<std::size_t>(4, sum.size() - channel); ++i) sum[channel + i] += four[i];
    }
  }

 private:
  int wrapped(int column) const { return ((column % of_.width_) + of_.width_) % of_.width_; }

  Four interpolated_at(float column, float row, std::size_t channel) const {
    const auto first = static_cast<std::size_t>(static_cast<int>(column));
    const auto above = static_cast<std::size_t>(static_cast<int>(row));
    const float to_right = column - static_cast<float>(static_cast<int>(column));
    const float to_bottom = row - static_cast<float>(static_cast<int>(row));
    const std::size_t line = static_cast<std::size_t>(columns_) * of_.channels_;
    const float* const upper = &samples_[above * line + first * of_.channels_ + channel];
    const float* const lower = upper + line;
    const Four left = four_at(upper);
    const Four left_below = four_at(lower);
    const Four over = left + (four_at(upper + of_.channels_) - left) * to_right;
    const Four under = left_below + (four_at(lower + of_.channels_) - left_below) * to_right;
    return over + (under - over) * to_bottom;
  }

  Four filtered_at(float column, float row, std::size_t channel) const {
    const int before_column = static_cast<int>(column);
    const int before_row = static_cast<int>(row);
    const auto across = of_.filter_.weights(column - static_cast<float>(before_column));
    const auto down = of_.filter_.weights(row - static_cast<float>(before_row));
    const int before = of_.filter_.reach() - 1;
    const std::size_t taps = of_.filter_.tap_count();
    const std::size_t line = static_cast<std::size_t>(columns_) * of_.channels_;
    const float* const first = &samples_[static_cast<std::size_t>(before_row - before) * line +
                                         static_cast<std::size_t>(before_column - before) * of_.channels_ + channel];
    Four sum{};
    for (std::size_t j = 0; j < taps; ++j) {
      Four of_row{};
      for (std::size_t i = 0; i < taps; ++i) of_row += four_at(first + j * line + i * of_.channels_) * across[i];
      sum += of_row * down[j];
    }
    return sum;
  }

  std::size_t place(int column, int row) const {
    return (static_cast<std::size_t>(row - top_) * static_cast<std::size_t>(columns_) +
            static_cast<std::size_t>(column - left_)) *
           of_.channels_;
  }

  void copy(int from_column, int from_row, int column, int row, int pixels) {
    std::copy_n(&samples_[place(from_column, from_row)], static_cast<std::size_t>(pixels) * of_.channels_,
                &samples_[place(column, row)]);
  }

  /// Pixels of the picture, to where that column lies here.
  void read_stored(Reprojection& from, const PixelBox& stored, int column) {
    if (stored.width == columns_) {
      from.read(stored,
                samples_.subspan(place(column, stored.top), static_cast<std::size_t>(stored.width) *
                                                                static_cast<std::size_t>(stored.height) * of_.channels_));
      return;
    }
    const std::size_t line = static_cast<std::size_t>(stored.width) * of_.channels_;
    std::vector<float> samples(line * static_cast<std::size_t>(stored.height));
    from.read(stored, samples);
    for (int row = 0; row < stored.height; ++row)
      std::copy_n(&samples[static_cast<std::size_t>(row) * line], line, &samples_[place(column, stored.top + row)]);
  }

  void fill_row_beyond(int row, int nearest, bool is_pole, const std::vector<float>& edge_rows) {
    if (!is_pole) {
      copy(left_, nearest, left_, row, columns_);
      return;
    }
    // Beyond a pole lie the other sides of the rows before it.
    const std::size_t line = static_cast<std::size_t>(of_.width_) * of_.channels_;
    const auto number = std::min(static_cast<std::size_t>(std::abs(row - nearest)), edge_rows.size() / line) - 1;
    const float* const edge = &edge_rows[number * line];
    for (int column = left_; column < left_ + columns_; ++column) {
      const auto across = static_cast<std::size_t>(wrapped(column + of_.width_ / 2));
      std::copy_n(&edge[across * of_.channels_], of_.channels_, &samples_[place(column, row)]);
    }
  }

  /// What the other parts show of the pixels beyond this one's; where none shows anything, all stays as it is.
  void read_neighbours(Reprojection& from, const PixelBox& own) {
    std::vector<FramePlace> places;
    std::vector<std::size_t> at;
    for (int row = top_; row < top_ + rows_; ++row) {
      for (int column = left_; column < left_ + columns_; ++column) {
        const bool is_own = column >= own.left && column < own.left + own.width && row >= own.top && row < own.top + own.height;
        if (is_own) continue;
        places.push_back({(column + 0.5) / of_.width_, 1.0 - (row + 0.5) / of_.height_, true, part_});
        at.push_back(place(column, row));
      }
    }
    if (places.empty()) return;
    std::vector<LensDirection> directions(places.size());
    of_.from_.look(places, directions);
    of_.from_.locate(directions, places);
    std::vector<PicturePoint> points;
    points.reserve(places.size());
    for (const FramePlace& each : places) points.push_back(of_.point_at(each));
    for (int part = 0; part < static_cast<int>(of_.parts_.size()); ++part) {
      if (part == part_) continue;
      const PixelBox& box = of_.parts_[static_cast<std::size_t>(part)];
      int left = box.left + box.width;
      int right = box.left;
      int top = box.top + box.height;
      int bottom = box.top;
      for (PicturePoint& point : points) {
        if (!point.found || point.part != part) continue;
        point.column = std::clamp<double>(point.column, box.left, box.left + box.width - 1);
        point.row = std::clamp<double>(point.row, box.top, box.top + box.height - 1);
        left = std::min(left, static_cast<int>(point.column));
        right = std::max(right, static_cast<int>(point.column) + 2);
        top = std::min(top, static_cast<int>(point.row));
        bottom = std::max(bottom, static_cast<int>(point.row) + 2);
      }
      if (left >= right) continue;
      // The last one's own neighbours count for nothing: it is clamped to the middle of a pixel.
      right = std::min(right, box.left + box.width);
      bottom = std::min(bottom, box.top + box.height);
      std::vector<float> samples(static_cast<std::size_t>(right - left) * static_cast<std::size_t>(bottom - top) *
                                 of_.channels_);
      from.read({left, top, right - left, bottom - top}, samples);
      const auto pixel = [&](int column, int row) {
        const int x = std::min(column, right - 1) - left;
        const int y = std::min(row, bottom - 1) - top;
        return &samples[(static_cast<std::size_t>(y) * static_cast<std::size_t>(right - left) + static_cast<std::size_t>(x)) *
                        of_.channels_];
      };
      for (std::size_t i = 0; i < points.size(); ++i) {
        const PicturePoint& point = points[i];
        if (!point.found || point.part != part) continue;
        const int column = static_cast<int>(point.column);
        const int row = static_cast<int>(point.row);
        const auto x = static_cast<float>(point.column - column);
        const auto y = static_cast<float>(point.row - row);
        for (std::size_t channel = 0; channel < of_.channels_; ++channel)
          samples_[at[i] + channel] =
              (1.0F - y) * ((1.0F - x) * pixel(column, row)[channel] + x * pixel(column + 1, row)[channel]) +
              y * ((1.0F - x) * pixel(column, row + 1)[channel] + x * pixel(column + 1, row + 1)[channel]);
      }
    }
  }

  const Reprojection& of_;
  int part_;
  const PixelBox& box_;
  int left_;
  int top_;
  int columns_;
  int rows_;
  std::span<float> samples_;
};

std::vector<PixelBox> pixels_of_parts(const Lens& lens, int width, int height) {
  std::vector<PixelBox> boxes;
  for (const auto& [left, right, bottom, top] : lens.parts())
    boxes.push_back(whole_pixels(left, right, bottom, top, width, height));
  return boxes;
}

Reprojection::Reprojection(const PicturePixels& picture, const Lens& from, const Lens& to, int to_width, int to_height,
                           PictureFilter filter)
    : picture_(picture),
      from_(from),
      to_(to),
      to_width_(to_width),
      to_height_(to_height),
      width_(picture.width()),
      height_(picture.height()),
      channels_(picture.channels().size()),
      edges_(edges_of(from)),
      parts_(pixels_of_parts(from, width_, height_)),
      to_parts_(pixels_of_parts(to, to_width_, to_height_)),
      filter_(std::move(filter)) {
  has_parts_ = !parts_.empty();
  if (!has_parts_) parts_.push_back({0, 0, width_, height_});
  if (edges_.pole_above) first_rows_ = rows_from(0, 1);
  if (edges_.pole_below) last_rows_ = rows_from(height_ - 1, -1);
}

/// As many rows as the filter reaches, from one of them on, each a step further.
std::vector<float> Reprojection::rows_from(int row, int step) {
  const std::size_t line = static_cast<std::size_t>(width_) * channels_;
  const int count = std::min(filter_.reach(), height_);
  std::vector<float> rows(line * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
    read({0, row + i * step, width_, 1}, std::span(rows).subspan(static_cast<std::size_t>(i) * line, line));
  return rows;
}

void Reprojection::fill(PixelBox part, std::span<float> samples) {
  const int across = (part.width + block_pixels - 1) / block_pixels;
  const int down = (part.height + block_pixels - 1) / block_pixels;
  tbb::parallel_for(0, across * down, [&](int number) {
    const int left = part.left + number % across * block_pixels;
    const int top = part.top + number / across * block_pixels;
    fill_block({left, top, std::min(block_pixels, part.left + part.width - left),
                std::min(block_pixels, part.top + part.height - top)},
               part, samples);
  });
  if (!picture_.is_srgb()) return;
  const std::size_t row = static_cast<std::size_t>(part.width) * channels_;
  tbb::parallel_for(0, part.height, [&](int number) {
    make_srgb(samples.subspan(static_cast<std::size_t>(number) * row, row), channels_, picture_.alpha_channel());
  });
}

void Reprojection::read(const PixelBox& box, std::span<float> samples) {
  picture_.read(box, samples);
  // What is no number, or infinite, times 0 is no number.
  Four sum{};
  std::size_t i = 0;
  for (; i + 4 <= samples.size(); i += 4) sum += four_at(&samples[i]) * 0.0F;
  for (; i < samples.size(); ++i) sum[0] += samples[i] * 0.0F;
  if (!std::isfinite(sum[0] + sum[1] + sum[2] + sum[3])) {
    for (float& sample : samples)
      if (!std::isfinite(sample)) sample = 0.0F;
    broken_ = true;
  }
  if (picture_.is_srgb()) make_linear(samples, channels_, picture_.alpha_channel());
}

/// Whether no pixel of the new frame, nor its neighbours, sees anything, as far as is known at once.
bool Reprojection::is_blank(const PixelBox& box) const {
  return to_.is_blank({(box.left - 1.0) / to_width_, (box.left + box.width + 1.0) / to_width_,
                       1.0 - (box.top + box.height + 1.0) / to_height_, 1.0 - (box.top - 1.0) / to_height_});
}

PicturePoint Reprojection::point_at(const FramePlace& place) const {
  if (!place.found) return {};
  const int part = has_parts_ ? place.part : 0;
  const PixelBox& box = parts_[static_cast<std::size_t>(part)];
  if (box.width < 1 || box.height < 1) return {};
  const double column = place.s * width_ - box.left;
  const double row = (1.0 - place.t) * height_ - box.top;
  const double lost = rounding * std::max(width_, height_);
  const bool in_columns = edges_.goes_round ? std::abs(place.s) < 1e3 : column >= -lost && column <= box.width + lost;
  if (!in_columns || !(row >= -lost && row <= box.height + lost)) return {};
  return {box.left + column - 0.5, box.top + row - 0.5, true, part};
}

std::vector<PicturePoint> Reprojection::points(std::span<const FramePlace> seen_at) const {
  std::vector<LensDirection> directions(seen_at.size());
  to_.look(seen_at, directions);
  std::vector<PicturePoint> points(seen_at.size());
  // Much of a frame may see nothing, and that is quickly told.
  std::vector<std::size_t> numbers;
  numbers.reserve(directions.size());
  std::vector<LensDirection> found;
  found.reserve(directions.size());
  for (std::size_t i = 0; i < directions.size(); ++i) {
    if (!directions[i].found) continue;
    numbers.push_back(i);
    found.push_back(directions[i]);
  }
  std::vector<FramePlace> places(found.size());
  from_.locate(found, places);
  for (std::size_t i = 0; i < places.size(); ++i) points[numbers[i]] = point_at(places[i]);
  return points;
}

void Reprojection::move_near(PicturePoint& point, double column) const {
  if (edges_.goes_round) point.column -= std::round((point.column - column) / width_) * width_;
}

std::vector<Reprojection::Footprint> Reprojection::footprints(PixelBox block, int to_part,
                                                              std::optional<double> near_column) const {
  const int stride = block.width + 2;
  const auto place = [&](double column, double row) {
    return FramePlace{(column + 0.5) / to_width_, 1.0 - (row + 0.5) / to_height_, true, to_part};
  };
  std::vector<FramePlace> seen_at;
  seen_at.resize(static_cast<std::size_t>(stride) * static_cast<std::size_t>(block.height + 2));
  auto next_place = seen_at.begin();
  for (int row = -1; row <= block.height; ++row)
    for (int column = -1; column <= block.width; ++column) *next_place++ = place(block.left + column, block.top + row);
  std::vector<PicturePoint> grid = points(seen_at);
  const auto first = std::ranges::find_if(grid, &PicturePoint::found);
  if (first == grid.end()) return {};
  const double near = near_column.value_or(first->column);
  for (PicturePoint& point : grid) move_near(point, near);

  std::vector<Footprint> prints(static_cast<std::size_t>(block.width) * static_cast<std::size_t>(block.height));
  /// A pixel whose mapping is not smooth, and its samples along each side.
  struct Edge {
    std::size_t number;
    int samples;
  };
  std::vector<Edge> edges;
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
      double farthest = 0.0;
      const auto change = [&](PicturePoint before, PicturePoint after, double& by_column, double& by_row) {
        any = any || before.found || after.found;
        for (PicturePoint* neighbour : {&before, &after}) {
          if (!print.middle.found || !neighbour->found || neighbour->part != print.middle.part) {
            smooth = false;
            continue;
          }
          move_near(*neighbour, print.middle.column);
          farthest = std::max(farthest, std::hypot(neighbour->column - print.middle.column, neighbour->row - print.middle.row));
        }
        if (!smooth) return;
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
      const int samples =
          static_cast<int>(std::clamp(std::ceil(farthest), double{fewest_samples_of_edge}, double{most_samples_of_edge}));
      edges.push_back({number, samples});
      for (int i = 0; i < samples * samples; ++i) {
        const double x = (i % samples + 0.5) / samples - 0.5;
        const int line = i / samples;
        const double y = (line + 0.5) / samples - 0.5;
        seen_at.push_back(place(block.left + column + x, block.top + row + y));
      }
    }
  }
  const std::vector<PicturePoint> more = points(seen_at);
  auto next = more.begin();
  for (const Edge& edge : edges) {
    auto& to = prints[edge.number].points;
    to.assign(next, next + edge.samples * edge.samples);
    next += edge.samples * edge.samples;
    for (PicturePoint& point : to) move_near(point, near);
  }
  return prints;
}

void Reprojection::fill_block(PixelBox block, PixelBox part, std::span<float> samples) {
  const auto output = [&](int column, int row) {
    const std::size_t pixel = static_cast<std::size_t>(row - part.top) * static_cast<std::size_t>(part.width) +
                              static_cast<std::size_t>(column - part.left);
    return samples.data() + pixel * channels_;
  };
  const auto clear = [&](const PixelBox& box) {
    for (int row = box.top; row < box.top + box.height; ++row)
      std::fill_n(output(box.left, row), static_cast<std::size_t>(box.width) * channels_, 0.0F);
  };
  if (is_blank(block)) return clear(block);
  const auto divide = [&](bool across, int at) {
    PixelBox one = block;
    PixelBox other = block;
    (across ? one.width : one.height) = at;
    (across ? other.width : other.height) -= at;
    (across ? other.left : other.top) += at;
    fill_block(one, part, samples);
    fill_block(other, part, samples);
  };
  // Within a part, what its edge pixels see is as smooth as what lies inside.
  int to_part = -1;
  for (std::size_t i = 0; i < to_parts_.size(); ++i) {
    const PixelBox& box = to_parts_[i];
    const std::array from_left{box.left - block.left, box.left + box.width - block.left};
    const std::array from_top{box.top - block.top, box.top + box.height - block.top};
    if (from_left[0] >= block.width || from_left[1] <= 0 || from_top[0] >= block.height || from_top[1] <= 0) continue;
    for (const int at : from_left)
      if (at > 0 && at < block.width) return divide(true, at);
    for (const int at : from_top)
      if (at > 0 && at < block.height) return divide(false, at);
    to_part = static_cast<int>(i);
  }

  constexpr auto cell_width = static_cast<std::size_t>(BlockMapping::cell_pixels);
  constexpr std::size_t cell_size = cell_width * cell_width;
  const BlockMapping mapping([this](auto places) { return points(places); }, block, to_width_, to_height_,
                             edges_.goes_round ? width_ : 0.0, to_part);
  const std::span<const BlockMapping::Cell> cells = mapping.cells();
  std::vector<RoughPixels> rough;
  if (!mapping.has_smooth_cells()) {
    rough.push_back({block, footprints(block, to_part, {})});
  } else {
    // Cells side by side are asked for at once.
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (cells[i].is_smooth) continue;
      PixelBox box = cells[i].pixels;
      const bool blank = is_blank(box);
      while (i + 1 < cells.size() && !cells[i + 1].is_smooth && cells[i + 1].pixels.top == box.top &&
             is_blank(cells[i + 1].pixels) == blank)
        box.width += cells[++i].pixels.width;
      rough.push_back({box, {}});
      if (!blank) rough.back().prints = footprints(box, to_part, mapping.base(0).column);
    }
  }

  /// Of the points of one part.
  struct Extent {
    double left = 1e9;
    double right = -1e9;
    double top = 1e9;
    double bottom = -1e9;

    void add(double column, double row) {
      left = std::min(left, column);
      right = std::max(right, column);
      top = std::min(top, row);
      bottom = std::max(bottom, row);
    }
  };
  std::vector<Extent> extents(parts_.size());
  std::vector<float> columns(cells.size() * cell_size);
  std::vector<float> rows(cells.size() * cell_size);
  const auto of_cell = [](std::vector<float>& numbers, std::size_t cell) {
    return std::span(numbers).subspan(cell * cell_size, cell_size);
  };
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const BlockMapping::Cell& cell = cells[i];
    if (!cell.is_smooth) continue;
    mapping.positions(i, of_cell(columns, i), of_cell(rows, i));
    const auto [left, right] = std::ranges::minmax(of_cell(columns, i));
    const auto [top, bottom] = std::ranges::minmax(of_cell(rows, i));
    // And what is lost in rounding.
    const double beside = (std::abs(cell.across_column) + std::abs(cell.down_column)) / 2.0 + 0.01;
    const double above = (std::abs(cell.across_row) + std::abs(cell.down_row)) / 2.0 + 0.01;
    const auto [first_column, first_row] = mapping.base(cell.part);
    const auto column = static_cast<float>(first_column);
    const auto row = static_cast<float>(first_row);
    Extent& extent = extents[static_cast<std::size_t>(cell.part)];
    extent.add(column + left - beside, row + top - above);
    extent.add(column + right + beside, row + bottom + above);
  }
  for (const auto& [box, prints] : rough) {
    for (const Footprint& print : prints) {
      if (!print.sees()) continue;
      print.for_each([&](int of, double column, double row, float) { extents[static_cast<std::size_t>(of)].add(column, row); });
    }
  }

  std::vector<Pixels> pixels;
  std::vector<std::size_t> of_part(parts_.size());
  std::size_t needed = 0;
  for (std::size_t i = 0; i < extents.size(); ++i) {
    const Extent& extent = extents[i];
    if (!(extent.left <= extent.right)) continue;
    of_part[i] = pixels.size();
    const int beside = filter_.reach() - 1;
    pixels.emplace_back(*this, static_cast<int>(i), static_cast<int>(std::floor(extent.left)) - beside,
                        static_cast<int>(std::floor(extent.top)) - beside,
                        static_cast<int>(std::floor(extent.right)) + 2 + beside,
                        static_cast<int>(std::floor(extent.bottom)) + 2 + beside);
    needed += pixels.back().storage_count();
  }
  if (needed > most_numbers && std::max(block.width, block.height) > least_block_pixels) {
    const bool is_wide = block.width >= block.height;
    return divide(is_wide, (is_wide ? block.width : block.height) / 2);
  }
  // New memory for each block would cost as much as what is read into it.
  std::vector<float> storage = std::exchange(spare_storage_.local(), {});
  storage.resize(std::max(storage.size(), needed));
  std::span<float> rest(storage);
  for (Pixels& each : pixels) {
    each.read(*this, rest.first(each.storage_count()));
    rest = rest.subspan(each.storage_count());
  }
  if (!pixels.empty()) seen_ = true;
  for (const auto& [box, prints] : rough) {
    clear(box);
    for (std::size_t i = 0; i < prints.size(); ++i) {
      if (!prints[i].sees()) continue;
      const int column = static_cast<int>(i) % box.width;
      const int row = static_cast<int>(i) / box.width;
      const std::span<float> sum(output(box.left + column, box.top + row), channels_);
      prints[i].for_each([&](int of, double x, double y, float share) {
        pixels[of_part[static_cast<std::size_t>(of)]].add(x, y, share, sum);
      });
    }
  }
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const BlockMapping::Cell& cell = cells[i];
    if (!cell.is_smooth) continue;
    const Pixels& of = pixels[of_part[static_cast<std::size_t>(cell.part)]];
    const auto [column, row] = mapping.base(cell.part);
    for (float& each : of_cell(columns, i)) each += static_cast<float>(column - of.left());
    for (float& each : of_cell(rows, i)) each += static_cast<float>(row - of.top());
    of.fill(cell, of_cell(columns, i), of_cell(rows, i), output(cell.pixels.left, cell.pixels.top),
            static_cast<std::size_t>(part.width) * channels_);
  }
  spare_storage_.local() = std::move(storage);
}

}  // namespace tool
