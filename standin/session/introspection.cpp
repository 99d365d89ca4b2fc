#include "standin/session/introspection.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "standin/host/hosted_camera.h"
#include "standin/host/save_state.h"
#include "standin/scene/number_text.h"

namespace standin {
namespace {

/// The area that a drawn control gets; rows below what it paints are cropped.
constexpr int drawing_width = 320;
constexpr int drawing_height = 200;

constexpr const char* own_camera = "Camera";
constexpr const char* other_camera = "Another camera";
constexpr const char* object = "Object";
/// Beyond any number that makes sense on a panel.
constexpr double far_beyond = 1e9;
constexpr Vec3 point_in_front{0.0, 0.0, 10.0};

const VariantParameter* parameter_of(const Host& host, const Panel& panel, const PanelData& data) {
  return data.type.ends_with("-env") ? host.parameters.table.find(panel.get_envelope(data.id)) : nullptr;
}

void read_value(const Host& host, const Panel& panel, const PanelData& data, ControlDescription& row) {
  row.data_type = data.type;
  if (panel.get(data.id) == nullptr) return;
  if (data.type == "integer") {
    row.value = std::to_string(panel.get_integer(data.id));
  } else if (data.type == "float") {
    row.value = shortest(panel.get_float(data.id));
  } else if (data.type == "string") {
    row.value = panel.get_text(data.id);
  } else if (const VariantParameter* parameter = parameter_of(host, panel, data)) {
    row.value = shortest(parameter->at(host.time_seconds()));
    row.channel_name = parameter->channel_name;
    row.animated = parameter->envelope.animated();
  }
}

/// The minimum or maximum that the hints give.
std::optional<double> hinted_limit(const Panel& panel, LWXPanelHint tag, std::uint32_t control) {
  const std::size_t in_range = tag == LWXPTAG_MIN ? 1 : 2;
  if (const auto own = panel.hints_of(tag, control); !own.empty())
    return static_cast<std::int32_t>(own.back()->arguments.at(1));
  if (const auto range = panel.hints_of(LWXPTAG_RANGE, control); !range.empty())
    return static_cast<std::int32_t>(range.back()->arguments.at(in_range));
  return std::nullopt;
}

/// The rows down to the last one that is not all black, and a black one below it.
Picture painted_part(const Picture& drawn) {
  const auto painted = [&](int y) {
    for (int x = 0; x < drawn.width(); ++x)
      if (drawn.at(x, y) != Picture::Color{}) return true;
    return false;
  };
  int last = drawn.height() - 1;
  while (last > 0 && !painted(last)) --last;
  Picture part(drawn.width(), std::min(last + 2, drawn.height()));
  for (int y = 0; y < part.height(); ++y)
    for (int x = 0; x < part.width(); ++x) part.set(x, y, drawn.at(x, y));
  part.texts = drawn.texts;
  return part;
}

CameraDescription describe_camera(Host& host, const Module& module, const Server& server, const Item& item) {
  HostedCamera camera(host, module, server.name, item);
  CameraDescription description;
  description.server_name = server.name;
  description.user_name = server.user_name();
  description.depth_of_field = (camera.flags() & LWCAMFLAG_DEPTH_OF_FIELD) != 0;
  for (const VariantParameter* parameter : camera.parameters())
    description.parameters.push_back({parameter->channel_name, parameter->at(host.time_seconds())});
  description.panel_rows = describe_panel(host, camera.panel());
  return description;
}

/// Uses a camera's panel and envelopes as a person would, and observes the effect.
class Experiment {
 public:
  Experiment(Host& host, const Module& module, CameraDescription& description)
      : host_(host), description_(description), camera_(host, module, description.server_name, own_camera) {}

  void find_settings() {
    find_what_choices_name();
    find_ranges();
    find_saved_items();
  }

  void find_projection() {
    // Cameras that look through others project nothing until those are chosen.
    for (const ControlDescription& row : description_.panel_rows)
      if (row.choices_of == "cameras") camera_.panel().set_integer(row.id, 1);
    camera_.init_render();
    camera_.begin_frame(host_.scene().first_frame);
    description_.projects = camera_.project(point_in_front).has_value();
    camera_.clean_up();
  }

 private:
  void find_what_choices_name() {
    for (ControlDescription& row : description_.panel_rows) {
      const auto choices = camera_.panel().choices(row.id);
      if (std::ranges::find(choices, other_camera) != choices.end()) row.choices_of = "cameras";
      if (std::ranges::find(choices, object) != choices.end()) row.choices_of = "objects";
    }
  }

  std::vector<double> parameter_values() const {
    std::vector<double> values;
    for (const VariantParameter* parameter : camera_.parameters()) values.push_back(parameter->at(host_.time_seconds()));
    return values;
  }

  /// The value that the panel shows after a number was set.
  double kept(const ControlDescription& row, double value) {
    const Panel& panel = camera_.panel();
    if (row.data_type == "float") {
      panel.set_float(row.id, value);
      return panel.get_float(row.id);
    }
    panel.set_integer(row.id, static_cast<int>(value));
    return panel.get_integer(row.id);
  }

