#include "cameras/twelve_up/twelve_up_cam.h"

#include "cameras/multiview/tile_camera.h"

constexpr framework::TagTable tagInfo3 = framework::tag_table("Quorin 12Up Camera");

namespace TwelveUpCam {

constexpr multiview::TileGrid<3, 4> grid{
    {{{{-1, 6}, {1, 6}}}, {{{1, 3}, {0, 1}, {-1, 3}}}, true},
    {{{{-1, 4}, {0, 1}, {1, 4}}}, {{{3, 8}, {1, 8}, {-1, 8}, {-3, 8}}}, true},
    false,
    false,
};

constexpr auto panel = multiview::tile_panel<12>({"1-1 Camera", "1-2 Camera", "1-3 Camera", "1-4 Camera",  //
                                                  "2-1 Camera", "2-2 Camera", "2-3 Camera", "2-4 Camera",  //
                                                  "3-1 Camera", "3-2 Camera", "3-3 Camera", "3-4 Camera"});

constexpr auto tables =
    multiview::tile_tables<decltype(grid)::tile_count>(server.name, "Quorin12UpCam Oct 28 2026 01:01:33", panel);

constinit framework::HostServices services;

class CameraPlugin final : public multiview::TileCamera<grid> {
 public:
  explicit CameraPlugin(LWItemID item) : TileCamera(tables, services, item) {}
};

#include "framework/camera_thunks.inc"

/// The ray of a film position: evaluation bits, or 0 for none, and then the ray is untouched. Threads: any.
[[gnu::flatten]] OVICAM_EXPORT int C_Evaluate(LWInstance instance, double film_x, double film_y, double lens_x, double lens_y,
                                              double fractional_time, LWCameraEye eye, LWCameraRay* ray,
                                              const LWCameraAccess* access) {
  return Callbacks::evaluate(instance, {{film_x, film_y}, {lens_x, lens_y}, fractional_time, eye}, ray, access);
}

OVICAM_EXPORT int CameraHandler(int version, GlobalFunc* global, void* local, void* server_data) {
  return Callbacks::activate(handler_with(C_Evaluate), {version, global, local, server_data});
}

}  // namespace TwelveUpCam
