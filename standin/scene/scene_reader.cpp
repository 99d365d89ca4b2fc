#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "standin/scene/file_bytes.h"
#include "standin/scene/file_error.h"
#include "standin/scene/scene.h"
#include "standin/scene/scene_keywords.h"
#include "standin/scene/scene_values.h"

namespace standin {
namespace {

/// An object's name as the host shows it: its file without folders and extension, and the layer unless it is the first.
std::string object_name(std::string_view file, int layer) {
  file.remove_prefix(file.find_last_of("/\\:") + 1);
  std::string name(file.substr(0, file.find_last_of('.')));
  return layer > 1 ? name + ":Layer" + std::to_string(layer) : name;
}

/// Items of one kind with the same name are numbered from 1, as the host shows them.
void make_names_distinct(std::vector<Item>& items) {
  std::map<std::pair<ItemKind, std::string>, int> count;
  for (const Item& item : items) ++count[{item.kind, item.given_name}];
  std::map<std::pair<ItemKind, std::string>, int> number;
  for (Item& item : items) {
    item.name = item.given_name;
    if (count[{item.kind, item.given_name}] > 1) {
      do {
        item.name = item.given_name + " (" + std::to_string(++number[{item.kind, item.given_name}]) + ")";
      } while (count.contains({item.kind, item.name}));
    }
  }
}

bool is_item_id(std::string_view word) {
  return word.size() == 8 && word.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos;
}

/// Keywords of what the picture would follow and does not, with what happens instead.
constexpr std::array not_followed = {
    std::pair<std::string_view, std::string_view>{"TargetItem", "an item is not turned towards its target"},
    std::pair<std::string_view, std::string_view>{"TargetObject", "an item is not turned towards its target"},
    std::pair<std::string_view, std::string_view>{"PivotRotation", "the rotation of a pivot is not applied"},
};

class SceneReader : private SceneValues {
 public:
  SceneReader(std::string_view text, const std::string& file_name) : SceneValues(text, file_name) {}

  Scene read() {
    if (lines_.empty() || trimmed(lines_.front()) != "LWSC") fail("is not a scene: its first line is not LWSC");
    ++next_;
    skip_blank_lines();
    if (at_end()) fail("ends before its version");
    scene_.version = whole_number(lines_[next_], INT32_MIN, INT32_MAX);
    if (scene_.version < 1)
      fail("there are no scenes of version " + std::to_string(scene_.version) + "; save it again with the host");
    if (scene_.version > newest_version) {
      warn("version", "scenes of version " + std::to_string(scene_.version) + " are read as those of version " +
                          std::to_string(newest_version));
    }
    version_ = scene_.version;
    ++next_;
    find_old_frame_rate();
    make_room_for_items();
    for (skip_blank_lines(); !at_end(); skip_blank_lines()) {
      const std::size_t first = next_;
      read_statement();
      note_place(first);
    }
    make_ids_distinct();
    attach_items();
    choose_current_camera();
    std::ranges::stable_sort(scene_.items, {}, [](const Item& item) { return file_order(item.kind); });
    make_names_distinct(scene_.items);
    scene_.notes.warnings = std::move(warnings_);
    return std::move(scene_);
  }

 private:
  static constexpr int newest_version = 5;
  /// Every item takes some kilobytes, however short its line is.
  static constexpr std::size_t most_items = 65536;

  Vec3 vector(std::string_view text) {
    const double x = real_number(take_word(text));
    const double y = real_number(take_word(text));
    return {x, y, real_number(text)};
  }

  void find_old_frame_rate() {
    const auto line = std::ranges::find_if(lines_, [](std::string_view each) { return first_word(each) == "FramesPerSecond"; });
    if (is_old() && line != lines_.end()) {
      const std::size_t here = next_;
      next_ = static_cast<std::size_t>(line - lines_.begin());
      old_frames_per_second_ = positive_number(rest_of(*line));
      next_ = here;
    }
  }

  void make_room_for_items() {
    std::size_t count = 0;
    for (std::size_t line = next_; line < lines_.size(); ++line) {
      if (!starts_item(first_word(lines_[line]))) continue;
      if (++count > most_items)
        fail("holds more than " + std::to_string(most_items) + " items; split it into several scenes", line);
    }
    scene_.items.reserve(count + 1);
  }

  static bool starts_item(std::string_view keyword) {
    return keyword == "LoadObjectLayer" || keyword == "LoadObject" ||
           std::ranges::find(item_keywords, keyword, &ItemKeywords::add) != item_keywords.end();
  }

  /// Everything that refers to an item does so by its ID. Of two with the same one, the first is meant.
  void make_ids_distinct() {
    std::set<std::uint32_t> used{0};
    std::vector<Item*> doubles;
    for (Item& item : scene_.items)
      if (!used.insert(item.id).second) doubles.push_back(&item);
    std::array<std::uint32_t, item_keywords.size()> next{};
    for (Item* item : doubles) {
      warn("id", "the id " + id_text(item->id) + " of \"" + item->given_name +
                     "\" is not its own; it gets another one, and whatever names this id means the first item that has it");
      do item->id = keywords_of(item->kind).first_id + next[static_cast<std::size_t>(item->kind)]++;
      while (!used.insert(item->id).second);
    }
  }

  static std::string id_text(std::uint32_t id) {
    std::array<char, 8> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), id, 16).ptr};
  }

  std::vector<const Item*> items_of(ItemKind kind) const {
    std::vector<const Item*> items;
    for (const Item& item : scene_.items)
      if (item.kind == kind) items.push_back(&item);
    return items;
  }

  void attach_items() {
    const std::vector<const Item*> objects = items_of(ItemKind::object);
    for (const auto& [item, number] : parent_numbers_) {
      if (static_cast<std::size_t>(number) <= objects.size()) {
        scene_.items[item].parent_id = objects[static_cast<std::size_t>(number) - 1]->id;
      } else {
        warn("parent number", "\"" + scene_.items[item].given_name + "\" is attached to object " + std::to_string(number) +
                                  ", which is not in the scene; it stands by itself");
      }
    }
    std::unordered_map<std::uint32_t, std::size_t> index;
    for (std::size_t i = 0; i < scene_.items.size(); ++i) index.emplace(scene_.items[i].id, i);
    for (const Item& item : scene_.items)
      if (item.parent_id != 0 && !index.contains(item.parent_id))
        warn("parent", "\"" + item.given_name + "\" is attached to an item that is not in the scene; it stands by itself");
    break_loops(index);
  }

  /// An item that is attached to itself by way of its parents has no place of its own.
  void break_loops(const std::unordered_map<std::uint32_t, std::size_t>& index) {
    // For every item, the walk in which it was first met.
    std::vector<std::size_t> walk(scene_.items.size());
    for (std::size_t first = 0; first < scene_.items.size(); ++first) {
      Item* before = nullptr;
      for (std::size_t next = first;;) {
        if (walk[next] != 0) {
          if (walk[next] == first + 1 && before != nullptr) {
            warn("loop", "\"" + before->given_name + "\" is attached to itself by way of its parents; it stands by itself");
            before->parent_id = 0;
          }
          break;
        }
        walk[next] = first + 1;
        before = &scene_.items[next];
        const auto parent = index.find(before->parent_id);
        if (before->parent_id == 0 || parent == index.end()) break;
        next = parent->second;
      }
    }
  }

  void choose_current_camera() {
    if (current_camera_.empty()) return;
    const Item* camera = nullptr;
    if (is_item_id(current_camera_)) {
      camera = scene_.find_camera(item_id(current_camera_));
    } else {
      const std::vector<const Item*> cameras = items_of(ItemKind::camera);
      int number = -1;
      std::from_chars(current_camera_.data(), current_camera_.data() + current_camera_.size(), number);
      if (number >= 0 && static_cast<std::size_t>(number) < cameras.size()) camera = cameras[static_cast<std::size_t>(number)];
    }
    if (camera != nullptr) {
      scene_.current_camera_id = camera->id;
    } else if (scene_.current_camera() != nullptr) {
      warn("CurrentCamera", "the current camera \"" + std::string(current_camera_.substr(0, 40)) +
                                "\" is not in the scene; the first one is taken in its place");
    }
  }

  Item* current_item() { return in_item_ ? &scene_.items.back() : nullptr; }

  std::vector<std::string>& lines_to_keep() {
    if (in_item_) return current_item()->other_lines;
    if (scene_.items.empty()) return scene_.opening_lines;
    return holds_objects_only_ ? scene_.lines_after_objects : scene_.other_lines;
  }

  void keep_lines_until(std::size_t end) {
    auto& kept = lines_to_keep();
    for (; next_ < end; ++next_) kept.emplace_back(lines_[next_]);
  }

  void read_plugin(std::string_view rest) {
    const std::size_t end = end_of_plugin();
    Item* item = current_item();
    if (item != nullptr && item->light && first_word(rest) == "LightHandler") item->light->server_name = rest_of(rest_of(rest));
    if (item == nullptr || !item->camera) {
      keep_lines_until(end);
      return;
    }
    PluginBlock plugin;
    plugin.server_class = take_word(rest);
    plugin.slot = whole_number(take_word(rest), 0, INT32_MAX);
    plugin.server_name = rest;
    plugin.saved_lines.assign(lines_.begin() + static_cast<std::ptrdiff_t>(next_) + 1,
                              lines_.begin() + static_cast<std::ptrdiff_t>(end) - 1);
    next_ = end;
    CameraSettings& camera = *item->camera;
    if (plugin.server_class == "CameraHandler" && !camera.handler)
      camera.handler = std::move(plugin);
    else
      camera.other_plugins.push_back(std::move(plugin));
  }

  Item& add_item(ItemKind kind) {
    Item& item = scene_.items.emplace_back();
    in_item_ = true;
    holds_objects_only_ = holds_objects_only_ && file_order(kind) == 0;
    if (kind == ItemKind::camera && !first_camera_) first_camera_ = scene_.items.size() - 1;
    item.kind = kind;
    item.id = keywords_of(kind).first_id + added_[static_cast<std::size_t>(kind)]++;
    item.given_name = keywords_of(kind).unnamed;
    other_lines_before_ = 0;
    if (kind == ItemKind::camera)
      item.camera.emplace();
    else if (kind == ItemKind::light)
      item.light.emplace();
    return item;
  }

  std::uint32_t item_id(std::string_view text) const { return parsed<std::uint32_t>(text, 16); }

  bool read_item_start(std::string_view keyword, std::string_view rest) {
    // Versions before 4 know their items by their order alone, and a name may look like an ID.
    const bool has_ids = version_ >= 4;
    if (keyword == "LoadObjectLayer" || keyword == "LoadObject") {
      Item& item = add_item(ItemKind::object);
      if (keyword == "LoadObjectLayer") {
        item.layer = whole_number(take_word(rest), 1, 65536);
        item.id = has_ids ? item_id(take_word(rest)) : item.id;
      }
      if (rest.empty()) fail("the object's file is missing");
      item.object_file = rest;
      item.given_name = object_name(rest, item.layer);
      return true;
    }
    const auto found = std::ranges::find(item_keywords, keyword, &ItemKeywords::add);
    if (found == item_keywords.end()) return false;
    Item& item = add_item(found->kind);
    // Some files of newer versions name a null without an ID.
    if (has_ids && is_item_id(first_word(rest))) item.id = item_id(take_word(rest));
    if (found->name.empty() && !rest.empty()) item.given_name = rest;
    return true;
  }

  bool read_scene_setting(std::string_view keyword, std::string_view rest) {
    const auto frames = std::ranges::find(frame_keywords, keyword, &Keyword<Scene, int>::name);
    if (frames != frame_keywords.end())
      scene_.*frames->member = whole_number(rest, frames->minimum, INT32_MAX);
    else if (keyword == "FramesPerSecond")
      scene_.frames_per_second = positive_number(rest);
    else
      return false;
    return true;
  }

  /// By ID; or by its number among the objects, from 1, which older files write.
  void read_parent(std::string_view rest) {
    if (is_item_id(rest)) {
      current_item()->parent_id = item_id(rest);
      return;
    }
    const int number = whole_number(rest, INT32_MIN, INT32_MAX);
    if (number > 0) parent_numbers_.emplace_back(scene_.items.size() - 1, number);
  }

  bool read_item_setting(Item& item, std::string_view keyword, std::string_view rest) {
    if (!rest.empty() && keyword == keywords_of(item.kind).name)
      item.given_name = rest;
    else if (keyword == "ParentItem" || keyword == "ParentObject")
      read_parent(rest);
    else if (keyword == "PivotPosition" || keyword == "PivotPoint" || keyword == "Pivot")
      item.pivot = vector(rest);
    else if (item.light)
      return read_light_setting(*item.light, keyword, rest);
    else
      return false;
    return true;
  }

  bool read_light_setting(LightSettings& light, std::string_view keyword, std::string_view rest) {
    constexpr int fall_off_count = 4;
    if (keyword == "LightType") {
      light.type = kind_number(rest, static_cast<int>(light_servers.size()), "the light type", "it shines as a point light");
    } else if (keyword == "LightFalloffType") {
      light.fall_off = kind_number(rest, fall_off_count, "the light fall-off", "such lights do not fall off");
    } else if (keyword == "ShadowType" || keyword == "ShadowCasting") {
      constexpr int shadow_count = 4;
      light.shadow_type = kind_number(rest, shadow_count, "the shadow type", "such lights cast traced shadows");
    } else {
      return false;
    }
    return true;
  }

  bool read_camera_setting(CameraSettings& camera, std::string_view keyword, std::string_view rest) {
    const auto number = std::ranges::find(camera_number_keywords, keyword, &Keyword<CameraSettings, int>::name);
    if (number != camera_number_keywords.end()) {
      camera.*number->member = whole_number(rest, number->minimum, INT32_MAX);
    } else if (keyword == "FrameSize") {
      camera.width_pixels = whole_number(first_word(rest), 1, 1 << 20);
      camera.height_pixels = whole_number(rest_of(rest), 1, 1 << 20);
    } else if (keyword == "ApertureHeight") {
      camera.aperture_height = positive_number(rest);
    } else if (keyword == "DepthOfField" || keyword == "DepthofField") {
      camera.depth_of_field = whole_number(rest, 0, INT32_MAX) != 0;
    } else {
      return false;
    }
    return true;
  }

  /// The camera that a line describes: the item it stands in. Versions 1 and 2 have one camera, which no line adds, and whose
  /// settings stand among the scene's.
  Item* described_camera() {
    if (!is_old()) {
      Item* item = current_item();
      return item != nullptr && item->camera ? item : nullptr;
    }
    return first_camera_ ? &scene_.items[*first_camera_] : nullptr;
  }

  void begin_unadded_camera() {
    const Item* camera = described_camera();
    if (is_old() && camera != nullptr && camera == &scene_.items.back())
      in_item_ = true;
    else
      add_item(ItemKind::camera);
  }

  bool read_camera_line(std::string_view keyword, std::string_view rest) {
    Item* item = described_camera();
    return item != nullptr && read_camera_setting(*item->camera, keyword, rest);
  }

  std::span<Envelope> keyed_setting_of_light(LightSettings& light, std::string_view keyword) {
    if (keyword == "LightColor") return light.color;
    const auto value = std::ranges::find_if(light_value_keywords, [&](const LightValue& each) {
      return each.name == keyword || (!each.older_name.empty() && each.older_name == keyword);
    });
    if (value != light_value_keywords.end()) return {&(light.*value->member), 1};
    return keyword == "Falloff" && is_old() ? std::span(&light.range, 1) : std::span<Envelope>();
  }

  /// Settings that may be keyed, of the scene, the current item or the camera that the line describes; none for other keywords.
  std::span<Envelope> keyed_setting(std::string_view keyword) {
    if (keyword == "AmbientColor") return scene_.ambient_color;
    if (keyword == "AmbientIntensity" || keyword == "AmbIntensity") return {&scene_.ambient_intensity, 1};
    if (keyword == "GlobalLightIntensity") return {&scene_.light_intensity, 1};
    Item* item = current_item();
    if (item != nullptr && keyword == "ItemActive") return {&item->active, 1};
    if (item != nullptr && item->light) {
      const std::span<Envelope> found = keyed_setting_of_light(*item->light, keyword);
      if (!found.empty()) return found;
    }
    const auto value = std::ranges::find(camera_value_keywords, keyword, &CameraValue::name);
    Item* camera = value != camera_value_keywords.end() ? described_camera() : nullptr;
    return camera != nullptr ? std::span(&((*camera->camera).*value->member), 1) : std::span<Envelope>();
  }

  void read_keyed_setting(std::string_view keyword, std::string_view rest, std::span<Envelope> setting) {
    if (!holds_envelope(rest) && holds_unknown_block(rest)) {
      warn("block after " + std::string(keyword),
           "the kind of value that " + std::string(keyword) + " has here is not known; it is passed over");
      keep_lines_until(opens_block_after_keyword(lines_[next_]) ? end_of_block() : next_ + 1);
      return;
    }
    read_values(rest, setting);
    if (!is_old()) return;
    const auto change_keys = [&](auto change) {
      for (Envelope& envelope : setting) std::ranges::for_each(envelope.keys, [&](Key& key) { key.value = change(key.value); });
    };
    if (keyword == "LightColor" || keyword == "AmbientColor") {
      change_keys([](double value) { return value / 255.0; });
    } else if (keyword == "Falloff") {
      // The share of the light that is lost with every metre.
      const bool falls_off = std::ranges::any_of(setting[0].keys, [](const Key& key) { return key.value > 0.0; });
      current_item()->light->fall_off = static_cast<int>(falls_off ? FallOff::linear : FallOff::off);
      change_keys([](double value) { return value > 1e-9 ? 1.0 / value : 1e9; });
    }
  }

  /// A line that needs no other to be understood.
  bool read_plain_statement(std::string_view keyword, std::string_view rest) {
    return read_item_start(keyword, rest) || read_scene_setting(keyword, rest) || read_camera_line(keyword, rest) ||
           (in_item_ && read_item_setting(*current_item(), keyword, rest));
  }

  void tell_of_what_is_not_followed(std::string_view keyword, std::string_view rest) {
    const auto found = std::ranges::find(not_followed, keyword, [](const auto& each) { return each.first; });
    const bool matters = rest.find_first_not_of("0. -") != std::string_view::npos;
    if (in_item_ && found != not_followed.end() && matters)
      warn(std::string(keyword), std::string(keyword) + ": " + std::string(found->second));
  }

  /// What has just been read, from that line on.
  void note_place(std::size_t first) {
    Item* item = current_item();
    if (item == nullptr || !item->camera) return;
    const bool is_understood = item->other_lines.size() == std::exchange(other_lines_before_, item->other_lines.size());
    if (!is_understood) return;
    CameraPlaces& places = item->camera->places;
    places.end = next_;
    const std::string_view keyword = first_word(lines_[first]);
    const LineRange range{first, next_};
    if (keyword == keywords_of(ItemKind::camera).motion) places.motion = range;
    if (keyword == "ZoomFactor") places.zoom_factor = range;
    if (keyword == "FrameSize") places.frame_size = range;
    if (keyword == "Plugin" && item->camera->handler && !places.handler) places.handler = range;
  }

  void read_statement() {
    const std::string_view line = lines_[next_];
    const std::string_view keyword = first_word(line);
    const std::string_view rest = rest_of(line);
    if (starts_scene_section(keyword)) in_item_ = false;
    const bool of_camera = keyword == "ShowCamera" || keyword == "CameraMotion";
    if (of_camera && version_ <= 3 && (!in_item_ || !current_item()->camera)) begin_unadded_camera();
    if (keyword == "CurrentCamera") current_camera_ = rest;
    tell_of_what_is_not_followed(keyword, rest);
    if (keyword == "Plugin") {
      read_plugin(rest);
    } else if (const std::span<Envelope> setting = keyed_setting(keyword); !setting.empty()) {
      read_keyed_setting(keyword, rest, setting);
    } else if (in_item_ && keyword == keywords_of(current_item()->kind).motion) {
      read_motion(current_item()->motion);
    } else if (keyword.starts_with('{') || opens_block_after_keyword(line)) {
      keep_lines_until(end_of_block());
    } else if (!holds_envelope(rest) && read_plain_statement(keyword, rest)) {
      ++next_;
    } else {
      // Not understood, or animated where only a number is supported: the line is kept, and the value does not change.
      keep_lines_until(next_ + 1);
    }
  }

  Scene scene_;
  bool in_item_ = false;
  /// Of the camera that is being read.
  std::size_t other_lines_before_ = 0;
  bool holds_objects_only_ = true;
  std::optional<std::size_t> first_camera_;
  std::array<std::uint32_t, item_keywords.size()> added_{};
  /// Items by their index, and the number of the object that each is attached to.
  std::vector<std::pair<std::size_t, int>> parent_numbers_;
  std::string_view current_camera_;
};

}  // namespace

Scene read_scene(const std::string& text, const std::string& name) { return SceneReader(text, name).read(); }

Scene read_scene_file(const std::filesystem::path& file) {
  Scene scene = read_scene(read_file_bytes(file), file.string());
  std::error_code error;
  scene.folder = std::filesystem::absolute(file, error).parent_path();
  return scene;
}

}  // namespace standin
