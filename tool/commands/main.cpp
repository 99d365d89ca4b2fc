#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <typeinfo>

#include "standin/remote/ray_service.h"
#include "tool/commands/bake_coverage_command.h"
#include "tool/commands/completion_command.h"
#include "tool/commands/info_command.h"
#include "tool/commands/link_command.h"
#include "tool/commands/misspelling.h"
#include "tool/commands/panel_command.h"
#include "tool/commands/rays_command.h"
#include "tool/commands/render_command.h"
#include "tool/commands/reproject_command.h"
#include "tool/commands/scene_command.h"
#include "tool/commands/skybox_command.h"
#include "tool/commands/stmap_command.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/validate_command.h"
#include "tool/commands/view_command.h"
#include "tool/output/interruption.h"
#include "tool/output/own_output.h"
#include "tool/output/plain_text.h"

namespace {

constexpr int failure = 1;
constexpr int wrong_usage = 2;

constexpr const char* no_memory =
    "there is not enough memory; give a smaller --size or --grid or fewer --threads, or end other programs";

/// Libraries run out of memory where they may not throw. Nothing here asks for more.
[[noreturn]] void end_without_memory() {
  const std::type_info* thrown = abi::__cxa_current_exception_type();
  if (thrown != nullptr && *thrown == typeid(std::bad_alloc)) tool::end_at_once(no_memory, failure);
  // For whoever reads the core file.
  std::abort();
}

int tell(const std::exception& error, int exit_code) {
  tool::stay_silent_if_interrupted();
  std::cerr << "ovicam: " << error.what() << '\n';
  return exit_code;
}

/// An empty name or number is most often a variable that a script has not set; it must not stand for "as the scene has it".
void refuse_empty_values(CLI::App& app) {
  for (CLI::Option* option : app.get_options())
    if (option->get_items_expected_max() > 0)
      option->check(CLI::Validator(
          [](const std::string& value) {
            return std::string(value.empty() ? "the value is empty; give one or leave it out" : "");
          },
          ""));
  for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) refuse_empty_values(*command);
}

void tell_version_everywhere(CLI::App& app) {
  app.set_version_flag("--version", "ovicam " OVICAM_VERSION, "Print the version and exit");
  for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) tell_version_everywhere(*command);
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
  tool::add_view_command(app);
  tool::add_panel_command(app);
  tool::add_rays_command(app);
  tool::add_scene_command(app);
  tool::add_skybox_command(app);
  tool::add_stmap_command(app);
  tool::add_reproject_command(app);
  tool::add_bake_coverage_command(app);
  tool::add_link_command(app);
  tool::add_validate_command(app);
  tool::add_completion_command(app);
  tell_version_everywhere(app);
  refuse_empty_values(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    // CLI11 complains first of what is missing, which may be there and misspelt.
    const std::string misspelt = tool::misspelling(app, argc, argv);
    return misspelt.empty() ? tell(error, wrong_usage) : tell(tool::UsageError(misspelt), wrong_usage);
  }
  if (app.get_subcommands().empty()) throw tool::UsageError("a subcommand is missing; \"ovicam --help\" lists them");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Beyond the limit for files a write fails, and is told of, instead of ending the program. A child process has the signal as
  // before, which it would not if this ignored it.
  static_cast<void>(std::signal(SIGXFSZ, [](int) {}));
  const tool::PlainTextOf plain_errors(std::cerr);
  try {
    tool::OwnOutput own_output;
    tool::watch_for_interruption();
    std::set_terminate(end_without_memory);
    const tool::CleanUp clean_up([] { standin::end_ray_services(); });
    const int exit_code = run(argc, argv);
    own_output.flush();
    return exit_code;
  } catch (const tool::UsageError& error) {
    return tell(error, wrong_usage);
  } catch (const std::bad_alloc&) {
    tool::end_at_once(no_memory, failure);
  } catch (const std::exception& error) {
    return tell(error, failure);
  }
}
