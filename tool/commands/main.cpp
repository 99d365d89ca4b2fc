#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>

#include "tool/commands/bake_coverage_command.h"
#include "tool/commands/info_command.h"
#include "tool/commands/link_command.h"
#include "tool/commands/panel_command.h"
#include "tool/commands/rays_command.h"
#include "tool/commands/render_command.h"
#include "tool/commands/skybox_command.h"
#include "tool/commands/usage_error.h"
#include "tool/output/own_output.h"

namespace {

constexpr int failure = 1;
constexpr int wrong_usage = 2;

int tell(const std::exception& error, int exit_code) {
  std::cerr << "ovicam: " << error.what() << '\n';
  return exit_code;
}

/// The exit code.
int run(int argc, char** argv) {
  CLI::App app("Renders scenes through the cameras of OviCam, and shows what a module holds and publishes.", "ovicam");
  app.footer(
      "Example:\n  ovicam render samples/plaza.lws --camera Panorama -o plaza.png\n\"ovicam COMMAND --help\" says more about a "
      "command.");
  app.require_subcommand(0, 1);
  tool::add_info_command(app);
  tool::add_render_command(app);
  tool::add_panel_command(app);
  tool::add_rays_command(app);
  tool::add_skybox_command(app);
  tool::add_bake_coverage_command(app);
  tool::add_link_command(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? app.exit(error) : tell(error, wrong_usage);
  }
  if (app.get_subcommands().empty()) throw tool::UsageError("a subcommand is missing; \"ovicam --help\" lists them");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Beyond the limit for files a write fails, and is told of, instead of ending the program. A child process has the signal as
  // before, which it would not if this ignored it.
  std::signal(SIGXFSZ, [](int) {});
  const tool::OwnOutput own_output;
  try {
    return run(argc, argv);
  } catch (const tool::UsageError& error) {
    return tell(error, wrong_usage);
  } catch (const std::exception& error) {
    return tell(error, failure);
  }
}
