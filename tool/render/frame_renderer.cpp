#include "tool/render/frame_renderer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <tbb/blocked_range2d.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>
#include <utility>
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
/// Of a band, for each thread: few enough that most of the picture is written beside the rendering of what follows, and enough
/// that threads seldom wait for the band's last tile.
constexpr int tiles_for_each_thread = 16;

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
  /// With soft light: of each query.
  std::vector<LightSample> light_samples;
  std::vector<RayAnswer> answers;
  std::vector<PixelSum> sums;
  /// The rays that are traced together, the pixel of each, and the light that it brings.
  std::vector<ViewRay> rays;
  std::vector<std::size_t> pixels;
  std::vector<LightSample> soft;
  std::vector<Vec3> light;
  TraceWork trace;
  RayCounts counts;
};

/// The queries for samples `first` to `end` - 1 of every pixel of a tile, pixel by pixel.
void make_queries(const FrameJob& job, standin::Eye eye, const Tile& tile, std::uint32_t first, std::uint32_t end,
                  Workspace& work) {
  work.queries.resize(static_cast<std::size_t>(tile.pixels()) * (end - first));
  work.light_samples.clear();
  auto query = work.queries.begin();
  for (int row = tile.top; row < tile.bottom; ++row) {
    for (int column = tile.left; column < tile.right; ++column) {
      const PixelSamples samples(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row), job.samples_per_pixel);
      for (std::uint32_t sample = first; sample < end; ++sample, ++query) {
        const PixelPoint point = samples.point(sample);
        query->film_x = job.setup.film_x((column + point.x) / job.width);
        query->film_y = job.setup.film_y((row + point.y) / job.height);
        query->eye = eye;
        const LensSample lens = job.setup.depth_of_field ? samples.lens(sample) : LensSample{0.0, 0.0};
        query->lens_x = lens.x;
        query->lens_y = lens.y;
        query->fractional_time = job.setup.duration_seconds > 0.0 ? samples.time(sample) : 0.0;
        if (job.soft_light) work.light_samples.push_back(samples.light(sample));
      }
    }
  }
}

/// Traces the rays that have been gathered and adds their light to their pixels.
void trace_gathered(const RenderScene& scene, Workspace& work) {
  work.light.resize(work.rays.size());
  trace_light(scene, work.rays, work.soft, work.light, work.trace);
  for (std::size_t i = 0; i < work.rays.size(); ++i) {
    PixelSum& sum = work.sums[work.pixels[i]];
    sum.light = sum.light + work.light[i];
    ++sum.rays;
  }
  work.rays.clear();
  work.pixels.clear();
  work.soft.clear();
}

void render_tile(const FrameJob& job, standin::Eye eye, const Tile& tile, Workspace& work) {
  work.sums.assign(static_cast<std::size_t>(tile.pixels()), {});
  const std::uint32_t samples_at_once = std::max(1U, batch_size / static_cast<std::uint32_t>(tile.pixels()));
  for (std::uint32_t first = 0; first < job.samples_per_pixel; first += samples_at_once) {
    const std::uint32_t end = std::min(job.samples_per_pixel, first + samples_at_once);
    make_queries(job, eye, tile, first, end, work);
    work.answers.resize(work.queries.size());
    job.session.evaluate(work.queries, work.answers);
    work.counts.asked += work.queries.size();
    std::size_t i = 0;
    for (std::size_t pixel = 0; pixel < work.sums.size(); ++pixel) {
      for (std::uint32_t sample = first; sample < end; ++sample, ++i) {
        if (work.answers[i].result == 0) continue;
        if (!set_view_ray(job.scene, work.answers[i], work.queries[i].fractional_time, work.rays.emplace_back())) {
          work.rays.pop_back();
          ++work.counts.broken;
          continue;
        }
        work.pixels.push_back(pixel);
        if (job.soft_light) work.soft.push_back(work.light_samples[i]);
        if (work.rays.size() == rays_at_once) trace_gathered(job.scene, work);
      }
    }
    trace_gathered(job.scene, work);
  }
}

Pixel mean(const PixelSum& sum, std::uint32_t samples) {
  const double scale = 1.0 / samples;
  return {static_cast<float>(sum.light.x * scale), static_cast<float>(sum.light.y * scale),
          static_cast<float>(sum.light.z * scale), static_cast<float>(sum.rays * scale)};
}

bool is_cancelled(const FrameOutput& output) { return output.is_cancelled && output.is_cancelled(); }

using Workspaces = tbb::enumerable_thread_specific<Workspace>;

