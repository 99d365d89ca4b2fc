#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace standin {

/// A value that can be animated: `default_value` is what a new instance starts with.
struct ParameterDescription {
  std::string channel_name;
  double default_value = 0.0;

  friend bool operator==(const ParameterDescription&, const ParameterDescription&) = default;
};

/// One row of a camera's panel; `value` is what a new instance shows.
struct PanelRow {
  std::uint32_t id = 0;
  std::string label;
  std::string control_class;
  std::string data_type;
  std::string value;
  std::vector<std::string> choices;

  friend bool operator==(const PanelRow&, const PanelRow&) = default;
};

struct CameraDescription {
  std::string server_name;
  std::string user_name;
  bool depth_of_field = false;
  std::vector<ParameterDescription> parameters;
  std::vector<PanelRow> panel_rows;

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

  friend bool operator==(const ModuleDescription&, const ModuleDescription&) = default;
};

/// A module's server table, and every camera server described by creating an instance of it on a camera of an empty scene. In
/// this process. Throws std::runtime_error with a sentence for a person.
ModuleDescription describe_module(const std::filesystem::path& module_file);

}  // namespace standin
