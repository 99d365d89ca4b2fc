/// Renders many frames through every camera of a module, all parameters animated, with two threads. Memory and the host's
/// handles in the last tenth of the frames must be what they are in the first, and a frame rendered again must be the same.
///   camera_soak MODULE [FRAMES]

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <malloc.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"

namespace {

using namespace standin;

constexpr int rays_per_thread = 200;
/// Of memory that the allocator keeps for itself, bytes.
constexpr std::size_t allowed_growth = 64 * 1024;

struct Usage {
  std::size_t bytes = 0;
  std::size_t handles = 0;
};

Usage usage_of(const Host& host) {
  return {mallinfo2().uordblks, host.parameters.table.alive() + host.evaluators.table.alive() + host.panels.table.alive()};
}

Scene scene_of_cameras() {
  Scene scene;
  for (int i = 0; i < 13; ++i) {
    Item item;
    item.kind = ItemKind::camera;
    item.id = static_cast<std::uint32_t>(0x30000000 + i);
    item.name = item.given_name = i == 0 ? "Camera" : "Other " + std::to_string(i);
    item.motion[0].keys = {{-3.0, 0.0, Span::linear, {}}, {3.0, 100.0, Span::linear, {}}};
    item.motion[3].keys = {{-1.0, 0.0, Span::linear, {}}, {1.0, 100.0, Span::linear, {}}};
    item.camera.emplace();
    scene.items.push_back(item);
  }
  return scene;
}

/// What two threads see of a frame, as one number that every bit of every ray counts in.
std::uint64_t render(HostedCamera& camera, int frame) {
  FrameOptions options;
  options.motion_blur = true;
  options.motion_steps = 5;
  camera.begin_frame(frame, options);
  std::array<std::uint64_t, 2> sums{};
  const auto trace = [&](std::size_t thread) {
    for (int i = 0; i < rays_per_thread; ++i) {
      const double share = (i + 0.5) / rays_per_thread - 0.5;
      const RayAnswer ray = camera.evaluate({.film_x = 0.02 * share * (thread == 0 ? 1.0 : -1.0),
                                             .film_y = 0.014 * share,
                                             .lens_x = 0.2,
                                             .fractional_time = static_cast<double>(i % 7) / 7.0});
      if (ray.result == 0) continue;
      for (const double number :
           {ray.position.x, ray.position.y, ray.position.z, ray.direction.x, ray.direction.y, ray.direction.z})
        sums[thread] = sums[thread] * 0x9E3779B97F4A7C15U + std::bit_cast<std::uint64_t>(number);
    }
  };
  std::thread other(trace, 1);
  trace(0);
  other.join();
  return sums[0] ^ sums[1];
}

/// Whether all is well.
bool soak(const Module& module, const std::string& server, int frames) {
  Host host(scene_of_cameras());
  HostedCamera camera(host, module, server, "Camera");
  for (VariantParameter* parameter : camera.parameters()) {
    const double value = parameter->at(0.0);
    parameter->set_keys({{0.0, value}, {frames / host.scene().frames_per_second, value * 1.5 + 0.1}});
  }
  // Cameras that show other cameras, and choices besides those to begin with.
  const Panel& panel = camera.panel();
  for (const PanelData& row : panel.data)
    if (row.type == "integer" && panel.choices(row.id).size() > 1) panel.set_integer(row.id, 1);
  camera.init_render();
  const std::uint64_t first_frame = render(camera, 1);
  const int tenth = std::max(1, frames / 10);
  Usage early;
  Usage late;
  for (int frame = 1; frame <= frames; ++frame) {
    render(camera, frame);
    const Usage now = usage_of(host);
    Usage& most = frame <= tenth ? early : late;
    if (frame > tenth && frame <= frames - tenth) continue;
    most = {std::max(most.bytes, now.bytes), std::max(most.handles, now.handles)};
  }
  const bool same = render(camera, 1) == first_frame;
  camera.clean_up();
  const bool flat = late.bytes <= early.bytes + allowed_growth && late.handles == early.handles;
  std::cout << server << ": " << frames << " frames, " << late.handles << " handles (" << early.handles << " at first), "
            << static_cast<long long>(late.bytes) - static_cast<long long>(early.bytes) << " bytes more"
            << (same ? "" : "; THE FIRST FRAME IS ANOTHER ONE NOW") << (flat ? "" : "; IT GROWS") << std::endl;
  for (const std::string& sentence : host.violations()) std::cout << "  " << sentence << '\n';
  return same && flat && host.violations().empty();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::cerr << "camera_soak: give a module and, if wanted, the number of frames\n";
    return 2;
  }
  try {
    const int frames = argc == 3 ? std::stoi(argv[2]) : 2000;
    std::string folder = (std::filesystem::temp_directory_path() / "ovicam-soak-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder can be made in the temporary folder");
    // The exposures that cameras publish go nowhere else.
    setenv("TMPDIR", folder.c_str(), 1);
    bool well = true;
    std::vector<std::string> servers;
    {
      const Host host(scene_of_cameras());
      const Module module(argv[1]);
      for (const Server& server : module.servers())
        if (server.class_name == LWCAMERA_HANDLER_CLASS) servers.push_back(server.name);
    }
    for (const std::string& server : servers) {
      const Module module(argv[1]);
      well = soak(module, server, frames) && well;
    }
    std::filesystem::remove_all(folder);
    return well ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "camera_soak: " << error.what() << '\n';
    return 1;
  }
}
