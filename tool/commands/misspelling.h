#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tool {

/// A sentence about the first word of a command line that is neither an option nor a subcommand, with the one that it looks
/// like; empty when every word is one. For a command line that has been refused. Threads: any.
std::string misspelling(const CLI::App& app, int argc, const char* const* argv);

}  // namespace tool
