#include "tool/commands/view_command.h"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <thread>

#include "standin/remote/process_group.h"
#include "standin/remote/ray_service.h"
#include "tool/commands/camera_options.h"
#include "tool/commands/option_text.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/output/interruption.h"
#include "tool/view/view_server.h"
#include "tool/view/viewing.h"

namespace tool {
namespace {

constexpr int highest_port = 65535;

struct ViewArguments {
  CameraOptions camera;
  std::string size;
  std::optional<int> frame;
  std::uint32_t samples = 16;
  int port = 0;
  bool no_browser = false;
};

/// In the browser that the person has chosen, if this is a desktop. Whether that worked nobody can tell: the address is
/// printed.
void open_in_browser(const std::string& address) {
  pid_t child = 0;
  if (standin::spawn_quiet_group({"xdg-open", address}, child) != 0) return;
  std::thread([child] { waitpid(child, nullptr, 0); }).detach();
}

ViewSource source_of(const ViewArguments& arguments) {
  ViewSource source;
  source.session = arguments.camera.session_options();
  if (!arguments.size.empty()) {
    const PictureSize size = parse_size(arguments.size);
    if (size.width > most_view_side || size.height > most_view_side ||
        std::int64_t{size.width} * size.height > most_view_pixels)
      throw UsageError("--size " + arguments.size + ": a page shows " + std::to_string(most_view_side) +
                       " pixels in width and height and " + std::to_string(most_view_pixels) +
                       " in all at most; render a larger picture with \"ovicam render\"");
    source.session.width_pixels = size.width;
    source.session.height_pixels = size.height;
  }
  source.frame = arguments.frame;
  source.samples = arguments.samples;
  source.command = {"ovicam", "render", arguments.camera.scene};
  if (!arguments.camera.module.empty()) source.command.insert(source.command.end(), {"--module", arguments.camera.module});
  if (!arguments.camera.content.empty()) source.command.insert(source.command.end(), {"--content", arguments.camera.content});
  return source;
}

void view(const ViewArguments& arguments) {
  const ViewSource source = source_of(arguments);
  {
    Warnings warnings(arguments.camera.strict);
    const standin::Scene scene = arguments.camera.read_scene();
    arguments.camera.tell_camera(scene);
    warnings.add(scene);
    add_missing_objects(arguments.camera, scene, warnings);
    warnings.tell();
  }
  Viewing viewing(source);
  // Until here a signal ends the program at once, however long the scene or the module takes to open.
  expect_interruption();
  const ViewServer server(viewing, arguments.port);
  std::cout << server.address() << std::endl;
  std::cerr << "Open this address in a browser of this machine; Ctrl-C ends it\n";
  if (!arguments.no_browser) open_in_browser(server.address());
  while (!interrupted()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  // A module that runs elsewhere may not answer any more.
  standin::end_ray_services();
}

}  // namespace

void add_view_command(CLI::App& app) {
  auto* command = app.add_subcommand("view", "Shows a camera's picture and its panel in the browser, to turn every knob.");
  command->footer(
      "Example:\n  ovicam view samples/plaza.lws --camera Panorama\n"
      "Prints the address of a page that only browsers of this machine can open, and opens it. The page turns every knob of "
      "the "
      "camera's panel, looks around, compares with a plain perspective, saves pictures, and gives the command that renders the "
      "same. The scene is never changed: with the new settings it is saved under another name beside it.");
  const auto arguments = std::make_shared<ViewArguments>();
  arguments->camera.add_to(*command);
  command->add_option("--size", arguments->size, "WIDTHxHEIGHT in pixels (default: as the scene has it)");
  command->add_option("--frame", arguments->frame, "The frame to begin with (default: the scene's first)")
      ->check(CLI::Range(-farthest_view_frame, farthest_view_frame));
  command->add_option("--samples", arguments->samples, "Samples per pixel of the refined picture")
      ->check(CLI::Range(std::uint32_t{1}, most_view_samples))
      ->capture_default_str();
  command->add_option("--port", arguments->port, "Port of this machine (default: any that is free)")
      ->check(CLI::Range(1, highest_port));
  command->add_flag("--no-browser", arguments->no_browser, "Only print the address");
  command->callback([arguments] { view(*arguments); });
}

}  // namespace tool
