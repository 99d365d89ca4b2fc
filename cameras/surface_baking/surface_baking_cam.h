#pragma once

#include <cstdint>

#include "cameras/surface_baking/coverage_grid.h"
#include "framework/lens.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo21;
}

/// The frame laid over a texture map of one of the scene's objects: a pixel belongs to the surface that has the pixel's place
/// on the map. As yet the camera only tells pixels with a surface from those without. The module carries it without offering
/// it to the host.
namespace BakingCam {

struct Settings {
  /// Metres. Not read as yet, like the border and the direction's reference.
  double offset_from_surface = 0.0001;
  double uv_border = 0.0;
  /// 0: none; n: the host's n-th object file.
  std::uint32_t mesh_index = 0;
  /// 0: none; n: the host's n-th texture map.
  std::uint32_t uv_map_index = 0;
  /// 0 polygon normal, 1 smoothed normal, 2 mesh origin, 3 camera position.
  std::uint32_t direction_reference = 1;
  /// Which side of the film the map's side is as long as: 0 the width, 1 the height; with 2 each has its own.
  std::uint32_t fit_mode = 2;
  /// Words of the panel that are true unless 0.
  std::uint32_t flip_uv_y = 0;
  std::uint32_t bake_surroundings = 0;

  friend bool operator==(const Settings&, const Settings&) = default;
};

/// The map's position that a film position shows; the map's middle lies on the film's. Threads: any.
inline Uv<double> uv_of_film(const Settings& settings, framework::Film film, framework::FilmPoint at) {
  const double across = settings.fit_mode == 1 ? film.height : film.width;
  const double up = settings.fit_mode == 0 ? film.width : film.height;
  const Uv<double> uv{at.x / across + 0.5, at.y / up + 0.5};
  return {uv.u, settings.flip_uv_y != 0 ? 1.0 - uv.v : uv.v};
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace BakingCam
