#pragma once

#include <optional>

#include "standin/session/session.h"
#include "tool/lens/lens.h"
#include "tool/output/panorama_metadata.h"

namespace tool {

/// How much a lens shows whose frame is equirectangular; none for every other lens. It may be turned in any way. Throws what
/// the lens throws. Threads: any.
std::optional<PanoramaCover> panorama_cover(const Lens& lens);

/// The same of an eye of the session's camera, in the frame that it has begun.
std::optional<PanoramaCover> panorama_cover(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye);

}  // namespace tool
