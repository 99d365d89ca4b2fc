// Rays per second of a whole render, beside Embree's in a bare loop over the same rays: the difference is what the module's
// camera, the samples, the shading and the picture file cost. Arguments: a scene, one of its cameras, and the modules to render
// it through; a module for Windows answers through the ray service. The two are measured alternately, and the fastest run of
// each counts, so that the ratio means something on a busy machine.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <unistd.h>
#include <vector>

#include "standin/remote/ray_service.h"
#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/output/picture.h"
#include "tool/output/progress.h"
#include "tool/render/frame_renderer.h"
#include "tool/render/render_scene.h"
#include "tool/render/sampling.h"
#include "tool/render/tracer.h"

namespace {

constexpr int width = 640;
constexpr int height = 360;
constexpr std::uint32_t samples_per_pixel = 8;
constexpr int turns = 3;
/// Neighbouring pixels follow each other, as in the renderer: the order of the rays decides what the processor's caches hold.
constexpr int tile_size = 32;

double seconds_of(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The rays that Embree traces for a frame.
struct FrameRays {
  std::vector<RTCRayHit> of_camera;
  /// From lit surfaces towards the sun.
  std::vector<RTCRay> of_shadows;

  std::size_t count() const { return of_camera.size() + of_shadows.size(); }
};

/// Adds the rays of the tile with this corner, in pixels.
void add_tile(const tool::FrameJob& job, int left, int top, FrameRays& rays) {
  std::vector<standin::RayQuery> queries;
  for (int row = top; row < std::min(top + tile_size, job.height); ++row) {
    for (int column = left; column < std::min(left + tile_size, job.width); ++column) {
      const tool::PixelSamples samples(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row),
                                       job.samples_per_pixel);
      for (std::uint32_t sample = 0; sample < job.samples_per_pixel; ++sample) {
        const tool::PixelPoint point = samples.point(sample);
        queries.push_back({.film_x = ((column + point.x) / job.width - 0.5) * job.setup.film_width,
                           .film_y = (0.5 - (row + point.y) / job.height) * job.setup.film_height});
      }
    }
  }
  std::vector<standin::RayAnswer> answers(queries.size());
  job.session.evaluate(queries, answers);

  std::vector<tool::ViewRay> view_rays;
  for (const standin::RayAnswer& answer : answers) {
    if (answer.result == 0) continue;
    view_rays.push_back({answer.position, normalized(answer.direction)});
    rays.of_camera.push_back(tool::RenderScene::ray_from(answer.position, view_rays.back().direction, 0.0));
  }
  tool::TraceWork work;
  std::vector<standin::Vec3> light(view_rays.size());
  trace_light(job.scene, view_rays, light, work);
  for (RTCRay ray : work.shadow_rays) {
    // Embree has marked those that are blocked.
    ray.tfar = std::numeric_limits<float>::infinity();
    rays.of_shadows.push_back(ray);
  }
}

FrameRays rays_of(const tool::FrameJob& job) {
  FrameRays rays;
  for (int top = 0; top < job.height; top += tile_size)
    for (int left = 0; left < job.width; left += tile_size) add_tile(job, left, top, rays);
  return rays;
}

/// One by one, on all threads.
double bare_seconds(RTCScene scene, FrameRays rays) {
  const auto trace_all = [&](auto& of_kind, const auto& trace) {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, of_kind.size()), [&](const tbb::blocked_range<std::size_t>& range) {
      RTCIntersectContext context;
      rtcInitIntersectContext(&context);
      for (std::size_t i = range.begin(); i < range.end(); ++i) trace(scene, &context, &of_kind[i]);
    });
  };
  return seconds_of([&] {
    trace_all(rays.of_camera, rtcIntersect1);
    trace_all(rays.of_shadows, rtcOccluded1);
  });
}

void compare(const std::filesystem::path& scene_file, const std::string& camera_name, const std::filesystem::path& module_file,
             const std::filesystem::path& picture_file) {
  standin::SessionOptions options;
  options.scene_file = scene_file;
  options.module_file = module_file;
  options.camera_name = camera_name;
  options.width_pixels = width;
  options.height_pixels = height;
  const standin::Scene scene = standin::read_scene_file(scene_file);
  tool::RenderScene render_scene(scene, std::cerr);
  const auto session = standin::open_session_for(options);
  for (const std::string& warning : session->take_warnings()) std::cerr << "warning: " << warning << '\n';
  const tool::FrameJob job{.session = *session,
                           .scene = render_scene,
                           .setup = session->begin_frame(scene.first_frame),
                           .width = width,
                           .height = height,
                           .part = {0, 0, width, height},
                           .samples_per_pixel = samples_per_pixel};
  if (job.setup.depth_of_field || job.setup.duration_seconds > 0.0)
    throw std::runtime_error(camera_name + ": the bare loop has no depth of field and no motion blur; choose another camera");
  render_scene.set_frame(job.setup.start_seconds, job.setup.duration_seconds);

  const FrameRays rays = rays_of(job);
  double rendered_per_second = 0.0;
  double bare_per_second = 0.0;
  for (int turn = 0; turn < turns; ++turn) {
    tool::RayCounts counts;
    const double render_seconds = seconds_of([&] {
      tool::PictureFile picture(picture_file, {.width = width, .height = height});
      tool::Progress progress(static_cast<double>(width) * height * samples_per_pixel);
      counts = render_frame(job, picture, progress);
      picture.finish();
    });
    if (counts.traced != rays.count()) {
      throw std::runtime_error("the bare loop has " + std::to_string(rays.count()) + " rays, and the render " +
                               std::to_string(counts.traced));
    }
    rendered_per_second = std::max(rendered_per_second, static_cast<double>(counts.traced) / render_seconds);
    bare_per_second =
        std::max(bare_per_second, static_cast<double>(rays.count()) / bare_seconds(render_scene.embree_scene(), rays));
  }
  std::printf("%-12s %-14s %10s rays/s rendered, %10s in a bare loop: %3.0f %%\n", camera_name.c_str(),
              module_file.filename().c_str(), tool::short_count(rendered_per_second).c_str(),
              tool::short_count(bare_per_second).c_str(), 100.0 * rendered_per_second / bare_per_second);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 4) {
    std::cerr << "Usage: renderer_bench SCENE CAMERA MODULE...\n";
    return 2;
  }
  const auto picture = std::filesystem::temp_directory_path() / ("ovicam-renderer-bench-" + std::to_string(getpid()) + ".png");
  for (int i = 3; i < argc; ++i) compare(argv[1], argv[2], argv[i], picture);
  std::filesystem::remove(picture);
  return 0;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
