#pragma once

#include <array>
#include <vector>

#include "samples/scene_text.h"

namespace samples {

/// Metres above the plaza: where most cameras stand.
inline constexpr double eye_height = 1.6;

/// Plain cameras all over the plaza, then one camera for each picture of the gallery, with its saved settings.
/// `convergence_point` counts the scene's objects from 1 to the one that the converging stereo camera aims at, `baked_object`
/// the object files to the one that the baking camera shows. Threads: any.
std::vector<SceneCamera> gallery_cameras(unsigned convergence_point, unsigned baked_object);

/// Where the charts scene has the board with the grid, the hall by itself, and the cube: each too far from the others' cameras
/// to be seen.
inline constexpr std::array<double, 3> board_place{2000.0, 0.0, 0.0};
inline constexpr std::array<double, 3> lone_hall_place{-2000.0, 0.0, 0.0};
inline constexpr std::array<double, 3> cube_place{0.0, 0.0, -20000.0};

/// The cameras of the charts scene. Threads: any.
std::vector<SceneCamera> chart_cameras();

}  // namespace samples
