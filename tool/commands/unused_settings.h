#pragma once

#include <string>
#include <vector>

#include "standin/session/session.h"

namespace tool {

/// A sentence for each setting of the options without which the frame would be the same, ray for ray. Each setting costs a
/// session of its own: call this before the session that the frame comes from is opened, so that what a camera publishes last
/// is what it renders with. Throws what opening a session throws. Threads: one.
std::vector<std::string> unused_settings(const standin::SessionOptions& options, int frame);

}  // namespace tool
