#include "tool/frame_renderer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <optional>
#include <tbb/blocked_range2d.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <vector>

#include "tool/sampling.h"
#include "tool/tracer.h"

namespace tool {
namespace {

using standin::RayAnswer;
using standin::RayQuery;
using standin::Vec3;

constexpr int tile_size = 32;
/// Enough for a session in another process to be worth the way there, and little memory per thread.
constexpr std::uint32_t batch_size = 16384;
/// Rows that are held in memory at once stay below this.
constexpr std::size_t band_bytes = std::size_t{64} << 20;

struct Tile {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  int pixels() const { return (right - left) * (bottom - top); }
};

struct Batch {
  std::vector<RayQuery> queries;
  std::vector<RayAnswer> answers;
};

struct UsableRay {
  Vec3 position;
  Vec3 direction;
};

bool finite(Vec3 v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

/// None when the tracer could do nothing with the ray.
std::optional<UsableRay> usable(const RayAnswer& answer) {
  // Numbers at the edge of what a double holds would overflow while the length is taken.
  const double largest = std::max({std::abs(answer.direction.x), std::abs(answer.direction.y), std::abs(answer.direction.z)});
  if (!finite(answer.position) || !finite(answer.direction) || largest == 0.0) return std::nullopt;
  const Vec3 scaled{answer.direction.x / largest, answer.direction.y / largest, answer.direction.z / largest};
  return UsableRay{answer.position, normalized(scaled)};
}

RayQuery query_at(const FrameJob& job, int column, int row, const PixelSample& sample) {
  RayQuery query;
  query.film_x = ((column + sample.x) / job.width - 0.5) * job.setup.film_width;
  query.film_y = (0.5 - (row + sample.y) / job.height) * job.setup.film_height;
  if (job.setup.depth_of_field) {
    query.lens_x = sample.lens_x;
    query.lens_y = sample.lens_y;
  }
  if (job.setup.duration_seconds > 0.0) query.fractional_time = sample.time;
  query.eye = job.eye;
  return query;
}

/// Light and count of a pixel's rays, before they are divided by the number of samples.
struct PixelSum {
  Vec3 light;
  std::uint32_t rays = 0;
};

std::uint64_t render_tile(const FrameJob& job, const Tile& tile, Batch& batch, std::vector<PixelSum>& sums) {
  std::uint64_t broken = 0;
  sums.assign(static_cast<std::size_t>(tile.pixels()), {});
  const std::uint32_t samples_at_once = std::max(1U, batch_size / static_cast<std::uint32_t>(tile.pixels()));
  for (std::uint32_t first = 0; first < job.samples_per_pixel; first += samples_at_once) {
    const std::uint32_t end = std::min(job.samples_per_pixel, first + samples_at_once);
    batch.queries.clear();
    for (int row = tile.top; row < tile.bottom; ++row) {
      for (int column = tile.left; column < tile.right; ++column) {
        for (std::uint32_t sample = first; sample < end; ++sample) {
          batch.queries.push_back(query_at(job, column, row,
                                           pixel_sample(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row),
                                                        sample, job.samples_per_pixel)));
        }
      }
    }
    batch.answers.assign(batch.queries.size(), {});
    job.session.evaluate(batch.queries, batch.answers);
    for (std::size_t i = 0; i < batch.answers.size(); ++i) {
      if (batch.answers[i].result == 0) continue;
      const auto ray = usable(batch.answers[i]);
      if (!ray) {
        ++broken;
        continue;
      }
      PixelSum& sum = sums[i / (end - first)];
      sum.light = sum.light + radiance(job.scene, ray->position, ray->direction, batch.queries[i].fractional_time);
      ++sum.rays;
    }
  }
  return broken;
}

Pixel mean(const PixelSum& sum, std::uint32_t samples) {
  const double scale = 1.0 / samples;
  return {static_cast<float>(sum.light.x * scale), static_cast<float>(sum.light.y * scale),
          static_cast<float>(sum.light.z * scale), static_cast<float>(sum.rays * scale)};
}

int rows_at_once(int width) {
  const std::size_t rows = band_bytes / (sizeof(Pixel) * static_cast<std::size_t>(width));
  return std::max(tile_size, static_cast<int>(rows) / tile_size * tile_size);
}

}  // namespace

RayCounts render_frame(const FrameJob& job, PictureFile& picture, Progress& progress) {
  std::atomic<std::uint64_t> asked = 0;
  std::atomic<std::uint64_t> broken = 0;
  struct Workspace {
    Batch batch;
    std::vector<PixelSum> sums;
  };
  tbb::enumerable_thread_specific<Workspace> workspaces;
  const int band_rows = std::min(job.height, rows_at_once(job.width));
  std::vector<Pixel> band(static_cast<std::size_t>(job.width) * static_cast<std::size_t>(band_rows));

  for (int band_top = 0; band_top < job.height; band_top += band_rows) {
    const int band_bottom = std::min(job.height, band_top + band_rows);
    const int tile_rows = (band_bottom - band_top + tile_size - 1) / tile_size;
    const int tile_columns = (job.width + tile_size - 1) / tile_size;
    const auto render_tiles = [&](const tbb::blocked_range2d<int>& range) {
      auto& [batch, sums] = workspaces.local();
      const int left = range.cols().begin() * tile_size;
      const int top = band_top + range.rows().begin() * tile_size;
      const Tile tile{left, top, std::min(left + tile_size, job.width), std::min(top + tile_size, band_bottom)};
      broken += render_tile(job, tile, batch, sums);
      const std::uint64_t rays = static_cast<std::uint64_t>(tile.pixels()) * job.samples_per_pixel;
      asked += rays;
      progress.add(rays);
      auto sum = sums.cbegin();
      for (int row = tile.top; row < tile.bottom; ++row) {
        const auto band_row = static_cast<std::size_t>(row - band_top) * static_cast<std::size_t>(job.width);
        for (int column = tile.left; column < tile.right; ++column) {
          band[band_row + static_cast<std::size_t>(column)] = mean(*sum++, job.samples_per_pixel);
        }
      }
    };
    // One tile at a time, so that the batches stay whole and the last tiles are shared out.
    tbb::parallel_for(tbb::blocked_range2d<int>(0, tile_rows, 1, 0, tile_columns, 1), render_tiles, tbb::simple_partitioner());
    picture.write_rows(
        std::span(band).first(static_cast<std::size_t>(job.width) * static_cast<std::size_t>(band_bottom - band_top)));
  }
  return {asked, broken};
}

}  // namespace tool
