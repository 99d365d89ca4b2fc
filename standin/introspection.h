#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace standin {

/// A value that can be animated: `default_value` is what a new instance starts with.
struct ParameterDescription {
  std::string channel_name;
  double default_value = 0.0;
};

/// One row of a camera's panel; `value` is what a new instance shows.
struct PanelRow {
  std::uint32_t id = 0;
  std::string label;
  std::string control_class;
  std::string data_type;
  std::string value;
  std::vector<std::string> choices;
};

struct CameraDescription {
  std::string server_name;
  std::string user_name;
  bool depth_of_field = false;
  std::vector<ParameterDescription> parameters;
  std::vector<PanelRow> panel_rows;
};

/// Every camera server of a module, described by creating an instance of each on a camera of an empty scene. In this
/// process. Throws std::runtime_error with a sentence for a person.
std::vector<CameraDescription> describe_module(const std::filesystem::path& module_file);

}  // namespace standin
