#include "cameras/dual/dual_cam.h"

#include "cameras/multiview/tile_instance.h"

namespace MultiCam {

struct Camera {
  static constexpr const char* server_name = "QuorinMultiCam";
  static constexpr const char* description = "QormMultiCam Oct 28 2026 01:02:33";
  static constexpr unsigned flags = LWCAMFLAG_DEPTH_OF_FIELD;

  static constexpr multiview::TileGrid<1, 2> grid{multiview::single_band, multiview::halves};
};

using CameraPlugin = multiview::TileInstance<Camera>;

constexpr multiview::TilePanel<2> panel_rows{{{
    {"Left Camera", "Cam 1 (Left Side of Frame)"},
    {"Right Camera", "Cam 2 (Right Side of Frame)"},
}}};

LWXPanelDrawFunc PanelControlDrawFunc;
LWXPanelPopCountFunc PanelPopCount;
LWXPanelPopNameFunc PanelPopName;

constexpr auto panel_hints = multiview::panel_hints_of(panel_rows, PanelControlDrawFunc, PanelPopCount, PanelPopName);

#include "cameras/multiview/multiview_activation.inc"

}  // namespace MultiCam
