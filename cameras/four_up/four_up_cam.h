#pragma once

#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo2;
}

/// Four cameras in two rows of two.
namespace FourUpCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"Quorin4UpCam", &tagInfo2, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace FourUpCam
