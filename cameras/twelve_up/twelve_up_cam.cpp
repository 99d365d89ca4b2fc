#include "cameras/twelve_up/twelve_up_cam.h"

#include "cameras/multiview/tile_instance.h"

namespace TwelveUpCam {

struct Camera {
  static constexpr const char* server_name = "Quorin12UpCam";
  static constexpr const char* description = "Quorin12UpCam Oct 28 2026 01:01:33";
  static constexpr unsigned flags = LWCAMFLAG_DEPTH_OF_FIELD;

  static constexpr multiview::TileGrid<3, 4> grid{
      {{{{-1, 6}, {1, 6}}}, {{{1, 3}, {0, 1}, {-1, 3}}}, true},
      {{{{-1, 4}, {0, 1}, {1, 4}}}, {{{3, 8}, {1, 8}, {-1, 8}, {-3, 8}}}, true},
  };
};

using CameraPlugin = multiview::TileInstance<Camera>;

constexpr multiview::TilePanel<12> panel_rows{{{
    {"1-1 Camera", "1-1 Camera"},
    {"1-2 Camera", "1-2 Camera"},
    {"1-3 Camera", "1-3 Camera"},
    {"1-4 Camera", "1-4 Camera"},
    {"2-1 Camera", "2-1 Camera"},
    {"2-2 Camera", "2-2 Camera"},
    {"2-3 Camera", "2-3 Camera"},
    {"2-4 Camera", "2-4 Camera"},
    {"3-1 Camera", "3-1 Camera"},
    {"3-2 Camera", "3-2 Camera"},
    {"3-3 Camera", "3-3 Camera"},
    {"3-4 Camera", "3-4 Camera"},
}}};

LWXPanelDrawFunc PanelControlDrawFunc;
LWXPanelPopCountFunc PanelPopCount;
LWXPanelPopNameFunc PanelPopName;

constexpr auto panel_hints = multiview::panel_hints_of(panel_rows, PanelControlDrawFunc, PanelPopCount, PanelPopName);

#include "cameras/multiview/multiview_activation.inc"

}  // namespace TwelveUpCam
