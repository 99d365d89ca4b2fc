#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam bake-coverage SCENE`: where an object's texture map lies, as the surface baking camera sees it.
void add_bake_coverage_command(CLI::App& app);

}  // namespace tool
