#include "tool/info_command.h"

#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "standin/introspection.h"
#include "standin/ray_service.h"
#include "tool/text_table.h"

namespace tool {
namespace {

std::string hexadecimal(std::uint32_t number) {
  std::ostringstream text;
  text << "0x" << std::hex << std::uppercase << number;
  return text.str();
}

std::string decimal(double number) {
  std::ostringstream text;
  text << std::setprecision(10) << number;
  return text.str();
}

std::string user_names(const standin::ServerDescription& server) {
  std::string text;
  for (const auto& [tag, name] : server.user_names) {
    text += (text.empty() ? "" : ", ") + hexadecimal(tag) + " \"" + name + "\"";
  }
  return text;
}

void write_servers(const std::vector<standin::ServerDescription>& servers) {
  std::cout << "Servers\n";
  TextTable table;
  table.add_row({"Class", "Server", "User names by tag"});
  for (const standin::ServerDescription& server : servers) table.add_row({server.class_name, server.name, user_names(server)});
  table.write(std::cout, "  ");
}

std::string shown_value(const standin::PanelRow& row) {
  std::string choices;
  for (const std::string& choice : row.choices) choices += (choices.empty() ? "" : " | ") + choice;
  if (choices.empty()) return row.value;
  return row.value + " of [" + choices + "]";
}

void write_camera(const standin::CameraDescription& camera) {
  std::cout << '\n' << camera.server_name;
  if (!camera.user_name.empty()) std::cout << " \"" << camera.user_name << '"';
  std::cout << (camera.depth_of_field ? ", depth of field\n" : "\n");

  TextTable parameters;
  parameters.add_row({"Channel", "Default"});
  for (const auto& parameter : camera.parameters)
    parameters.add_row({parameter.channel_name, decimal(parameter.default_value)});
  std::cout << "  Parameters" << (camera.parameters.empty() ? ": none\n" : "\n");
  if (!camera.parameters.empty()) parameters.write(std::cout, "    ");

  TextTable panel;
  panel.add_row({"ID", "Label", "Control class", "Data type", "Value"});
  for (const auto& row : camera.panel_rows) {
    panel.add_row({hexadecimal(row.id), row.label, row.control_class, row.data_type, shown_value(row)});
  }
  std::cout << "  Panel" << (camera.panel_rows.empty() ? ": none\n" : "\n");
  if (!camera.panel_rows.empty()) panel.write(std::cout, "    ");
}

void show(const std::filesystem::path& module_file) {
  const standin::ModuleDescription module = standin::describe_module_for(module_file);
  write_servers(module.servers);
  for (const standin::CameraDescription& camera : module.cameras) write_camera(camera);
}

}  // namespace

void add_info_command(CLI::App& app) {
  auto* command = app.add_subcommand("info", "Shows a module's servers, and each camera's parameters and panel.");
  const auto module_file = std::make_shared<std::string>();
  command->add_option("MODULE", *module_file, "Module file, such as OviCam.so")->required();
  command->callback([module_file] { show(*module_file); });
}

}  // namespace tool
