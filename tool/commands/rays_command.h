#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam rays SCENE`: which ray the module gives for which film position.
void add_rays_command(CLI::App& app);

}  // namespace tool
