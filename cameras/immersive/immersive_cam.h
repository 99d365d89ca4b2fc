#pragma once

#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo24;
}

/// The full sphere: 360 degrees of azimuth and 180 of elevation on one frame, by the advanced panorama's mapping.
namespace ImmersiveCam {

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinImmersiveCam", &tagInfo24, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace ImmersiveCam
