#include "cameras/four_up/four_up_cam.h"

#include "cameras/multiview/tile_instance.h"

namespace FourUpCam {

struct Camera {
  static constexpr const char* server_name = "Quorin4UpCam";
  static constexpr const char* description = "Quorin4UpCam Oct 28 2026 01:01:42";
  static constexpr unsigned flags = LWCAMFLAG_DEPTH_OF_FIELD;

  static constexpr multiview::TileGrid<2, 2> grid{multiview::halves, multiview::halves};
};

using CameraPlugin = multiview::TileInstance<Camera>;

constexpr multiview::TilePanel<4> panel_rows{{{
    {"1-1 Camera", "1-1 Camera"},
    {"1-2 Camera", "1-2 Camera"},
    {"2-1 Camera", "2-1 Camera"},
    {"2-2 Camera", "2-2 Camera"},
}}};

LWXPanelDrawFunc PanelControlDrawFunc;
LWXPanelPopCountFunc PanelPopCount;
LWXPanelPopNameFunc PanelPopName;

constexpr auto panel_hints = multiview::panel_hints_of(panel_rows, PanelControlDrawFunc, PanelPopCount, PanelPopName);

#include "cameras/multiview/multiview_activation.inc"

}  // namespace FourUpCam
