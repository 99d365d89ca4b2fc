#include "module/server_table.h"

#include <cstddef>
#include <initializer_list>

#include "cameras/advanced_panoramic/advanced_panoramic_cam.h"
#include "cameras/cylinder/cylinder_cam.h"
#include "cameras/dual/dual_cam.h"
#include "cameras/fisheye/fisheye_cam.h"
#include "cameras/four_up/four_up_cam.h"
#include "cameras/immersive/immersive_cam.h"
#include "cameras/overscan/overscan_cam.h"
#include "cameras/panoramic/panoramic_cam.h"
#include "cameras/perspective/perspective_cam.h"
#include "cameras/radial_shift/radial_shift_cam.h"
#include "cameras/skybox/skybox_cam.h"
#include "cameras/spherical/spherical_cam.h"
#include "cameras/stereo/stereo_cam.h"
#include "cameras/twelve_up/twelve_up_cam.h"
#include "sdk/handlers.h"

namespace {

using TagInfo = std::array<ServerTagInfo, 3>;

constexpr TagInfo user_name(const char* name) {
  return {{{name, SRVTAG_USERNAME_US}, {name, SRVTAG_USERNAME_UK}, {nullptr, 0}}};
}

/// A camera as the host offers it: one server name, one user name, three classes.
struct CameraServer {
  const char* name;
  ActivateFunc* handler;
  ActivateFunc* interface_;
  ActivateFunc* gizmo;
  const TagInfo* tags;
};

constexpr auto server_records(const std::array<CameraServer, module::camera_count>& cameras) {
  std::array<ServerRecord, module::server_count + 1> records{};
  std::size_t next = 0;
  for (const CameraServer& camera : cameras) {
    records[next++] = {LWCAMERA_HANDLER_CLASS, camera.name, camera.handler, camera.tags->data()};
    records[next++] = {LWCAMERA_INTERFACE_CLASS, camera.name, camera.interface_, camera.tags->data()};
    records[next++] = {LWCAMERA_GIZMO_CLASS, camera.name, camera.gizmo, camera.tags->data()};
  }
  return records;
}

}  // namespace

extern "C" {

OVICAM_EXPORT extern constexpr TagInfo tagInfo1 = user_name("Quorin Dual Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo2 = user_name("Quorin 4Up Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo3 = user_name("Quorin 12Up Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo4 = user_name("Quorin Stereo Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo5 = user_name("Quorin Skybox Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo6 = user_name("Quorin Panoramic Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo7 = user_name("Quorin Cylinder Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo8 = user_name("Quorin Perspective");
OVICAM_EXPORT extern constexpr TagInfo tagInfo9 = user_name("Quorin Fisheye Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo10 = user_name("Quorin No DoF");
OVICAM_EXPORT extern constexpr TagInfo tagInfo11 = user_name("Quorin No DoF No MB");
OVICAM_EXPORT extern constexpr TagInfo tagInfo12 = user_name("Quorin SuperPano Camera");
// 13, 14, 15 and 21 belong to servers that are not registered; they stay as data.
OVICAM_EXPORT extern constexpr TagInfo tagInfo13 = user_name("Quorin Camera Master");
OVICAM_EXPORT extern constexpr TagInfo tagInfo14 = user_name("Quorin MultiCam Imagesaver");
OVICAM_EXPORT extern constexpr TagInfo tagInfo15 = user_name("Quorin DoF No MB");
OVICAM_EXPORT extern constexpr TagInfo tagInfo18 = user_name("Quorin Overscan Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo19 = user_name("Quorin DPI Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo20 = user_name("Quorin Radial Shift Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo21 = user_name("Quorin Surface Baking Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo22 = user_name("Quorin Spherical Camera");
OVICAM_EXPORT extern constexpr TagInfo tagInfo24 = user_name("Quorin Immersive Camera");

// Made by the compiler: nothing runs, and nothing can throw, when the module is loaded.
// NOLINTNEXTLINE(cert-err58-cpp)
OVICAM_EXPORT extern constinit const std::array<ServerRecord, module::server_count + 1> ServerDesc = server_records({{
    {"QuorinMultiCam", MultiCam::CameraHandler, MultiCam::CameraInterface, MultiCam::CameraGizmo, &tagInfo1},
    {"Quorin4UpCam", FourUpCam::CameraHandler, FourUpCam::CameraInterface, FourUpCam::CameraGizmo, &tagInfo2},
    {"Quorin12UpCam", TwelveUpCam::CameraHandler, TwelveUpCam::CameraInterface, TwelveUpCam::CameraGizmo, &tagInfo3},
    {"QuorinStereoCam", StereoCam::CameraHandler, StereoCam::CameraInterface, StereoCam::CameraGizmo, &tagInfo4},
    {"QuorinSkyboxCam", SkyboxCam::CameraHandler, SkyboxCam::CameraInterface, SkyboxCam::CameraGizmo, &tagInfo5},
    {"QuorinPanoramicCam", PanoramicCam::CameraHandler, PanoramicCam::CameraInterface, PanoramicCam::CameraGizmo, &tagInfo6},
    {"QuorinCylinderCam", CylinderCam::CameraHandler, CylinderCam::CameraInterface, CylinderCam::CameraGizmo, &tagInfo7},
    {"QuorinPerspectiveCam", PerspectiveCam::CameraHandler_DOF_MB, PerspectiveCam::CameraInterface, PerspectiveCam::CameraGizmo,
     &tagInfo8},
    {"QuorinFisheyeCam", FisheyeCam::CameraHandler, FisheyeCam::CameraInterface, FisheyeCam::CameraGizmo, &tagInfo9},
    {"QuorinPerspectiveNoDOFCam", PerspectiveCam::CameraHandler_NoDOF_MB, PerspectiveCam::CameraInterface,
     PerspectiveCam::CameraGizmo, &tagInfo10},
    {"QuorinPerspectiveNoDOFNoMBCam", PerspectiveCam::CameraHandler_NoDOF_NoMB, PerspectiveCam::CameraInterface2,
     PerspectiveCam::CameraGizmo, &tagInfo11},
    {"QuorinAdvPanCam", AdvPanCam::CameraHandler, AdvPanCam::CameraInterface, AdvPanCam::CameraGizmo, &tagInfo12},
    {"QuorinOverscanCam", OverscanCam::CameraHandler, OverscanCam::CameraInterface, OverscanCam::CameraGizmo, &tagInfo18},
    {"QuorinDpiCam", OverscanCam::DpiCameraHandler, OverscanCam::DpiCameraInterface, OverscanCam::DpiCameraGizmo, &tagInfo19},
    {"QuorinRadialShiftCam", RadialShiftCam::CameraHandler, RadialShiftCam::CameraInterface, RadialShiftCam::CameraGizmo,
     &tagInfo20},
    {"QuorinSphericalCam", SphericalCam::CameraHandler, SphericalCam::CameraInterface, SphericalCam::CameraGizmo, &tagInfo22},
    {"QuorinImmersiveCam", ImmersiveCam::CameraHandler, ImmersiveCam::CameraInterface, ImmersiveCam::CameraGizmo, &tagInfo24},
}});
}
