#include "tool/commands/panel_command.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "tool/commands/camera_options.h"
#include "tool/commands/usage_error.h"
#include "tool/commands/warnings.h"
#include "tool/output/browser.h"
#include "tool/output/new_file.h"
#include "tool/output/panel_page.h"

namespace tool {
namespace {

struct PanelArguments {
  CameraOptions camera;
  std::string page;
};

void show_panel(const PanelArguments& arguments) {
  const std::filesystem::path page_file = arguments.page;
  if (page_file.extension() != ".html") throw UsageError("-o " + arguments.page + ": the name must end in .html");
  Warnings warnings(arguments.camera.strict);
  OpenCamera open(arguments.camera, warnings);
  warnings.add(open.host.scene());
  add_missing_objects(arguments.camera, open.host.scene(), warnings);
  warnings.tell();
  // As after a render: only then can the panel show values of the cameras that this one looks through.
  open.camera.init_render();
  open.camera.begin_frame(open.host.scene().first_frame);
  const standin::Server& server = open.module.server(LWCAMERA_HANDLER_CLASS, open.camera.server_name());
  const std::string name = server.user_name().empty() ? server.name : server.user_name();
  const PanelPage page = panel_page(standin::describe_panel(open.host, open.camera.panel()),
                                    name + " – " + arguments.camera.find_camera(open.host.scene()).name);
  open.camera.clean_up();
  write_text_file(page_file, page.html);
  std::filesystem::path picture = page_file;
  picture.replace_extension(".png");
  const PagePicture taken = take_page_picture(page_file, page.width, page.height, picture);
  if (taken.trouble.empty())
    std::cout << page_file.string() << " and " << picture.string() << " are written\n";
  else
    std::cout << "Only the page " << page_file.string() << " is written, without a picture: " << taken.trouble << '\n';
}

}  // namespace

void add_panel_command(CLI::App& app) {
  auto* command = app.add_subcommand("panel", "Shows a camera's panel as a page and, with Chromium, as a picture beside it.");
  command->footer("Example:\n  ovicam panel samples/cameras.lws --camera \"Skybox Cross\" -o panel.html");
  const auto arguments = std::make_shared<PanelArguments>();
  arguments->camera.add_to(*command);
  command->add_option("-o,--output", arguments->page, "Page, .html; the picture gets the same name with .png")->required();
  command->callback([arguments] { show_panel(*arguments); });
}

}  // namespace tool
