#pragma once

#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo1;
}

/// Two cameras side by side in one frame.
namespace MultiCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinMultiCam", &tagInfo1, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace MultiCam
