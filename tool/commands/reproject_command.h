#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam reproject PICTURE`: a picture of one lens as another lens would show it.
void add_reproject_command(CLI::App& app);

}  // namespace tool
