#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam link`: what the camera link file says, or why it says nothing.
void add_link_command(CLI::App& app);

}  // namespace tool
