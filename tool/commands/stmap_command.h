#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam stmap SCENE`: the map that distorts or undistorts a camera's picture.
void add_stmap_command(CLI::App& app);

}  // namespace tool
