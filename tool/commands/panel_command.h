#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam panel SCENE -o PAGE.html`: a camera's panel as a page, and as a picture of that page.
void add_panel_command(CLI::App& app);

}  // namespace tool
