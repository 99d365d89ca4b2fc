#pragma once

#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/output/picture_metadata.h"

namespace tool {

/// What a picture tells of the frame that it shows. The world of its matrices is the host's with Z negated, so that it is
/// right-handed as compositing programs have it; camera space is left-handed with +Z ahead, as OpenEXR has it. NDC is 0, 0 in
/// the upper left corner of the frame and 1, 1 in the lower right one, as the host's plain perspective with the camera's zoom
/// sees it. Threads: any.
PictureMetadata frame_metadata(const standin::Scene& scene, const std::string& scene_file, const standin::Item& camera,
                               const standin::FrameSetup& setup, int width, int height, standin::Eye eye);

}  // namespace tool
