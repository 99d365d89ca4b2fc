// Rays per second of a whole render, beside those of Embree's own packets of eight in a bare loop over the same rays: the
// difference is what samples, cameras, shading and the picture file cost. Arguments: the plaza's scene file, and the modules to
// render through; a module for Windows answers through the ray service. Beside the plaza there are a cube alone and a mesh of a
// million triangles. All take turns, and the fastest of each counts, so that a ratio means something on a busy machine.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <vector>

#include "bench/renderer_scenes.h"
#include "standin/remote/ray_service.h"
#include "standin/remote/scratch_folder.h"
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
constexpr int turns = 7;
/// Neighbouring pixels follow each other, as in the renderer: the order of the rays decides what the processor's caches hold.
constexpr int tile_size = 32;
/// The bare loop has the rays of every so many tiles: all of them would measure the machine's memory.
constexpr int tiles_apart = 7;
constexpr std::size_t packet_size = 8;
constexpr std::size_t packets_at_once = 256;

double seconds_of(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct alignas(32) PacketMask {
  std::array<int, packet_size> lanes{};
};

/// Rays in the order of the renderer, eight in a packet.
template <class Packet>
class Packets {
 public:
  template <class SetLane>
  void add(const SetLane& set_lane) {
    const std::size_t lane = count_++ % packet_size;
    if (lane == 0) packets_.push_back({});
    set_lane(packets_.back(), lane);
  }

  std::size_t count() const { return count_; }

  /// Traces copies, so that the rays stay as they are.
  template <class Trace>
  void trace(RTCIntersectContextFlags flags, const Trace& trace_packet) const {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, packets_.size(), packets_at_once),
                      [&](const tbb::blocked_range<std::size_t>& range) {
                        RTCIntersectContext context;
                        rtcInitIntersectContext(&context);
                        context.flags = flags;
                        for (std::size_t i = range.begin(); i < range.end(); ++i) {
                          PacketMask mask;
                          for (std::size_t lane = 0; lane < packet_size; ++lane)
                            mask.lanes[lane] = i * packet_size + lane < count_ ? -1 : 0;
                          Packet packet = packets_[i];
                          trace_packet(mask.lanes.data(), context, packet);
                        }
                      });
  }

 private:
  std::vector<Packet> packets_;
  std::size_t count_ = 0;
};

void set_lane(RTCRay8& packet, std::size_t lane, const RTCRay& ray) {
  packet.org_x[lane] = ray.org_x;
  packet.org_y[lane] = ray.org_y;
  packet.org_z[lane] = ray.org_z;
  packet.tnear[lane] = ray.tnear;
  packet.dir_x[lane] = ray.dir_x;
  packet.dir_y[lane] = ray.dir_y;
  packet.dir_z[lane] = ray.dir_z;
  packet.time[lane] = ray.time;
  packet.tfar[lane] = ray.tfar;
  packet.mask[lane] = ray.mask;
}

/// The rays that are traced for a frame.
struct FrameRays {
  Packets<RTCRayHit8> of_camera;
  /// From lit surfaces towards the lights.
  Packets<RTCRay8> of_shadows;
  /// Of all tiles, also those that are not among the packets.
  std::size_t all = 0;

  std::size_t count() const { return of_camera.count() + of_shadows.count(); }
};

/// Adds the rays of the tile with this corner, in pixels.
void add_tile(const tool::FrameJob& job, int left, int top, bool keep, FrameRays& rays) {
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

  for (const standin::RayAnswer& answer : answers) {
    if (answer.result == 0) continue;
    const auto view = tool::view_ray(job.scene, answer, 0.0);
    if (!view) continue;
    RTCRayHit met;
    tool::RenderScene::set_ray(met, view->position, view->direction, 0.0);
    ++rays.all;
    if (keep) {
      rays.of_camera.add([&](RTCRayHit8& packet, std::size_t lane) {
        set_lane(packet.ray, lane, met.ray);
        packet.hit.geomID[lane] = RTC_INVALID_GEOMETRY_ID;
        packet.hit.instID[0][lane] = RTC_INVALID_GEOMETRY_ID;
      });
    }
    job.scene.trace({&met, 1});
    tool::Hit hit;
    if (!job.scene.find_hit(met, view->position, view->direction, hit)) continue;
    for (const tool::Light& light : job.scene.lighting().lights) {
      const tool::Illumination arriving = light.at(hit.position);
      if (!(dot(hit.shading_normal, arriving.towards) > 0.0 && arriving.strength > 0.0 && light.casts_shadows)) continue;
      RTCRay ray;
      tool::RenderScene::set_ray_from_surface(ray, hit.position, arriving.towards, arriving.distance, 0.0);
      ++rays.all;
      if (keep) rays.of_shadows.add([&](RTCRay8& packet, std::size_t lane) { set_lane(packet, lane, ray); });
    }
  }
}

