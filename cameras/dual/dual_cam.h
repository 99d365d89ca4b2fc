#pragma once

#include "sdk/loading.h"

/// Two cameras side by side in one frame.
namespace MultiCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace MultiCam
