#pragma once

#include "sdk/loading.h"

/// The full sphere: 360 degrees of azimuth and 180 of elevation on one frame, by the advanced panorama's mapping.
namespace ImmersiveCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace ImmersiveCam
