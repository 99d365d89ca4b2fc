#include "standin/introspection.h"

#include "standin/instance.h"
#include "standin/save_state.h"

namespace standin {
namespace {

std::string value_text(const Host& host, const Panel& panel, const PanelData& data) {
  if (panel.get(data.id) == nullptr) {
    return {};
  }
  if (data.type == "integer") {
    return std::to_string(panel.get_integer(data.id));
  }
  if (data.type == "float") {
    return shortest(panel.get_float(data.id));
  }
  if (data.type == "string") {
    return panel.get_text(data.id);
  }
  const Parameter* parameter = host.parameters.table.find(panel.get_envelope(data.id));
  return parameter != nullptr ? shortest(parameter->at(host.time_seconds())) : "";
}

CameraDescription describe_camera(Host& host, const Module& module, const Server& server, const Item& item) {
  CameraInstance camera(host, module, server.name, item);
  CameraDescription description;
  description.server_name = server.name;
  description.user_name = server.user_name();
  description.depth_of_field = (camera.flags() & LWCAMFLAG_DEPTH_OF_FIELD) != 0;
  for (const Parameter* parameter : camera.parameters()) {
    description.parameters.push_back({parameter->channel_name, parameter->at(host.time_seconds())});
  }
  const Panel& panel = camera.panel();
  for (const PanelControl& control : panel.controls) {
    PanelRow row{control.id, control.label, control.control_class, {}, {}, panel.choices(control.id)};
    if (const PanelData* data = panel.data_of(control.id)) {
      row.data_type = data->type;
      row.value = value_text(host, panel, *data);
    }
    description.panel_rows.push_back(std::move(row));
  }
  return description;
}

}  // namespace

ModuleDescription describe_module(const std::filesystem::path& module_file) {
  Host host{Scene()};
  const Item& item = host.add_camera("Camera");
  const Module module(module_file);
  ModuleDescription description;
  for (const Server& server : module.servers()) {
    ServerDescription& row = description.servers.emplace_back(ServerDescription{server.class_name, server.name, {}});
    for (const auto& [tag, text] : server.user_names) {
      row.user_names.emplace_back(tag, text);
    }
    if (server.class_name == LWCAMERA_HANDLER_CLASS) {
      description.cameras.push_back(describe_camera(host, module, server, item));
    }
  }
  return description;
}

}  // namespace standin
