#pragma once

#include "sdk/loading.h"

/// Four cameras in two rows of two.
namespace FourUpCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace FourUpCam
