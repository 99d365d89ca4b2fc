#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// Adds `ovicam view`.
void add_view_command(CLI::App& app);

}  // namespace tool
