#include "standin/session/settings.h"

#include <charconv>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "standin/scene/name_list.h"

namespace standin {

namespace {

double parse_number(const std::string& name, const std::string& text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
    throw std::runtime_error("\"" + text + "\" is not a number; the setting \"" + name + "\" needs one, such as 0.5");
  return value;
}

/// A whole number, or the text of one of the choices.
int parse_choice(const Panel& panel, const PanelControl& control, const std::string& text) {
  const std::vector<std::string> choices = panel.choices(control.id);
  for (std::size_t i = 0; i < choices.size(); ++i)
    if (choices[i] == text) return static_cast<int>(i);
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw std::runtime_error("\"" + text + "\" is not a value of the setting \"" + control.label + "\"; give a whole number" +
                             (choices.empty() ? "" : " or one of: " + joined(choices)));
  }
  return value;
}

/// Sets a panel value by its control's label; returns whether there is such a control with a value that can be set.
bool set_by_label(Host& host, const Panel& panel, const std::string& label, const std::string& text) {
  for (const PanelControl& control : panel.controls) {
    const PanelData* data = panel.data_of(control.id);
    if (control.label != label || data == nullptr) continue;
    if (data->type == "integer") {
      panel.set_integer(control.id, parse_choice(panel, control, text));
      return true;
    }
    if (data->type == "float") {
      panel.set_float(control.id, parse_number(label, text));
      return true;
    }
    if (data->type.ends_with("-env")) {
      if (VariantParameter* parameter = host.parameters.table.find(panel.get_envelope(control.id))) {
        parameter->set_constant(parse_number(label, text));
        return true;
      }
    }
  }
  return false;
}

}  // namespace

void apply_setting(Host& host, HostedCamera& camera, const std::string& name, const std::string& text) {
  std::vector<std::string> names;
  for (VariantParameter* parameter : camera.parameters()) {
    if (parameter->channel_name == name) {
      parameter->set_constant(parse_number(name, text));
      return;
    }
    names.push_back(parameter->channel_name);
  }
  const Panel& panel = camera.panel();
  if (set_by_label(host, panel, name, text)) return;
  for (const PanelControl& control : panel.controls) {
    const PanelData* data = panel.data_of(control.id);
    if (data != nullptr && data->type != "string" && !control.label.empty()) names.push_back(control.label);
  }
  throw std::runtime_error(camera.server_name() + " has no setting called \"" + name + "\"; it has: " + joined(names));
}

}  // namespace standin