FrameRays rays_of(const tool::FrameJob& job) {
  FrameRays rays;
  int tile = 0;
  for (int top = 0; top < job.height; top += tile_size)
    for (int left = 0; left < job.width; left += tile_size) add_tile(job, left, top, tile++ % tiles_apart == 0, rays);
  return rays;
}

/// On all threads. Flags that tell Embree that neighbouring rays are alike make some scenes faster and others slower.
double packets_per_second(RTCScene scene, const FrameRays& rays, RTCIntersectContextFlags flags) {
  const double seconds = seconds_of([&] {
    rays.of_camera.trace(flags, [&](const int* valid, RTCIntersectContext& context, RTCRayHit8& packet) {
      rtcIntersect8(valid, scene, &context, &packet);
    });
    rays.of_shadows.trace(flags, [&](const int* valid, RTCIntersectContext& context, RTCRay8& packet) {
      rtcOccluded8(valid, scene, &context, &packet);
    });
  });
  return static_cast<double>(rays.count()) / seconds;
}

struct SceneToRender {
  std::string name;
  std::filesystem::path file;
  std::string camera;
  /// Empty for the scene's own.
  std::string server;
};

struct Result {
  std::string scene;
  std::string module;
  double rendered_per_second = 0.0;
  double packets_per_second = 0.0;

  double ratio() const { return rendered_per_second / packets_per_second; }
};

/// One module's way to the picture.
struct Renderer {
  std::filesystem::path module_file;
  std::unique_ptr<standin::Session> session;
  standin::FrameSetup setup;
  double rendered_per_second = 0.0;

  tool::FrameJob job(const tool::RenderScene& scene) const {
    return {.session = *session,
            .scene = scene,
            .setup = setup,
            .width = width,
            .height = height,
            .part = {0, 0, width, height},
            .samples_per_pixel = samples_per_pixel};
  }
};

std::vector<Renderer> open_renderers(const SceneToRender& scene, const std::vector<std::filesystem::path>& modules,
                                     int first_frame) {
  std::vector<Renderer> renderers;
  for (const auto& module_file : modules) {
    standin::SessionOptions options;
    options.scene_file = scene.file;
    options.module_file = module_file;
    options.camera_name = scene.camera;
    options.server_name = scene.server;
    options.width_pixels = width;
    options.height_pixels = height;
    Renderer& renderer = renderers.emplace_back(Renderer{module_file, standin::open_session_for(options), {}});
    for (const std::string& warning : renderer.session->take_warnings()) std::cerr << "warning: " << warning << '\n';
    renderer.setup = renderer.session->begin_frame(first_frame);
    if (renderer.setup.depth_of_field || renderer.setup.duration_seconds > 0.0)
      throw std::runtime_error(scene.camera +
                               ": the bare loop has no depth of field and no motion blur; choose another camera");
  }
  return renderers;
}

