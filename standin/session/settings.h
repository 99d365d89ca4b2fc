#pragma once

#include <string>

#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"

namespace standin {

/// What came of a setting.
struct AppliedSetting {
  /// Name and value as the panel shows it, "Horizontal FOV angle: 180.00°".
  std::string shown;
  /// A sentence for a person when the value is none that the panel offers, or not the one that was asked for; else empty.
  std::string warning;
};

/// Sets a parameter by its channel name, or a panel value by its control's label. A number is in the channel's own unit after a
/// channel name (radians, factors, metres), and in the panel's after a label (degrees, per cent, metres); either may have a
/// unit of its own: deg, rad, %, mm, cm, m, km, in or ft. A name that is both is the label. Choices are set by their text or
/// number, check boxes by yes or no. Throws std::runtime_error with a sentence that lists the valid names, or says what the
/// value must be. Threads: one.
AppliedSetting apply_setting(Host& host, HostedCamera& camera, const std::string& name, const std::string& text);

}  // namespace standin
