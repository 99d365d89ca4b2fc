#pragma once

#include <CLI/CLI.hpp>

namespace tool {

void add_stmap_command(CLI::App& app);

}  // namespace tool
