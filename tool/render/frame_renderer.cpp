#include "tool/render/frame_renderer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <tbb/blocked_range2d.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <vector>

#include "tool/render/sampling.h"
#include "tool/render/tracer.h"

namespace tool {
namespace {

using standin::RayAnswer;
using standin::RayQuery;
using standin::Vec3;

constexpr int tile_size = 32;
/// Large enough to make the round trip to another process worthwhile, and small enough for each thread's memory.
constexpr std::uint32_t batch_size = 16384;
/// Rays that are traced together: few enough for the processor's first-level caches.
constexpr std::size_t rays_at_once = 256;
/// Limit for the rows that are in memory at once.
constexpr std::size_t band_bytes = std::size_t{64} << 20;

struct Tile {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  int pixels() const { return (right - left) * (bottom - top); }
};

/// Light and count of a pixel's rays, before they are divided by the number of samples.
struct PixelSum {
  Vec3 light;
  std::uint32_t rays = 0;
};

/// Memory of one thread.
struct Workspace {
  std::vector<RayQuery> queries;
  std::vector<RayAnswer> answers;
  std::vector<PixelSum> sums;
  /// The rays that are traced together, the pixel of each, and the light that it brings.
  std::vector<ViewRay> rays;
  std::vector<std::size_t> pixels;
  std::vector<Vec3> light;
  TraceWork trace;
  RayCounts counts;
};

bool finite(Vec3 v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

/// None when the ray cannot be traced.
std::optional<ViewRay> usable(const RayAnswer& answer, double fractional_time) {
  if (!finite(answer.position)) return std::nullopt;
  const double squared = dot(answer.direction, answer.direction);
  if (squared > 1e-200 && squared < 1e200)
    return ViewRay{answer.position, answer.direction * (1.0 / std::sqrt(squared)), fractional_time};
  // The square of a very large or very small number does not fit a double.
  const double largest = std::max({std::abs(answer.direction.x), std::abs(answer.direction.y), std::abs(answer.direction.z)});
  if (!finite(answer.direction) || largest == 0.0) return std::nullopt;
  const Vec3 scaled{answer.direction.x / largest, answer.direction.y / largest, answer.direction.z / largest};
  return ViewRay{answer.position, normalized(scaled), fractional_time};
}

/// The queries for samples `first` to `end` - 1 of every pixel of a tile, pixel by pixel.
void make_queries(const FrameJob& job, const Tile& tile, std::uint32_t first, std::uint32_t end,
                  std::vector<RayQuery>& queries) {
  queries.resize(static_cast<std::size_t>(tile.pixels()) * (end - first));
  auto query = queries.begin();
  for (int row = tile.top; row < tile.bottom; ++row) {
    for (int column = tile.left; column < tile.right; ++column) {
      const PixelSamples samples(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row), job.samples_per_pixel);
      for (std::uint32_t sample = first; sample < end; ++sample, ++query) {
        const PixelPoint point = samples.point(sample);
        *query = {.film_x = ((column + point.x) / job.width - 0.5) * job.setup.film_width,
                  .film_y = (0.5 - (row + point.y) / job.height) * job.setup.film_height,
                  .eye = job.eye};
        if (job.setup.depth_of_field) {
          const LensSample lens = samples.lens(sample);
          query->lens_x = lens.x;
          query->lens_y = lens.y;
        }
        if (job.setup.duration_seconds > 0.0) query->fractional_time = samples.time(sample);
      }
    }
  }
}

/// Traces the rays that have been gathered and adds their light to their pixels.
void trace_gathered(const RenderScene& scene, Workspace& work) {
  work.light.resize(work.rays.size());
  trace_light(scene, work.rays, work.light, work.trace);
  for (std::size_t i = 0; i < work.rays.size(); ++i) {
    PixelSum& sum = work.sums[work.pixels[i]];
    sum.light = sum.light + work.light[i];
    ++sum.rays;
  }
  work.rays.clear();
  work.pixels.clear();
}

void render_tile(const FrameJob& job, const Tile& tile, Workspace& work) {
  work.sums.assign(static_cast<std::size_t>(tile.pixels()), {});
  const std::uint32_t samples_at_once = std::max(1U, batch_size / static_cast<std::uint32_t>(tile.pixels()));
  for (std::uint32_t first = 0; first < job.samples_per_pixel; first += samples_at_once) {
    const std::uint32_t end = std::min(job.samples_per_pixel, first + samples_at_once);
    make_queries(job, tile, first, end, work.queries);
    work.answers.resize(work.queries.size());
    job.session.evaluate(work.queries, work.answers);
    work.counts.asked += work.queries.size();
    for (std::size_t i = 0; i < work.answers.size(); ++i) {
      if (work.answers[i].result == 0) continue;
      const auto ray = usable(work.answers[i], work.queries[i].fractional_time);
      if (!ray) {
        ++work.counts.broken;
        continue;
      }
      work.rays.push_back(*ray);
      work.pixels.push_back(i / (end - first));
      if (work.rays.size() == rays_at_once) trace_gathered(job.scene, work);
    }
    trace_gathered(job.scene, work);
  }
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

RayCounts& RayCounts::operator+=(const RayCounts& other) {
  asked += other.asked;
  broken += other.broken;
  traced += other.traced;
  return *this;
}

RayCounts render_frame(const FrameJob& job, PictureFile& picture, Progress& progress) {
  tbb::enumerable_thread_specific<Workspace> workspaces;
  const PixelBox& part = job.part;
  const int part_right = part.left + part.width;
  const int part_bottom = part.top + part.height;
  // Tiles are those of the whole frame, whatever part of it is rendered: which rays are traced together decides their last bit.
  const int first_tile_column = part.left / tile_size;
  const int end_tile_column = (part_right + tile_size - 1) / tile_size;
  const int band_rows = rows_at_once(part.width);
  std::vector<Pixel> band;

  for (int band_top = part.top; band_top < part_bottom;) {
    const int band_bottom = std::min(part_bottom, band_top / tile_size * tile_size + band_rows);
    band.resize(static_cast<std::size_t>(part.width) * static_cast<std::size_t>(band_bottom - band_top));
    const auto render_tiles = [&](const tbb::blocked_range2d<int>& range) {
      Workspace& work = workspaces.local();
      const int left = range.cols().begin() * tile_size;
      const int top = range.rows().begin() * tile_size;
      const Tile tile{left, top, std::min(left + tile_size, job.width), std::min(top + tile_size, job.height)};
      render_tile(job, tile, work);
      auto sum = work.sums.cbegin();
      std::uint64_t kept = 0;
      for (int row = tile.top; row < tile.bottom; ++row) {
        for (int column = tile.left; column < tile.right; ++column, ++sum) {
          if (row < band_top || row >= band_bottom || column < part.left || column >= part_right) continue;
          const auto band_row = static_cast<std::size_t>(row - band_top) * static_cast<std::size_t>(part.width);
          band[band_row + static_cast<std::size_t>(column - part.left)] = mean(*sum, job.samples_per_pixel);
          ++kept;
        }
      }
      progress.add(kept * job.samples_per_pixel);
    };
    // One tile at a time, so that batches stay whole and the last tiles are spread over the threads.
    tbb::parallel_for(tbb::blocked_range2d<int>(band_top / tile_size, (band_bottom + tile_size - 1) / tile_size, 1,
                                                first_tile_column, end_tile_column, 1),
                      render_tiles, tbb::simple_partitioner());
    picture.write_rows(band);
    band_top = band_bottom;
  }
  RayCounts counts;
  for (const Workspace& work : workspaces) {
    counts += work.counts;
    counts.traced += work.trace.traced;
  }
  return counts;
}

}  // namespace tool
