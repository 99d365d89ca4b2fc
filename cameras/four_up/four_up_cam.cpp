#include "cameras/four_up/four_up_cam.h"

#include "cameras/multiview/tile_camera.h"

constexpr framework::TagTable tagInfo2 = framework::tag_table("Quorin 4Up Camera");

namespace FourUpCam {

constexpr multiview::TileGrid<2, 2> grid{multiview::halves, multiview::halves, true, true};

constexpr auto panel = multiview::tile_panel<4>({"1-1 Camera", "1-2 Camera", "2-1 Camera", "2-2 Camera"});

constexpr auto tables =
    multiview::tile_tables<decltype(grid)::tile_count>(server.name, "Quorin4UpCam Oct 28 2026 01:01:42", panel);

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

}  // namespace FourUpCam
