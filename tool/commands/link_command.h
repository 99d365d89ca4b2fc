#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam link`: what the camera link file holds, or why it cannot be read.
void add_link_command(CLI::App& app);

}  // namespace tool
