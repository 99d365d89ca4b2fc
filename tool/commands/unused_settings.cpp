#include "tool/commands/unused_settings.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "standin/remote/ray_service.h"
#include "tool/render/frame_probe.h"

namespace tool {
namespace {

std::vector<std::vector<standin::RayAnswer>> rays_of_all_eyes(standin::Session& session, const standin::FrameSetup& setup) {
  std::vector<std::vector<standin::RayAnswer>> rays;
  for (const standin::Eye eye : {standin::Eye::centre, standin::Eye::left, standin::Eye::right})
    rays.push_back(probe_frame(session, setup, eye));
  return rays;
}

}  // namespace

FramesWithoutASetting::FramesWithoutASetting(const standin::SessionOptions& options, int frame) {
  std::vector<std::pair<std::string, standin::SessionOptions>> ways;
  for (std::size_t i = 0; i < options.settings.size(); ++i) {
    const auto& [name, value] = options.settings[i];
    auto& others = ways.emplace_back("--set " + name + "=" + value, options).second;
    others.settings.erase(std::next(others.settings.begin(), static_cast<std::ptrdiff_t>(i)));
  }
  if (options.turn.radians != standin::Vec3()) ways.emplace_back("--turn", options).second.turn.radians = {};
  if (options.turn.zoom != 1.0) ways.emplace_back("--zoom", options).second.turn.zoom = 1.0;
  for (const auto& [option, others] : ways) {
    const auto session = standin::open_session_for(others);
    standin::FrameSetup setup = session->begin_frame(frame);
    auto rays = rays_of_all_eyes(*session, setup);
    all_.push_back({option, std::move(setup), std::move(rays)});
  }
}

void FramesWithoutASetting::add_unused(standin::Session& session, const standin::FrameSetup& setup, Warnings& warnings) const {
  if (all_.empty()) return;
  const auto rays = rays_of_all_eyes(session, setup);
  for (const Without& without : all_)
    if (without.setup.film_width == setup.film_width && without.setup.film_height == setup.film_height &&
        without.setup.depth_of_field == setup.depth_of_field && std::ranges::equal(without.rays, rays, same_rays))
      warnings.add(without.setting + " changes no ray of frame " + std::to_string(setup.frame));
}

}  // namespace tool