std::vector<Result> compare(const SceneToRender& to_render, const std::vector<std::filesystem::path>& modules,
                            const std::filesystem::path& folder) {
  const standin::Scene scene = standin::read_scene_file(to_render.file);
  std::ostringstream notes;
  tool::RenderScene render_scene(scene, notes);
  std::vector<Renderer> renderers = open_renderers(to_render, modules, scene.first_frame);
  render_scene.set_frame(renderers.front().setup.start_seconds, 0.0);
  const FrameRays rays = rays_of(renderers.front().job(render_scene));

  double bare_per_second = 0.0;
  for (int turn = 0; turn < turns; ++turn) {
    for (const RTCIntersectContextFlags flags : {RTC_INTERSECT_CONTEXT_FLAG_INCOHERENT, RTC_INTERSECT_CONTEXT_FLAG_COHERENT})
      bare_per_second = std::max(bare_per_second, packets_per_second(render_scene.embree_scene(), rays, flags));
    for (Renderer& renderer : renderers) {
      tool::RayCounts counts;
      const unsigned threads = standin::threads_that_ask(renderer.module_file);
      const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
      tbb::task_arena arena(static_cast<int>(threads));
      const double seconds = seconds_of([&] {
        tool::PictureFile picture(folder / "picture.png", {.width = width, .height = height});
        tool::Progress progress(static_cast<double>(width) * height * samples_per_pixel);
        arena.execute([&] { counts = render_frame(renderer.job(render_scene), picture, progress); });
        picture.finish();
      });
      // A shadow ray more or less where the last bit decides whether a light is above a surface's horizon.
      const double share = static_cast<double>(counts.traced) / static_cast<double>(rays.all);
      if (share < 0.9999 || share > 1.0001) {
        throw std::runtime_error("the bare loop has " + std::to_string(rays.all) + " rays, and the render " +
                                 std::to_string(counts.traced));
      }
      renderer.rendered_per_second = std::max(renderer.rendered_per_second, static_cast<double>(counts.traced) / seconds);
    }
  }
  std::vector<Result> results;
  results.reserve(renderers.size());
  for (const Renderer& renderer : renderers) {
    results.push_back(
        {to_render.name, renderer.module_file.filename().string(), renderer.rendered_per_second, bare_per_second});
  }
  return results;
}

void write_json(const std::filesystem::path& file, const std::vector<Result>& results) {
  nlohmann::json rows = nlohmann::json::array();
  for (const Result& result : results) {
    rows.push_back({{"scene", result.scene},
                    {"module", result.module},
                    {"rays_per_second", result.rendered_per_second},
                    {"embree_packet_rays_per_second", result.packets_per_second},
                    {"share_of_embree_packets", result.ratio()}});
  }
  std::ofstream stream(file);
  stream << nlohmann::json{{"renderer", rows}}.dump(2) << '\n';
  if (!stream.flush()) throw std::runtime_error(file.string() + ": cannot be written");
}

}  // namespace

int main(int argc, char** argv) try {
  std::vector<std::string> words(argv + 1, argv + argc);
  std::string json_file;
  if (const auto option = std::ranges::find(words, "--json"); option != words.end() && option + 1 != words.end()) {
    json_file = *(option + 1);
    words.erase(option, option + 2);
  }
  if (words.size() < 2 || std::ranges::any_of(words, [](const std::string& word) { return word.starts_with("--"); })) {
    std::cerr << "Usage: renderer_bench [--json FILE] PLAZA-SCENE MODULE...\n";
    return 2;
  }
  const standin::ScratchFolder scratch("renderer-bench");
  const std::vector<std::filesystem::path> modules(words.begin() + 1, words.end());
  const std::vector<SceneToRender> scenes{{"plaza", words.front(), "Panorama", ""},
                                          {"mesh", bench::write_mesh_scene(scratch.path()), "Front", "QuorinPerspectiveCam"},
                                          {"cube", bench::write_cube_scene(scratch.path()), "Front", "QuorinPerspectiveCam"}};
  std::vector<Result> all;
  std::printf("%-6s %-12s %16s %24s %8s\n", "scene", "module", "rendered rays/s", "rays/s of bare packets", "share");
  for (const SceneToRender& scene : scenes) {
    for (const Result& result : compare(scene, modules, scratch.path())) {
      std::printf("%-6s %-12s %16s %24s %6.0f %%\n", result.scene.c_str(), result.module.c_str(),
                  tool::short_count(result.rendered_per_second).c_str(), tool::short_count(result.packets_per_second).c_str(),
                  100.0 * result.ratio());
      all.push_back(result);
    }
    static_cast<void>(std::fflush(stdout));
  }
  if (!json_file.empty()) write_json(json_file, all);
  return 0;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
