#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam info MODULE`: the module's servers, and each camera's parameters and panel.
void add_info_command(CLI::App& app);

}  // namespace tool
