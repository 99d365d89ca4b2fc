#pragma once

#include <array>

#include "framework/server.h"
#include "platform/export.h"

extern "C" {

/// Kept for programs that look it up; nothing in the module sets or reads it.
OVICAM_EXPORT extern bool bOverscanCamActive;
}

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo18, tagInfo19;
}

/// Two wrappers around another camera of the scene: a frame with overscan and jitter, and a print frame with bleed.
namespace OverscanCam {

/// What the panels showed last: the selected camera's resolution, and the one that is worked out from it. Threads: the host's
/// main thread.
OVICAM_EXPORT extern std::array<char, 64> Camera1Resolution;
OVICAM_EXPORT extern std::array<char, 64> Camera2Resolution;

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;
ActivateFunc DpiCameraHandler, DpiCameraInterface, DpiCameraGizmo;

inline constexpr framework::CameraServer server{"QuorinOverscanCam", &tagInfo18, CameraHandler, CameraInterface, CameraGizmo};
inline constexpr framework::CameraServer dpi_server{"QuorinDpiCam", &tagInfo19, DpiCameraHandler, DpiCameraInterface,
                                                    DpiCameraGizmo};

}  // namespace OverscanCam
