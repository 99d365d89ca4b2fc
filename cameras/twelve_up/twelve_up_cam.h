#pragma once

#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo3;
}

/// Twelve cameras in three rows of four.
namespace TwelveUpCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"Quorin12UpCam", &tagInfo3, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace TwelveUpCam
