#pragma once

#include "sdk/loading.h"

/// Twelve cameras in three rows of four.
namespace TwelveUpCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

}  // namespace TwelveUpCam
