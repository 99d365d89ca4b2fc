#pragma once

#include <vector>

#include "standin/session/session.h"

namespace tool {

/// The module's rays for one eye: all over the film, at two places of the lens and two times of the frame. Throws what the
/// session throws. Threads: one.
std::vector<standin::RayAnswer> probe_frame(standin::Session& session, const standin::FrameSetup& setup, standin::Eye eye);

/// Whether each ray is the other's, to the bit; what a refused ray holds does not count.
bool same_rays(const std::vector<standin::RayAnswer>& some, const std::vector<standin::RayAnswer>& others);

/// Whether the module's rays for two eyes are the same. Throws what the session throws. Threads: one.
bool see_the_same(standin::Session& session, const standin::FrameSetup& setup, standin::Eye one, standin::Eye other);

}  // namespace tool
