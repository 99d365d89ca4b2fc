#pragma once

#include <array>

#include "platform/export.h"
#include "sdk/loading.h"

extern "C" {

/// Kept for programs that look it up; nothing in the module sets or reads it.
OVICAM_EXPORT extern bool bOverscanCamActive;
}

/// Two wrappers around another camera of the scene: a frame with overscan and jitter, and a print frame with bleed.
namespace OverscanCam {

/// What the panels showed last: the selected camera's resolution, and the one that is worked out from it. Threads: the host's
/// main thread.
OVICAM_EXPORT extern std::array<char, 64> Camera1Resolution;
OVICAM_EXPORT extern std::array<char, 64> Camera2Resolution;

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;
ActivateFunc DpiCameraHandler, DpiCameraInterface, DpiCameraGizmo;

}  // namespace OverscanCam
