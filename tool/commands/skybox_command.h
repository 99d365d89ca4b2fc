#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam skybox split PICTURE -o FOLDER`: the six faces of a rendered skybox frame as separate pictures.
void add_skybox_command(CLI::App& app);

}  // namespace tool
