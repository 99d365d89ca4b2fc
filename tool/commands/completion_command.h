#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// `ovicam completion SHELL`: a script that completes the commands and options of `app`, which must outlive the parsing.
void add_completion_command(CLI::App& app);

}  // namespace tool
