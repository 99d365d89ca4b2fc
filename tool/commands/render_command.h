#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam render SCENE -o OUT`: pictures of a scene through one of its cameras.
void add_render_command(CLI::App& app);

}  // namespace tool
