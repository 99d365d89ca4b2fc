#include "standin/session/settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "standin/scene/name_list.h"
#include "standin/scene/number_text.h"
#include "standin/scene/scene_keywords.h"
#include "standin/session/control_text.h"
#include "standin/session/introspection.h"

namespace standin {

namespace {

struct Unit {
  std::string_view name;
  Quantity quantity;
  /// In the unit that channels hold.
  double size;
};

constexpr std::array units{Unit{"deg", Quantity::angle, std::numbers::pi / 180.0},
                           Unit{"°", Quantity::angle, std::numbers::pi / 180.0},
                           Unit{"rad", Quantity::angle, 1.0},
                           Unit{"%", Quantity::percent, 0.01},
                           Unit{"mm", Quantity::length, 0.001},
                           Unit{"cm", Quantity::length, 0.01},
                           Unit{"m", Quantity::length, 1.0},
                           Unit{"km", Quantity::length, 1000.0},
                           Unit{"in", Quantity::length, 0.0254},
                           Unit{"ft", Quantity::length, 0.3048}};

/// Whether a number stands as a channel holds it, or as the panel shows it.
enum class Written { as_held, as_shown };

double size_without_unit(Quantity quantity, Written written) {
  if (written == Written::as_held) return 1.0;
  return quantity == Quantity::angle ? std::numbers::pi / 180.0 : quantity == Quantity::percent ? 0.01 : 1.0;
}

std::string units_of(Quantity quantity) {
  std::vector<std::string> names;
  for (const Unit& unit : units)
    if (unit.quantity == quantity) names.emplace_back(unit.name);
  return names.empty() ? "it has no unit" : "its units are " + joined(names);
}

/// `quantity` is none where the panel does not show the value: any unit is right then.
double parse_number(const std::string& name, const std::string& text, Quantity quantity, Written written) {
  std::string_view rest = trimmed(text);
  // As photographers write an f-stop.
  if (quantity == Quantity::number && rest.starts_with("f/")) rest.remove_prefix(2);
  if (rest.starts_with('+')) rest.remove_prefix(1);
  const auto value = take_number(rest);
  if (!value) throw std::runtime_error("\"" + text + "\" is not a number; the setting \"" + name + "\" needs one, such as 0.5");
  const std::string_view unit_name = trimmed(rest);
  if (unit_name.empty()) return *value * size_without_unit(quantity, written);
  const auto unit = std::ranges::find(units, unit_name, &Unit::name);
  if (unit == units.end() || (quantity != Quantity::none && unit->quantity != quantity)) {
    throw std::runtime_error("\"" + text + "\" is not a number of the setting \"" + name + "\": \"" + std::string(unit_name) +
                             "\" does not fit it; " + units_of(quantity));
  }
  return *value * unit->size;
}

/// A whole number, the text of one of the choices, or yes or no.
int parse_choice(const ControlDescription& row, const std::string& text) {
  for (std::size_t i = 0; i < row.choices.size(); ++i)
    if (row.choices[i] == text) return static_cast<int>(i);
  const bool is_check_box = quantity_of(row) == Quantity::yes_or_no;
  if (is_check_box && (text == "yes" || text == "on" || text == "true")) return 1;
  if (is_check_box && (text == "no" || text == "off" || text == "false")) return 0;
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool is_number = error == std::errc() && end == text.data() + text.size();
  if (!is_number || (is_check_box && value != 0 && value != 1)) {
    throw std::runtime_error(
        "\"" + text + "\" is not a value of the setting \"" + row.label + "\"; give " +
        (is_check_box ? "yes or no" : "a whole number" + (row.choices.empty() ? "" : " or one of: " + joined(row.choices))));
  }
  return value;
}

/// Of the panel's row with that channel or, without one, label; none when it has no value that can be set.
std::optional<ControlDescription> find_row(const Host& host, const Panel& panel, std::string ControlDescription::*name,
                                           const std::string& wanted) {
  // A row without a label is found by its channel alone.
  if (wanted.empty()) return std::nullopt;
  for (ControlDescription& row : describe_panel(host, panel)) {
    const bool can_be_set = row.data_type == "integer" || row.data_type == "float" || row.data_type.ends_with("-env");
    if (row.*name == wanted && can_be_set) return row;
  }
  return std::nullopt;
}

std::string range_of(const ControlDescription& row) {
  const auto shown = [&](double limit) { return displayed_number(row, limit).text(); };
  if (row.minimum && row.maximum) return "from " + shown(*row.minimum) + " to " + shown(*row.maximum);
  return row.minimum ? shown(*row.minimum) + " and more" : "up to " + shown(*row.maximum);
}

/// What the panel shows now, beside what was asked for.
AppliedSetting outcome(const Host& host, const Panel& panel, const ControlDescription& row, double wanted) {
  const auto rows = describe_panel(host, panel);
  const auto now = std::ranges::find(rows, row.id, &ControlDescription::id);
  const std::string& name = row.label.empty() ? row.channel_name : row.label;
  const std::string shown = displayed_value(*now).text();
  AppliedSetting applied{name + ": " + shown, {}};
  const std::string asked = displayed_number(row, wanted).text();
  const bool too_little = row.minimum && wanted < *row.minimum;
  const bool too_much = row.maximum && wanted > *row.maximum;
  const bool no_choice = !row.choices.empty() && (wanted < 0.0 || wanted >= static_cast<double>(row.choices.size()));
  if (asked != shown)
    applied.warning = "the camera does not take " + asked + " for \"" + name + "\"; it has " + shown;
  else if (too_little || too_much)
    applied.warning = asked + " is outside of the range of \"" + name + "\", which is " + range_of(row);
  else if (no_choice)
    applied.warning = asked + " is the number of none of the choices of \"" + name + "\"";
  return applied;
}

VariantParameter* find_parameter(const HostedCamera& camera, const std::string& channel_name) {
  for (VariantParameter* parameter : camera.parameters())
    if (parameter->channel_name == channel_name) return parameter;
  return nullptr;
}

}  // namespace

AppliedSetting apply_setting(Host& host, HostedCamera& camera, const std::string& name, const std::string& text) {
  const Panel& panel = camera.panel();
  if (const auto row = find_row(host, panel, &ControlDescription::label, name)) {
    if (row->data_type == "integer") {
      const int value = parse_choice(*row, text);
      panel.set_integer(row->id, value);
      return outcome(host, panel, *row, value);
    }
    const double value = parse_number(name, text, quantity_of(*row), Written::as_shown);
    if (row->data_type == "float")
      panel.set_float(row->id, value);
    else if (VariantParameter* parameter = host.parameters.table.find(panel.get_envelope(row->id)))
      parameter->set_constant(value);
    return outcome(host, panel, *row, value);
  }
  if (VariantParameter* parameter = find_parameter(camera, name)) {
    const auto row = find_row(host, panel, &ControlDescription::channel_name, name);
    const double value = parse_number(name, text, row ? quantity_of(*row) : Quantity::none, Written::as_held);
    parameter->set_constant(value);
    return row ? outcome(host, panel, *row, value) : AppliedSetting{name + ": " + plain_number(value), {}};
  }
  std::vector<std::string> names;
  for (const VariantParameter* parameter : camera.parameters()) names.push_back(parameter->channel_name);
  for (const PanelControl& control : panel.controls) {
    const PanelData* data = panel.data_of(control.id);
    if (data != nullptr && data->type != "string" && !control.label.empty()) names.push_back(control.label);
  }
  throw std::runtime_error(camera.server_name() + " has no setting called \"" + name + "\"; it has: " + joined(names));
}

}  // namespace standin
