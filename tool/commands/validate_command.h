#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam validate MODULE`: whether a module keeps to what its host relies on.
void add_validate_command(CLI::App& app);

}  // namespace tool
