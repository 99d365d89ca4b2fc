#include "standin/scene/scene.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>
#include <system_error>

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
  const auto turned = [&](Vec3 v) { return parent.right * v.x + parent.up * v.y + parent.forward * v.z; };
  return {parent.point_to_world(child.position), turned(child.right), turned(child.up), turned(child.forward)};
}

bool same_letters(const std::string& a, const std::string& b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

/// The file of that relative path under the folder, names compared without regard to case; empty when it is not there. Where
/// names differ by their case alone, the one as written is tried first.
std::filesystem::path find_in_folder(const std::filesystem::path& folder, std::span<const std::string> names) {
  std::error_code error;
  if (names.empty()) return std::filesystem::is_regular_file(folder, error) ? folder : std::filesystem::path();
  const auto rest = names.subspan(1);
  if (const auto exact = folder / names.front(); std::filesystem::exists(exact, error)) {
    if (auto found = find_in_folder(exact, rest); !found.empty()) return found;
  }
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name != names.front() && same_letters(name, names.front())) {
      if (auto found = find_in_folder(entry->path(), rest); !found.empty()) return found;
    }
  }
  return {};
}

std::vector<std::string> split_at_slashes(const std::string& written) {
  std::vector<std::string> names(1);
  for (const char c : written)
    if (c != '/' && c != '\\')
      names.back() += c;
    else if (!names.back().empty())
      names.emplace_back();
  // The host also writes a path on a drive without a slash after the colon.
  const std::size_t colon = names.front().find(':');
  if (colon != std::string::npos && colon + 1 < names.front().size()) {
    std::string after = names.front().substr(colon + 1);
    names.front().resize(colon + 1);
    names.insert(names.begin() + 1, std::move(after));
  }
  return names;
}

/// Hosts of different years write the angles of a cone in degrees or in radians. A cone that is never wider than a right angle
/// in radians would, in degrees, be narrower than any lamp's.
bool angles_are_degrees(const LightSettings& light) {
  return std::ranges::any_of(light.cone_angle.keys, [](const Key& key) { return key.value > 1.6; });
}

bool ever_not_zero(const Envelope& value) {
  return std::ranges::any_of(value.keys, [](const Key& key) { return key.value != 0.0; });
}

std::filesystem::path find_object_file(const Scene& scene, const std::string& written) {
  std::string with_slashes = written;
  std::ranges::replace(with_slashes, '\\', '/');
  const std::filesystem::path as_written(with_slashes);
  if (as_written.is_absolute()) {
    auto found = find_in_folder(as_written.root_path(), split_at_slashes(as_written.relative_path().string()));
    if (!found.empty()) return found;
  }
  // The end of a path from another machine is its place in the content folder, so leading names are dropped one by one.
  const std::vector<std::string> names = split_at_slashes(written);
  std::vector<std::filesystem::path> folders{std::filesystem::absolute(scene.folder.empty() ? "." : scene.folder)};
  if (!scene.content_folder.empty())
    folders.push_back(std::filesystem::absolute(scene.content_folder));
  else
    while (folders.back() != folders.back().parent_path()) folders.push_back(folders.back().parent_path());
  for (std::span<const std::string> tail = names; !tail.empty(); tail = tail.subspan(1)) {
    for (const auto& folder : folders) {
      auto found = find_in_folder(folder, tail);
      if (!found.empty()) return found;
    }
  }
  return {};
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

const Item* Scene::find_camera(const std::string& name) const {
  const auto found =
      std::ranges::find_if(items, [&](const Item& item) { return item.camera.has_value() && item.name == name; });
  return found == items.end() ? nullptr : &*found;
}

const Item* Scene::current_camera() const {
  const auto first = std::ranges::find_if(items, [](const Item& item) { return item.camera.has_value(); });
  const Item* current = current_camera_id != 0 ? find(current_camera_id) : nullptr;
  if (current != nullptr && current->camera) return current;
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

std::array<double, 2> film_size(const CameraSettings& camera) {
  const double shape = static_cast<double>(camera.width_pixels) / camera.height_pixels * camera.pixel_aspect.at(0.0);
  return {camera.aperture_height * shape, camera.aperture_height};
}

std::filesystem::path resolve_object_file(const Scene& scene, const std::string& written) {
  if (written.empty()) return {};
  try {
    return find_object_file(scene, written);
  } catch (const std::system_error&) {
    // A name that this system cannot represent is not that of a file here.
    return {};
  }
}

}  // namespace standin
