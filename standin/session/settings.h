#pragma once

#include <string>

#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"

namespace standin {

/// Sets a parameter by its channel name, or a panel value by its control's label; choices are set by their text or number.
/// Throws std::runtime_error with a sentence that lists the valid names, or says what the value must be. Threads: one.
void apply_setting(Host& host, HostedCamera& camera, const std::string& name, const std::string& text);

}  // namespace standin
