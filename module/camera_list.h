#pragma once

/// The list of cameras: what is here, the host is offered, in this order. Scenes and scripts name cameras and do not count
/// them, so a new one may stand anywhere.

#include <array>

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

namespace module {

inline constexpr std::array cameras{
    MultiCam::server,
    FourUpCam::server,
    TwelveUpCam::server,
    StereoCam::server,
    SkyboxCam::server,
    PanoramicCam::server,
    CylinderCam::server,
    PerspectiveCam::server,
    FisheyeCam::server,
    PerspectiveCam::without_depth_of_field_server,
    PerspectiveCam::without_motion_blur_server,
    AdvPanCam::server,
    OverscanCam::server,
    OverscanCam::dpi_server,
    RadialShiftCam::server,
    SphericalCam::server,
    ImmersiveCam::server,
};

}  // namespace module
