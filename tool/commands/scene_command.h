#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam scene SCENE`: what the scene has, and which of its files are missing.
void add_scene_command(CLI::App& app);

}  // namespace tool
