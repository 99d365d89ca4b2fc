#include "tool/commands/info_command.h"

#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "standin/remote/ray_service.h"
#include "standin/session/control_text.h"
#include "standin/session/introspection.h"
#include "tool/output/json_output.h"
#include "tool/output/panel_page.h"
#include "tool/output/text_table.h"

namespace tool {
namespace {

using nlohmann::json;

std::string hexadecimal(std::uint32_t number) {
  std::ostringstream text;
  text << "0x" << std::hex << std::uppercase << number;
  return text.str();
}

std::string ten_digits(double number) {
  std::ostringstream text;
  text << std::setprecision(10) << number;
  return text.str();
}

std::string user_names(const standin::ServerDescription& server) {
  std::string text;
  for (const auto& [tag, name] : server.user_names) text += (text.empty() ? "" : ", ") + hexadecimal(tag) + " \"" + name + "\"";
  return text;
}

void write_servers(const std::vector<standin::ServerDescription>& servers) {
  std::cout << "Servers\n";
  TextTable table;
  table.add_row({"Class", "Server", "User names by tag"});
  for (const standin::ServerDescription& server : servers) table.add_row({server.class_name, server.name, user_names(server)});
  table.write(std::cout, "  ");
}

std::string shown_value(const standin::ControlDescription& row) {
  std::string choices;
  for (const std::string& choice : row.choices) choices += (choices.empty() ? "" : " | ") + choice;
  const std::string shown = displayed_value(row).text();
  return choices.empty() ? shown : shown + " of [" + choices + "]";
}

void write_camera(const standin::CameraDescription& camera) {
  std::cout << '\n' << camera.server_name;
  if (!camera.user_name.empty()) std::cout << " \"" << camera.user_name << '"';
  std::cout << (camera.depth_of_field ? ", depth of field\n" : "\n");

  TextTable parameters;
  parameters.add_row({"Channel", "Default"});
  for (const auto& parameter : camera.parameters)
    parameters.add_row({parameter.channel_name, ten_digits(parameter.default_value)});
  std::cout << "  Parameters" << (camera.parameters.empty() ? ": none\n" : "\n");
  if (!camera.parameters.empty()) parameters.write(std::cout, "    ");

  TextTable panel;
  panel.add_row({"ID", "Label", "Control class", "Data type", "Value"});
  for (const auto& row : camera.panel_rows)
    panel.add_row({hexadecimal(row.id), row.label, row.control_class, row.data_type, shown_value(row)});
  std::cout << "  Panel" << (camera.panel_rows.empty() ? ": none\n" : "\n");
  if (!camera.panel_rows.empty()) panel.write(std::cout, "    ");
}

template <class Number>
json number_or_null(const std::optional<Number>& number) {
  return number ? json(*number) : json(nullptr);
}

json displayed_limit(const standin::ControlDescription& row, const std::optional<double>& limit) {
  return limit ? json(displayed_number(row, *limit).text()) : json(nullptr);
}

json described(const standin::ControlDescription& row) {
  const standin::DisplayedValue displayed = displayed_value(row);
  return {{"id", row.id},
          {"label", row.label},
          {"control_class", row.control_class},
          {"data_type", row.data_type},
          {"value", row.value},
          {"quantity", name_of(quantity_of(row))},
          {"displayed_value", displayed.value},
          {"displayed_unit", displayed.unit},
          {"displayed_text", displayed.text()},
          {"choices", row.choices},
          {"choices_of", row.choices_of},
          {"channel_name", row.channel_name},
          {"minimum", number_or_null(row.minimum)},
          {"maximum", number_or_null(row.maximum)},
          {"displayed_minimum", displayed_limit(row, row.minimum)},
          {"displayed_maximum", displayed_limit(row, row.maximum)},
          {"divider_below", row.divider_below},
          {"drawn", row.drawing.has_value()}};
}

/// As the panel's control for the channel shows it; a channel without one has no unit.
std::string displayed_default(const standin::CameraDescription& camera, const standin::ParameterDescription& parameter) {
  for (const auto& row : camera.panel_rows)
    if (row.channel_name == parameter.channel_name) return displayed_number(row, parameter.default_value).text();
  return standin::plain_number(parameter.default_value);
}

json described(const standin::CameraDescription& camera) {
  json parameters = json::array();
  for (const auto& parameter : camera.parameters) {
    parameters.push_back({{"channel_name", parameter.channel_name},
                          {"default", parameter.default_value},
                          {"displayed_default", displayed_default(camera, parameter)}});
  }
  json rows = json::array();
  for (const auto& row : camera.panel_rows) rows.push_back(described(row));
  json saved = json::array();
  for (const auto& item : camera.saved_items)
    saved.push_back({{"kind", item.kind}, {"channel_names", item.channel_names}, {"labels", item.labels}});
  const std::string& name = camera.user_name.empty() ? camera.server_name : camera.user_name;
  return {{"server_name", camera.server_name},       {"user_name", camera.user_name},
          {"depth_of_field", camera.depth_of_field}, {"parameters", std::move(parameters)},
          {"panel_rows", std::move(rows)},           {"panel_html", panel_html(camera.panel_rows, name)},
          {"saved_items", std::move(saved)}};
}

void write_module(const standin::ModuleDescription& module) {
  json servers = json::array();
  for (const auto& server : module.servers) {
    json names = json::array();
    for (const auto& [tag, text] : server.user_names) names.push_back({{"tag", tag}, {"text", text}});
    servers.push_back({{"class", server.class_name}, {"name", server.name}, {"user_names", std::move(names)}});
  }
  json cameras = json::array();
  for (const auto& camera : module.cameras) {
    cameras.push_back(described(camera));
    cameras.back()["projects"] = camera.projects;
  }
  json unregistered = json::array();
  for (const auto& camera : module.unregistered_cameras) unregistered.push_back(described(camera));
  write_json(std::cout, {{"servers", std::move(servers)},
                         {"cameras", std::move(cameras)},
                         {"unregistered_cameras", std::move(unregistered)},
                         {"panel_style", panel_style()}});
}

void write_tables(const standin::ModuleDescription& module) {
  write_servers(module.servers);
  for (const standin::CameraDescription& camera : module.cameras) write_camera(camera);
}

struct InfoArguments {
  std::string module_file;
  bool json = false;
};

}  // namespace

void add_info_command(CLI::App& app) {
  auto* command = app.add_subcommand("info", "Shows a module's servers, and each camera's parameters and panel.");
  command->footer("Example:\n  ovicam info build/native/OviCam.so");
  const auto arguments = std::make_shared<InfoArguments>();
  command->add_option("MODULE", arguments->module_file, "Module file, such as OviCam.so")->required();
  command->add_flag("--json", arguments->json,
                    "As JSON, for programs; also ranges, the scene file's order and whether a camera projects");
  command->callback([arguments] {
    const standin::ModuleDescription module = standin::describe_module_for(arguments->module_file);
    arguments->json ? write_module(module) : write_tables(module);
  });
}

}  // namespace tool
