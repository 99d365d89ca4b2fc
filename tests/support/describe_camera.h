#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/stage.h"

// The words in which a camera's facts are written. A file NAME_facts.cpp in the camera's folder describes it with them, from
// what the camera is meant to be and not from its source, and adds it to those that every test of all cameras goes through.

namespace test_support {

/// While the program starts, adds a camera to `all_cameras`. A failure ends the program: nothing could catch it there.
class OneOfAllCameras {
 public:
  explicit OneOfAllCameras(CameraFacts (*describe)()) noexcept;
};

inline constexpr const char* version_text = "v4.0.0.22 Oct 28 2026";

SavedFacts envelope(const std::string& channel);
SavedFacts word(double default_value);
SavedFacts reserved();
SavedFacts number(const std::string& channel, double default_value);

/// Adds the panel's rows one after the other.
struct Rows {
  CameraFacts& camera;

  Rows& logo(std::uint32_t id) {
    camera.controls.push_back({id, "Logo", "dThumbnail", "", ""});
    camera.values.push_back({id, ValueFacts::Kind::none, "", 0.0});
    return *this;
  }
  Rows& text(std::uint32_t id, const std::string& label, const std::string& shown) {
    camera.controls.push_back({id, label, "sInfo", label, "string"});
    camera.values.push_back({id, ValueFacts::Kind::text, shown, 0.0});
    return *this;
  }
  Rows& version(std::uint32_t id) { return text(id, "Version", version_text); }
  Rows& envelope(std::uint32_t id, const std::string& label, const std::string& control_class, const std::string& channel,
                 const std::string& data_name, const std::string& data_type) {
    camera.controls.push_back({id, label, control_class, data_name, data_type});
    return hidden_envelope(id, channel);
  }
  Rows& envelope(std::uint32_t id, const std::string& label, const std::string& control_class, const std::string& channel) {
    return envelope(id, label, control_class, channel, label, control_class);
  }
  Rows& zoom(std::uint32_t id) { return envelope(id, "ZoomFactor", "zoomfactor-env", "ZoomFactor", "ZoomFactor", "float-env"); }
  Rows& word(std::uint32_t id, const std::string& label, const std::string& control_class, double default_value,
             const std::string& data_name) {
    camera.controls.push_back({id, label, control_class, data_name, "integer"});
    return hidden_word(id, default_value);
  }
  Rows& word(std::uint32_t id, const std::string& label, const std::string& control_class, double default_value) {
    return word(id, label, control_class, default_value, label);
  }
  Rows& number(std::uint32_t id, const std::string& label, double default_value) {
    camera.controls.push_back({id, label, "float", label, "float"});
    camera.values.push_back({id, ValueFacts::Kind::number, "", default_value});
    return *this;
  }
  Rows& photographic() {
    return number(0x8014, "ISO", 800.0).number(0x8015, "Iris (f-stop)", 2.8).number(0x8016, "Shutter Angle", 180.0);
  }
  Rows& hidden_envelope(std::uint32_t id, const std::string& channel) {
    camera.values.push_back({id, ValueFacts::Kind::envelope, channel, 0.0});
    return *this;
  }
  Rows& hidden_word(std::uint32_t id, double default_value) {
    camera.values.push_back({id, ValueFacts::Kind::word, "", default_value});
    return *this;
  }
  Rows& hidden_text(std::uint32_t id, const std::string& shown) {
    camera.values.push_back({id, ValueFacts::Kind::text, shown, 0.0});
    return *this;
  }
};

CameraFacts named(const std::string& server_name, const std::string& user_name, const std::string& name_space,
                  const std::string& tag_table, const std::string& description, unsigned flags);

/// A camera of tiles, whose names and labels these are.
CameraFacts tiles(CameraFacts camera, const std::vector<std::pair<std::string, std::string>>& names_and_labels);
/// Names and labels of tiles in rows and columns.
std::vector<std::pair<std::string, std::string>> grid_names(int rows, int columns);

/// The advanced panoramic camera and the immersive one have the same parameters.
void add_panorama_parameters(CameraFacts& camera, double upper_angle_radians);

}  // namespace test_support
