#include "cameras/dual/dual_cam.h"

#include "cameras/multiview/tile_camera.h"

constexpr framework::TagTable tagInfo1 = framework::tag_table("Quorin Dual Camera");

namespace MultiCam {

constexpr multiview::TileGrid<1, 2> grid{multiview::single_band, multiview::halves, false, true};

using Row = framework::PanelRow<multiview::TileChoices<2>>;
constexpr std::array panel{
    Row::logo(0x8000),
    Row::version(0x8002),
    multiview::tile_popup<2>(0, "Cam 1 (Left Side of Frame)", "Left Camera"),
    multiview::tile_popup<2>(1, "Cam 2 (Right Side of Frame)", "Right Camera"),
};

constexpr auto tables =
    multiview::tile_tables<decltype(grid)::tile_count>(server.name, "QormMultiCam Oct 28 2026 01:02:33", panel);

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

}  // namespace MultiCam
