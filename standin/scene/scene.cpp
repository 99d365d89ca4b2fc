#include "standin/scene/scene.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <unordered_map>

#include "standin/scene/scene_keywords.h"

namespace standin {
namespace {

constexpr std::string_view blanks = " \t\r\v\f";

Vec3 rotated(Vec3 v, double heading, double pitch, double bank) {
  const Vec3 banked{v.x * std::cos(bank) - v.y * std::sin(bank), v.x * std::sin(bank) + v.y * std::cos(bank), v.z};
  const Vec3 pitched{banked.x, banked.y * std::cos(pitch) - banked.z * std::sin(pitch),
                     banked.y * std::sin(pitch) + banked.z * std::cos(pitch)};
  return {pitched.x * std::cos(heading) + pitched.z * std::sin(heading), pitched.y,
          pitched.z * std::cos(heading) - pitched.x * std::sin(heading)};
}

/// In the space of the item's parent.
ItemPose pose_in_parent(const Item& item, double time_seconds) {
  std::array<double, 9> channel{};
  std::ranges::transform(item.motion, channel.begin(), [&](const Envelope& e) { return e.at(time_seconds); });
  const auto axis = [&](Vec3 v) { return rotated(v, channel[3], channel[4], channel[5]); };
  ItemPose pose;
  pose.right = axis({channel[6], 0.0, 0.0});
  pose.up = axis({0.0, channel[7], 0.0});
  pose.forward = axis({0.0, 0.0, channel[8]});
  // The scene gives the position of the pivot; the pose has that of the item's own origin.
  pose.position = {channel[0], channel[1], channel[2]};
  pose.position = pose.point_to_world(item.pivot * -1.0);
  return pose;
}

ItemPose within(const ItemPose& parent, const ItemPose& child) {
  return {parent.point_to_world(child.position), parent.direction_to_world(child.right), parent.direction_to_world(child.up),
          parent.direction_to_world(child.forward)};
}

/// Hosts of different years write the angles of a cone in degrees or in radians. A cone that is never wider than a right angle
/// in radians would, in degrees, be narrower than any lamp's.
bool angles_are_degrees(const LightSettings& light) {
  return std::ranges::any_of(light.cone_angle.keys, [](const Key& key) { return key.value > 1.6; });
}

bool ever_not_zero(const Envelope& value) {
  return std::ranges::any_of(value.keys, [](const Key& key) { return key.value != 0.0; });
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(blanks);
  return first == std::string_view::npos ? std::string_view() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view first_word(std::string_view line) {
  const std::string_view text = trimmed(line);
  return text.substr(0, std::min(text.find_first_of(blanks), text.size()));
}

bool starts_scene_section(std::string_view keyword) {
  return std::ranges::find(scene_section_keywords, keyword) != scene_section_keywords.end();
}

bool is_known_keyword(std::string_view keyword) {
  constexpr std::array<std::string_view, 17> others = {
      "LoadObject",   "LoadObjectLayer", "Plugin",        "EndPlugin",  "NumChannels",     "Channel",
      "ParentItem",   "ParentObject",    "PivotPosition", "PivotPoint", "FrameSize",       "ApertureHeight",
      "DepthOfField", "LightColor",      "LightType",     "ShadowType", "LightFalloffType"};
  const auto names = [&](const auto& table) {
    return std::ranges::any_of(table, [&](const auto& row) { return row.name == keyword; });
  };
  return starts_scene_section(keyword) || std::ranges::find(others, keyword) != others.end() || names(frame_keywords) ||
         names(camera_value_keywords) || names(light_value_keywords) || names(camera_number_keywords) ||
         std::ranges::any_of(item_keywords, [&](const ItemKeywords& item) {
           return keyword == item.add || (!item.name.empty() && keyword == item.name) || keyword == item.motion;
         });
}

KeyedColor constant_color(double red, double green, double blue) {
  return {Envelope::constant(red), Envelope::constant(green), Envelope::constant(blue)};
}

Vec3 color_at(const KeyedColor& color, double time_seconds) {
  return {color[0].at(time_seconds), color[1].at(time_seconds), color[2].at(time_seconds)};
}

std::optional<LightKind> LightSettings::kind() const {
  if (type == 0 && !server_name.empty()) {
    const auto server = std::ranges::find(light_servers, server_name);
    return server == light_servers.end() ? std::nullopt : std::optional(static_cast<LightKind>(server - light_servers.begin()));
  }
  const bool known = type >= 0 && static_cast<std::size_t>(type) < light_servers.size();
  return known ? std::optional(static_cast<LightKind>(type)) : std::nullopt;
}

double LightSettings::cone_radians(double time_seconds) const {
  return cone_angle.at(time_seconds) * (angles_are_degrees(*this) ? std::numbers::pi / 180.0 : 1.0);
}

double LightSettings::edge_radians(double time_seconds) const {
  return edge_angle.at(time_seconds) * (angles_are_degrees(*this) ? std::numbers::pi / 180.0 : 1.0);
}

bool LightSettings::shines() const { return ever_not_zero(intensity) && std::ranges::any_of(color, ever_not_zero); }

Motion motion_at_rest() {
  Motion motion;
  for (std::size_t i = 0; i < motion.size(); ++i) motion[i] = Envelope::constant(i < 6 ? 0.0 : 1.0);
  return motion;
}

const Item* Scene::find(std::uint32_t id) const {
  const auto found = std::ranges::find(items, id, &Item::id);
  return found == items.end() ? nullptr : &*found;
}

const Item* Scene::find_camera(std::uint32_t id) const {
  const auto found = std::ranges::find_if(items, [&](const Item& item) { return item.camera.has_value() && item.id == id; });
  return found == items.end() ? nullptr : &*found;
}

const Item* Scene::find_camera(const std::string& name) const {
  const auto found =
      std::ranges::find_if(items, [&](const Item& item) { return item.camera.has_value() && item.name == name; });
  return found == items.end() ? nullptr : &*found;
}

const Item* Scene::current_camera() const {
  const auto first = std::ranges::find_if(items, [](const Item& item) { return item.camera.has_value(); });
  const Item* current = current_camera_id != 0 ? find_camera(current_camera_id) : nullptr;
  if (current != nullptr) return current;
  return first == items.end() ? nullptr : &*first;
}

ItemPose Scene::world_pose(const Item& item, double time_seconds) const {
  ItemPose pose = pose_in_parent(item, time_seconds);
  std::vector<std::uint32_t> met{item.id};
  for (std::uint32_t next = item.parent_id; next != 0 && std::ranges::find(met, next) == met.end();) {
    const Item* parent = find(next);
    if (parent == nullptr) break;
    pose = within(pose_in_parent(*parent, time_seconds), pose);
    met.push_back(next);
    next = parent->parent_id;
  }
  return pose;
}

std::vector<ItemPose> Scene::world_poses(double time_seconds) const {
  constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
  std::unordered_map<std::uint32_t, std::size_t> index;
  for (std::size_t i = 0; i < items.size(); ++i) index.emplace(items[i].id, i);
  const auto parent_of = [&](std::size_t i) {
    const auto found = items[i].parent_id != 0 ? index.find(items[i].parent_id) : index.end();
    return found != index.end() ? found->second : none;
  };
  enum class State : std::uint8_t { unknown, on_the_way, known };
  std::vector<State> states(items.size());
  std::vector<ItemPose> poses(items.size());
  std::vector<std::size_t> chain;
  for (std::size_t i = 0; i < items.size(); ++i) {
    std::size_t next = i;
    for (; next != none && states[next] == State::unknown; next = parent_of(next)) {
      states[next] = State::on_the_way;
      chain.push_back(next);
    }
    // In a loop every item is the first of its own chain.
    const bool loops = next != none && states[next] == State::on_the_way;
    for (; !chain.empty(); chain.pop_back()) {
      const std::size_t item = chain.back();
      const std::size_t parent = parent_of(item);
      if (loops)
        poses[item] = world_pose(items[item], time_seconds);
      else
        poses[item] = parent == none ? pose_in_parent(items[item], time_seconds)
                                     : within(poses[parent], pose_in_parent(items[item], time_seconds));
      states[item] = State::known;
    }
  }
  return poses;
}

std::array<double, 2> film_size(const CameraSettings& camera) {
  const double shape = static_cast<double>(camera.width_pixels) / camera.height_pixels * camera.pixel_aspect.at(0.0);
  return {camera.aperture_height * shape, camera.aperture_height};
}

}  // namespace standin
