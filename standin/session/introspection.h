#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "standin/host/host.h"
#include "standin/host/panel.h"
#include "standin/host/picture.h"

namespace standin {

/// A value that can be animated: `default_value` is what a new instance starts with.
struct ParameterDescription {
  std::string channel_name;
  double default_value = 0.0;

  friend bool operator==(const ParameterDescription&, const ParameterDescription&) = default;
};

/// One row of a camera's panel, and what it shows.
struct ControlDescription {
  std::uint32_t id = 0;
  std::string label;
  std::string control_class;
  /// Empty when the row has no value.
  std::string data_type;
  /// A number, with a decimal point in every locale, or a text.
  std::string value;
  std::vector<std::string> choices;
  /// The channel of the value's envelope; empty when the value cannot be animated.
  std::string channel_name;
  bool animated = false;
  /// Limits from the panel's hints and, found by describe_module, those that the module clamps a value to.
  std::optional<double> minimum;
  std::optional<double> maximum;
  /// What the choices name in a scene, "cameras" or "objects"; empty when they are the same in every scene. Found by
  /// describe_module.
  std::string choices_of;
  bool divider_below = false;
  /// What the row draws in place of a value, cropped to the height that it paints.
  std::optional<Picture> drawing;

  friend bool operator==(const ControlDescription&, const ControlDescription&) = default;
};

/// One item that a camera keeps in a scene file, and what changes it: parameters by channel name, panel rows by label. An
/// item that is kept but shown nowhere has neither.
struct SavedItemDescription {
  /// "envelope", "float" or "integer" (4 bytes), or another kind of SavedLine.
  std::string kind;
  std::vector<std::string> channel_names;
  std::vector<std::string> labels;

  friend bool operator==(const SavedItemDescription&, const SavedItemDescription&) = default;
};

struct CameraDescription {
  std::string server_name;
  std::string user_name;
  bool depth_of_field = false;
  /// Whether the camera gives the film position of a point in front of it.
  bool projects = false;
  std::vector<ParameterDescription> parameters;
  std::vector<ControlDescription> panel_rows;
  /// In the order of the scene file.
  std::vector<SavedItemDescription> saved_items;

  friend bool operator==(const CameraDescription&, const CameraDescription&) = default;
};

/// One row of the server table; user names by their tags.
struct ServerDescription {
  std::string class_name;
  std::string name;
  std::vector<std::pair<std::uint32_t, std::string>> user_names;

  friend bool operator==(const ServerDescription&, const ServerDescription&) = default;
};

struct ModuleDescription {
  std::vector<ServerDescription> servers;
  std::vector<CameraDescription> cameras;
  /// Cameras that the module has but its table does not offer; their projection is not tried.
  std::vector<CameraDescription> unregistered_cameras;

  friend bool operator==(const ModuleDescription&, const ModuleDescription&) = default;
};

/// The panel's rows in order, with their values at the host's current time. Threads: the panel's.
std::vector<ControlDescription> describe_panel(const Host& host, const Panel& panel);

/// A module's server table, and every camera server described by creating an instance of it on a camera of an empty scene.
/// Ranges, and what is saved for what, are found by setting values on a second instance, beside another camera and an object.
/// No ray is asked for, so no camera publishes its exposure. In this process. Throws std::runtime_error with a sentence for a
/// person.
ModuleDescription describe_module(const std::filesystem::path& module_file);

}  // namespace standin