/// The band's pixels, row by row. Its top is a tile's or the part's.
void render_band(const FrameJob& job, standin::Eye eye, const PixelBox& band, Workspaces& workspaces, const FrameOutput& output,
                 std::vector<Pixel>& pixels) {
  const int right = band.left + band.width;
  const int bottom = band.top + band.height;
  pixels.resize(static_cast<std::size_t>(band.width) * static_cast<std::size_t>(band.height));
  const auto render_tiles = [&](const tbb::blocked_range2d<int>& range) {
    if (is_cancelled(output)) return;
    Workspace& work = workspaces.local();
    const int tile_left = range.cols().begin() * tile_size;
    const int tile_top = range.rows().begin() * tile_size;
    const Tile tile{tile_left, tile_top, std::min(tile_left + tile_size, job.width),
                    std::min(tile_top + tile_size, job.height)};
    render_tile(job, eye, tile, work);
    auto sum = work.sums.cbegin();
    std::uint64_t kept = 0;
    for (int row = tile.top; row < tile.bottom; ++row) {
      for (int column = tile.left; column < tile.right; ++column, ++sum) {
        if (row < band.top || row >= bottom || column < band.left || column >= right) continue;
        const auto band_row = static_cast<std::size_t>(row - band.top) * static_cast<std::size_t>(band.width);
        pixels[band_row + static_cast<std::size_t>(column - band.left)] = mean(*sum, job.samples_per_pixel);
        ++kept;
      }
    }
    output.add_rays(kept * job.samples_per_pixel);
  };
  // Tiles are those of the whole frame, whatever part of it is rendered: which rays are traced together decides their last bit.
  // One tile at a time, so that batches stay whole and the last tiles are spread over the threads.
  tbb::parallel_for(tbb::blocked_range2d<int>(band.top / tile_size, (bottom + tile_size - 1) / tile_size, 1,
                                              band.left / tile_size, (right + tile_size - 1) / tile_size, 1),
                    render_tiles, tbb::simple_partitioner());
}

std::vector<float> layers_of(const FrameJob& job, standin::Eye eye, const PixelBox& band) {
  if (job.layers.empty()) return {};
  return render_layers({job.session, job.scene, job.setup, job.width, job.height, eye, job.layers}, band);
}

/// For each pixel: its layers, the second eye's pixel, and the layers of that.
std::vector<float> joined(std::size_t pixel_count, std::span<const float> layers, std::span<const Pixel> second_pixels,
                          std::span<const float> second_layers) {
  const std::size_t channels = layers.size() / pixel_count;
  std::vector<float> samples;
  samples.reserve(pixel_count * (2 * channels + 4));
  for (std::size_t i = 0; i < pixel_count; ++i) {
    const auto add = [&](std::span<const float> of) {
      for (const float value : of.subspan(i * channels, channels)) samples.push_back(value);
    };
    const Pixel& pixel = second_pixels[i];
    add(layers);
    samples.insert(samples.end(), {pixel.red, pixel.green, pixel.blue, pixel.alpha});
    add(second_layers);
  }
  return samples;
}

/// Where only one eye has a ray, the other one's colours are dark.
void join_red_cyan(std::span<Pixel> left, std::span<const Pixel> right) {
  for (std::size_t i = 0; i < left.size(); ++i)
    left[i] = {left[i].red, right[i].green, right[i].blue, std::max(left[i].alpha, right[i].alpha)};
}

int rows_at_once(int width) {
  const int tiles_across = (width + tile_size - 1) / tile_size;
  return tile_size * std::max(1, tiles_for_each_thread * tbb::this_task_arena::max_concurrency() / tiles_across);
}

/// Rows of the picture, ready to be written.
struct Band {
  std::vector<Pixel> pixels;
  /// Of each pixel, the samples of the other channels.
  std::vector<float> more;
};

/// Memory that bands are rendered with.
struct BandWork {
  Workspaces workspaces;
  std::vector<Pixel> second_pixels;
};

/// What is cancelled meanwhile is not whole.
void render_eyes(const FrameJob& job, const PixelBox& box, BandWork& work, const FrameOutput& output, Band& band) {
  render_band(job, job.eye, box, work.workspaces, output, band.pixels);
  band.more = layers_of(job, job.eye, box);
  if (!job.second_eye) return;
  render_band(job, *job.second_eye, box, work.workspaces, output, work.second_pixels);
  if (is_cancelled(output)) return;
  if (job.red_cyan)
    join_red_cyan(band.pixels, work.second_pixels);
  else
    band.more = joined(band.pixels.size(), band.more, work.second_pixels, layers_of(job, *job.second_eye, box));
}

}  // namespace

RayCounts& RayCounts::operator+=(const RayCounts& other) {
  asked += other.asked;
  broken += other.broken;
  traced += other.traced;
  return *this;
}

std::optional<RayCounts> render_frame(const FrameJob& job, const FrameOutput& output) {
  BandWork work;
  Band band;
  Band next;
  const int part_bottom = job.part.top + job.part.height;
  const int band_rows = rows_at_once(job.part.width);
  const auto box_from = [&](int top) {
    const int bottom = std::min(part_bottom, top / tile_size * tile_size + band_rows);
    return PixelBox{job.part.left, top, job.part.width, bottom - top};
  };
  PixelBox box = box_from(job.part.top);
  render_eyes(job, box, work, output, band);
  for (bool is_last = false; !is_last;) {
    if (is_cancelled(output)) return std::nullopt;
    // One thread writes a band while the others render the next one.
    tbb::task_group rendering;
    const int top = box.top + box.height;
    is_last = top == part_bottom;
    if (!is_last) {
      box = box_from(top);
      rendering.run([&] { render_eyes(job, box, work, output, next); });
    }
    output.write_rows(band.pixels, band.more);
    rendering.wait();
    std::swap(band, next);
  }
  RayCounts counts;
  for (const Workspace& of_thread : work.workspaces) {
    counts += of_thread.counts;
    counts.traced += of_thread.trace.traced;
  }
  return counts;
}

RayCounts render_frame(const FrameJob& job, PictureFile& picture, Progress& progress) {
  const FrameOutput output{[&](std::span<const Pixel> rows, std::span<const float> more) { picture.write_rows(rows, more); },
                           [&](std::uint64_t rays) { progress.add(rays); }};
  return render_frame(job, output).value();
}

}  // namespace tool
