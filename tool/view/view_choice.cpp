#include "tool/view/view_choice.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "standin/scene/camera_turn.h"

namespace tool {
namespace {

using nlohmann::json;

constexpr std::array eyes{
    std::pair{ViewEye::centre, std::string_view("centre")}, std::pair{ViewEye::left, std::string_view("left")},
    std::pair{ViewEye::right, std::string_view("right")}, std::pair{ViewEye::red_cyan, std::string_view("red-cyan")}};
/// No panel has as many rows.
constexpr std::size_t most_settings = 256;
constexpr std::size_t longest_text = 1024;

std::int64_t whole_number(const std::string& name, const json& value, std::int64_t least, std::int64_t most) {
  if (value.is_number_integer()) {
    // A number beyond the signed ones would turn into a small one.
    const bool fits = !value.is_number_unsigned() || value.get<std::uint64_t>() <= static_cast<std::uint64_t>(INT64_MAX);
    if (const auto number = fits ? value.get<std::int64_t>() : most + 1; number >= least && number <= most) return number;
  }
  throw std::runtime_error("\"" + name + "\" must be a whole number from " + std::to_string(least) + " to " +
                           std::to_string(most));
}

double real_number(const std::string& name, const json& value, double least, double most) {
  if (value.is_number()) {
    if (const auto number = value.get<double>(); number >= least && number <= most) return number;
  }
  throw std::runtime_error("\"" + name + "\" must be a number from " + json(least).dump() + " to " + json(most).dump());
}

std::array<double, 3> parse_view_turn(const json& value) {
  if (!value.is_array() || value.size() != 3) throw std::runtime_error("\"turn\" must be heading, pitch and bank in degrees");
  std::array<double, 3> turn{};
  for (std::size_t i = 0; i < turn.size(); ++i)
    turn[i] = real_number("turn", value[i], -standin::most_turn_degrees, standin::most_turn_degrees);
  return turn;
}

std::string text(const std::string& name, const json& value) {
  if (!value.is_string() || value.get_ref<const std::string&>().size() > longest_text)
    throw std::runtime_error("\"" + name + "\" must be a text of at most " + std::to_string(longest_text) + " bytes");
  return value.get<std::string>();
}

bool yes_or_no(const std::string& name, const json& value) {
  if (!value.is_boolean()) throw std::runtime_error("\"" + name + "\" must be true or false");
  return value.get<bool>();
}

ViewEye parse_view_eye(const std::string& name) {
  const auto found = std::ranges::find(eyes, name, [](const auto& eye) { return eye.second; });
  if (found == eyes.end()) throw std::runtime_error("\"eye\" must be centre, left, right or red-cyan");
  return found->first;
}

std::pair<int, int> parse_view_size(const json& value) {
  if (!value.is_array() || value.size() != 2) throw std::runtime_error("\"size\" must be width and height in pixels");
  const std::int64_t width = whole_number("size", value[0], 1, most_view_side);
  const std::int64_t height = whole_number("size", value[1], 1, most_view_side);
  if (width * height > most_view_pixels)
    throw std::runtime_error("A picture on the page can have " + std::to_string(most_view_pixels) +
                             " pixels at most; render a larger one with the command");
  return {static_cast<int>(width), static_cast<int>(height)};
}

}  // namespace

std::string_view name_of(ViewEye eye) {
  return std::ranges::find(eyes, eye, [](const auto& known) { return known.first; })->second;
}

void add_setting(std::vector<std::pair<std::string, std::string>>& settings, std::pair<std::string, std::string> setting) {
  std::erase_if(settings, [&](const auto& other) { return other.first == setting.first; });
  settings.push_back(std::move(setting));
}

void ViewChange::join(ViewChange later) {
  if (later.camera) camera = later.camera;
  // Another camera or server has a panel of its own, which what was set before is not meant for.
  if (later.camera || later.server) {
    settings.clear();
    reset = false;
    server = later.server;
  }
  if (later.camera) {
    turn.reset();
    zoom.reset();
  }
  if (later.frame) frame = later.frame;
  if (later.eye) eye = later.eye;
  if (later.size) size = later.size;
  if (later.samples) samples = later.samples;
  if (later.gizmo) gizmo = later.gizmo;
  if (later.turn) turn = later.turn;
  if (later.zoom) zoom = later.zoom;
  if (later.compare) compare = later.compare;
  if (later.reset) {
    reset = true;
    settings.clear();
  }
  for (auto& setting : later.settings) add_setting(settings, std::move(setting));
}

ViewChange parse_change(const std::string& body, std::size_t camera_count) {
  const json sent = json::parse(body, nullptr, false);
  if (!sent.is_object()) throw std::runtime_error("A change must be an object of JSON");
  ViewChange change;
  for (const auto& [name, value] : sent.items()) {
    if (name == "camera") {
      change.camera = static_cast<std::size_t>(whole_number(name, value, 0, static_cast<std::int64_t>(camera_count) - 1));
    } else if (name == "server") {
      change.server = text(name, value);
    } else if (name == "frame") {
      change.frame = static_cast<int>(whole_number(name, value, -farthest_view_frame, farthest_view_frame));
    } else if (name == "eye") {
      change.eye = parse_view_eye(text(name, value));
    } else if (name == "size") {
      change.size = parse_view_size(value);
    } else if (name == "samples") {
      change.samples = static_cast<std::uint32_t>(whole_number(name, value, 1, most_view_samples));
    } else if (name == "gizmo") {
      change.gizmo = yes_or_no(name, value);
    } else if (name == "turn") {
      change.turn = parse_view_turn(value);
    } else if (name == "zoom") {
      change.zoom = real_number(name, value, standin::least_zoom, standin::greatest_zoom);
    } else if (name == "compare") {
      change.compare = yes_or_no(name, value);
    } else if (name == "reset") {
      change.reset = yes_or_no(name, value);
    } else if (name == "settings") {
      if (!value.is_array() || value.size() > most_settings)
        throw std::runtime_error("\"settings\" must be a list of settings");
      for (const json& setting : value) {
        if (!setting.is_array() || setting.size() != 2) throw std::runtime_error("A setting must be a label and a value");
        add_setting(change.settings, {text("label", setting[0]), text("value", setting[1])});
      }
    } else {
      throw std::runtime_error("A change has no \"" + name + "\"");
    }
  }
  return change;
}

}  // namespace tool