  bool is_number(const ControlDescription& row) {
    return (row.data_type == "float" || row.data_type == "integer") && camera_.panel().get(row.id) != nullptr;
  }

  double number_of(const ControlDescription& row) {
    const Panel& panel = camera_.panel();
    return row.data_type == "float" ? panel.get_float(row.id) : panel.get_integer(row.id);
  }

  void find_ranges() {
    for (ControlDescription& row : description_.panel_rows) {
      if (!is_number(row) || !camera_.panel().choices(row.id).empty() || row.control_class == "iBoolean") continue;
      const bool whole = row.data_type == "integer";
      const double low = whole ? std::numeric_limits<int>::min() : -far_beyond;
      const double high = whole ? std::numeric_limits<int>::max() : far_beyond;
      const double own = number_of(row);
      const std::vector<double> before = parameter_values();
      if (const double least = kept(row, low); least != low) row.minimum = std::max(least, row.minimum.value_or(least));
      if (const double most = kept(row, high); most != high) row.maximum = std::min(most, row.maximum.value_or(most));
      // An envelope that changes along with a plain number is that value's envelope.
      const std::vector<double> after = parameter_values();
      for (std::size_t i = 0; i < before.size(); ++i)
        if (before[i] != after[i]) row.channel_name = description_.parameters.at(i).channel_name;
      kept(row, own);
    }
  }

  /// Adds a name to everything that is now saved differently.
  void note_changes(const std::vector<SavedLine>& before, std::vector<std::string> SavedItemDescription::*names,
                    const std::string& name) {
    const std::vector<SavedLine> after = camera_.save_items();
    for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
      auto& noted = description_.saved_items[i].*names;
      if (before[i].lines != after[i].lines && std::ranges::find(noted, name) == noted.end()) noted.push_back(name);
    }
  }

  void find_saved_items() {
    const std::vector<SavedLine> before = camera_.save_items();
    for (const SavedLine& item : before) description_.saved_items.push_back({item.kind, {}, {}});
    for (VariantParameter* parameter : camera_.parameters()) {
      const Envelope own = parameter->envelope;
      parameter->set_constant(parameter->at(host_.time_seconds()) + 0.5);
      note_changes(before, &SavedItemDescription::channel_names, parameter->channel_name);
      for (const ControlDescription& row : description_.panel_rows)
        if (row.data_type.ends_with("-env") && row.channel_name == parameter->channel_name && !row.label.empty())
          note_changes(before, &SavedItemDescription::labels, row.label);
      parameter->envelope = own;
    }
    for (const ControlDescription& row : description_.panel_rows) {
      if (!is_number(row)) continue;
      const double own = number_of(row);
      // A pop-up and a check box have no value above the last one.
      kept(row, own == 0.0 ? 1.0 : own - 1.0);
      note_changes(before, &SavedItemDescription::labels, row.label);
      if (!row.channel_name.empty()) note_changes(before, &SavedItemDescription::channel_names, row.channel_name);
      kept(row, own);
    }
  }

  Host& host_;
  CameraDescription& description_;
  HostedCamera camera_;
};

}  // namespace

std::vector<ControlDescription> describe_panel(const Host& host, const Panel& panel) {
  std::vector<ControlDescription> rows;
  for (const PanelControl& control : panel.controls) {
    ControlDescription& row = rows.emplace_back();
    row.id = control.id;
    row.label = control.label;
    row.control_class = control.control_class;
    row.choices = panel.choices(control.id);
    if (const PanelData* data = panel.data_of(control.id)) read_value(host, panel, *data, row);
    row.minimum = hinted_limit(panel, LWXPTAG_MIN, control.id);
    row.maximum = hinted_limit(panel, LWXPTAG_MAX, control.id);
    row.divider_below = !panel.hints_of(LWXPTAG_DIVIDER, control.id).empty();
    if (!panel.hints_of(LWXPTAG_DRAWCALLBACK, control.id).empty())
      row.drawing = painted_part(panel.draw(control.id, drawing_width, drawing_height));
  }
  return rows;
}

ModuleDescription describe_module(const std::filesystem::path& module_file) {
  Host host{Scene()};
  const Item& item = host.add_camera(own_camera);
  const Module module(module_file);
  ModuleDescription description;
  for (const Server& server : module.servers()) {
    ServerDescription& row = description.servers.emplace_back(ServerDescription{server.class_name, server.name, {}});
    for (const auto& [tag, text] : server.user_names) row.user_names.emplace_back(tag, text);
    if (server.class_name == LWCAMERA_HANDLER_CLASS) description.cameras.push_back(describe_camera(host, module, server, item));
  }
  for (const Server& server : module.unregistered_servers())
    if (server.class_name == LWCAMERA_HANDLER_CLASS)
      description.unregistered_cameras.push_back(describe_camera(host, module, server, item));
  host.add_camera(other_camera);
  Item thing;
  thing.kind = ItemKind::object;
  thing.name = object;
  host.add_item(std::move(thing));
  for (CameraDescription& camera : description.cameras) {
    Experiment experiment(host, module, camera);
    experiment.find_settings();
    experiment.find_projection();
  }
  for (CameraDescription& camera : description.unregistered_cameras) Experiment(host, module, camera).find_settings();
  return description;
}

}  // namespace standin
