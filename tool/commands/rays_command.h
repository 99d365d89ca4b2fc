#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam rays SCENE`: the ray that the module gives for each film position.
void add_rays_command(CLI::App& app);

}  // namespace tool
