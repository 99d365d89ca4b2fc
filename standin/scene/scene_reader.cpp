#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <string_view>
#include <utility>

#include "standin/scene/file_bytes.h"
#include "standin/scene/file_error.h"
#include "standin/scene/scene.h"
#include "standin/scene/scene_keywords.h"

namespace standin {
namespace {

std::vector<std::string_view> split_into_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    while (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    lines.push_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// What follows the first word.
std::string_view rest_of(std::string_view text) { return trimmed(trimmed(text).substr(first_word(text).size())); }

/// An object's name as the host shows it: its file without folders and extension, and the layer unless it is the first.
std::string object_name(std::string_view file, int layer) {
  file.remove_prefix(file.find_last_of("/\\:") + 1);
  std::string name(file.substr(0, file.find_last_of('.')));
  return layer > 1 ? name + ":Layer" + std::to_string(layer) : name;
}

/// Items of one kind with the same name are numbered from 1, as the host shows them.
void make_names_distinct(std::vector<Item>& items) {
  std::map<std::pair<ItemKind, std::string>, int> count;
  for (const Item& item : items) {
    ++count[{item.kind, item.given_name}];
  }
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

class SceneReader {
 public:
  SceneReader(std::string_view text, const std::string& file_name) : file_name_(file_name), lines_(split_into_lines(text)) {}

  Scene read() {
    if (lines_.empty() || trimmed(lines_.front()) != "LWSC") {
      fail("is not a scene: its first line is not LWSC");
    }
    ++next_;
    skip_blank_lines();
    if (at_end()) {
      fail("ends before its version");
    }
    scene_.version = whole_number(lines_[next_], INT32_MIN, INT32_MAX);
    if (scene_.version < 3) {
      fail("scenes of version " + std::to_string(scene_.version) + " cannot be read; save it again with a newer host");
    }
    ++next_;
    for (skip_blank_lines(); !at_end(); skip_blank_lines()) {
      read_statement();
    }
    std::ranges::stable_sort(scene_.items, {}, [](const Item& item) { return file_order(item.kind); });
    make_names_distinct(scene_.items);
    return std::move(scene_);
  }

 private:
  [[noreturn]] void fail(const std::string& reason, std::size_t line) const {
    throw FileError(file_name_, "line " + std::to_string(line + 1), reason);
  }
  [[noreturn]] void fail(const std::string& reason) const { fail(reason, next_); }

  bool at_end() const { return next_ >= lines_.size(); }

  void skip_blank_lines() {
    while (!at_end() && trimmed(lines_[next_]).empty()) {
      ++next_;
    }
  }

  template <class Number, class... Format>
  Number parsed(std::string_view text, Format... format) const {
    Number number{};
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, format...);
    if (text.empty() || result.ec != std::errc() || result.ptr != end) {
      fail("\"" + std::string(text.substr(0, 40)) + "\" is not a number, or not one that is possible here");
    }
    return number;
  }

  int whole_number(std::string_view text, int minimum, int maximum) const {
    const auto number = parsed<int>(trimmed(text));
    if (number < minimum || number > maximum) {
      fail(std::to_string(number) + " is out of range; it must be " + std::to_string(minimum) + " to " +
           std::to_string(maximum));
    }
    return number;
  }

  double real_number(std::string_view text) const {
    const auto number = parsed<double>(trimmed(text));
    if (!std::isfinite(number)) {
      fail("a number is not finite");
    }
    return number;
  }

  double positive_number(std::string_view text) const {
    const double number = real_number(text);
    if (!(number > 0.0)) {
      fail("the number must be greater than 0");
    }
    return number;
  }

  Vec3 vector(std::string_view text) const {
    const std::string_view after_x = rest_of(text);
    return {real_number(first_word(text)), real_number(first_word(after_x)), real_number(rest_of(after_x))};
  }

  /// The first word of the text; the rest is left in `text`.
  static std::string_view take_word(std::string_view& text) {
    const std::string_view word = first_word(text);
    text = rest_of(text);
    return word;
  }

  static bool opens_envelope(std::string_view text) { return first_word(text) == "{" && rest_of(text) == "Envelope"; }

  /// Whether an envelope takes the place of the value after the keyword, on the same line or the next.
  bool holds_envelope(std::string_view rest) const {
    const bool in_next_line = rest.empty() || rest == "(envelope)";
    return opens_envelope(rest) || (in_next_line && next_ + 1 < lines_.size() && opens_envelope(lines_[next_ + 1]));
  }

  Key read_key(std::string_view text) const {
    Key key;
    key.value = real_number(take_word(text));
    key.time_seconds = real_number(take_word(text));
    key.span = static_cast<Span>(whole_number(take_word(text), 0, 5));
    for (double& parameter : key.parameters) {
      if (text.empty()) {
        break;
      }
      parameter = real_number(take_word(text));
    }
    if (!text.empty()) {
      fail("a key has more numbers than value, time, span and six parameters");
    }
    return key;
  }

  /// From the line after the one that opens the block to the line after the one that closes it.
  Envelope read_envelope_block() {
    const std::size_t opening_line = next_ - 1;
    Envelope envelope;
    std::optional<int> count;
    for (skip_blank_lines(); !at_end(); ++next_, skip_blank_lines()) {
      const std::string_view line = lines_[next_];
      const std::string_view keyword = first_word(line);
      if (!count) {
        count = whole_number(line, 0, INT32_MAX);
      } else if (keyword == "Key") {
        envelope.keys.push_back(read_key(rest_of(line)));
      } else if (keyword == "Behaviors") {
        envelope.before = static_cast<EndBehaviour>(whole_number(first_word(rest_of(line)), 0, 5));
        envelope.after = static_cast<EndBehaviour>(whole_number(rest_of(rest_of(line)), 0, 5));
      } else if (trimmed(line) == "}") {
        if (envelope.keys.size() != static_cast<std::size_t>(*count)) {
          fail("the Envelope block announces " + std::to_string(*count) + " keys and holds " +
                   std::to_string(envelope.keys.size()),
               opening_line);
        }
        std::ranges::stable_sort(envelope.keys, {}, &Key::time_seconds);
        ++next_;
        return envelope;
      } else {
        fail("an Envelope block holds a line that is neither Key nor Behaviors");
      }
    }
    fail("the Envelope block is not finished; \"}\" is missing", opening_line);
  }

  Envelope read_value(std::string_view rest) {
    if (!holds_envelope(rest)) {
      Envelope constant = Envelope::constant(real_number(rest));
      ++next_;
      return constant;
    }
    next_ += opens_envelope(rest) ? 1 : 2;
    return read_envelope_block();
  }

  /// Expects the keyword at the start of the next line that is not blank; returns what follows it.
  std::string_view expect(std::string_view keyword, std::size_t because_of_line) {
    skip_blank_lines();
    if (at_end() || first_word(lines_[next_]) != keyword) {
      fail("a motion is not finished; a line with " + std::string(keyword) + " is missing", because_of_line);
    }
    return rest_of(lines_[next_]);
  }

  void read_motion(Motion& motion) {
    const std::size_t opening_line = next_++;
    const int channels = whole_number(expect("NumChannels", opening_line), 0, static_cast<int>(motion.size()));
    ++next_;
    for (int i = 0; i < channels; ++i) {
      const int channel = whole_number(expect("Channel", opening_line), 0, static_cast<int>(motion.size()) - 1);
      ++next_;
      if (expect("{", opening_line) != "Envelope") {
        fail("a channel must be an Envelope block");
      }
      ++next_;
      motion[static_cast<std::size_t>(channel)] = read_envelope_block();
    }
  }

  Item* current_item() { return in_item_ ? &scene_.items.back() : nullptr; }

  std::vector<std::string>& lines_to_keep() {
    if (in_item_) {
      return current_item()->other_lines;
    }
    if (scene_.items.empty()) {
      return scene_.opening_lines;
    }
    const bool objects_only = std::ranges::all_of(scene_.items, [](const Item& item) { return file_order(item.kind) == 0; });
    return objects_only ? scene_.lines_after_objects : scene_.other_lines;
  }

  void keep_lines_until(std::size_t end) {
    auto& kept = lines_to_keep();
    for (; next_ < end; ++next_) {
      kept.emplace_back(lines_[next_]);
    }
  }

  /// The line after the block that the next line opens, however deeply blocks are nested in it.
  std::size_t end_of_block() const {
    std::size_t depth = 0;
    for (std::size_t i = next_; i < lines_.size(); ++i) {
      const std::string_view line = trimmed(lines_[i]);
      if ((line.starts_with('{') && !line.ends_with('}')) || opens_envelope(rest_of(line))) {
        ++depth;
      } else if (line == "}" && --depth == 0) {
        return i + 1;
      }
      if (depth == 0) {
        return i + 1;
      }
    }
    fail("the block is not finished; \"}\" is missing");
  }

  std::size_t end_of_plugin() const {
    for (std::size_t i = next_; i < lines_.size(); ++i) {
      if (trimmed(lines_[i]) == "EndPlugin") {
        return i + 1;
      }
    }
    fail("the Plugin block is not finished; EndPlugin is missing");
  }

  void read_plugin(std::string_view rest) {
    const std::size_t end = end_of_plugin();
    Item* item = current_item();
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
    if (plugin.server_class == "CameraHandler" && !camera.handler) {
      camera.handler = std::move(plugin);
    } else {
      camera.other_plugins.push_back(std::move(plugin));
    }
  }

  Item& add_item(ItemKind kind) {
    Item& item = scene_.items.emplace_back();
    in_item_ = true;
    item.kind = kind;
    item.id = keywords_of(kind).first_id + added_[static_cast<std::size_t>(kind)]++;
    item.given_name = keywords_of(kind).unnamed;
    if (kind == ItemKind::camera) {
      item.camera.emplace();
    } else if (kind == ItemKind::light) {
      item.light.emplace();
    }
    return item;
  }

  std::uint32_t item_id(std::string_view text) const { return parsed<std::uint32_t>(text, 16); }

  bool read_item_start(std::string_view keyword, std::string_view rest) {
    if (keyword == "LoadObjectLayer" || keyword == "LoadObject") {
      Item& item = add_item(ItemKind::object);
      if (keyword == "LoadObjectLayer") {
        item.layer = whole_number(take_word(rest), 1, 65536);
        item.id = item_id(take_word(rest));
      }
      if (rest.empty()) {
        fail("the object's file is missing");
      }
      item.object_file = rest;
      item.given_name = object_name(rest, item.layer);
      return true;
    }
    const auto found = std::ranges::find(item_keywords, keyword, &ItemKeywords::add);
    if (found == item_keywords.end()) {
      return false;
    }
    Item& item = add_item(found->kind);
    // Older files have nulls without an id.
    const std::string_view id = first_word(rest);
    if (id.size() == 8 && id.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos) {
      item.id = item_id(id);
      rest = rest_of(rest);
    }
    if (found->name.empty() && !rest.empty()) {
      item.given_name = rest;
    }
    return true;
  }

  bool read_scene_setting(std::string_view keyword, std::string_view rest) {
    const auto frames = std::ranges::find(frame_keywords, keyword, &Keyword<Scene, int>::name);
    if (frames != frame_keywords.end()) {
      scene_.*frames->member = whole_number(rest, frames->minimum, INT32_MAX);
    } else if (keyword == "FramesPerSecond") {
      scene_.frames_per_second = positive_number(rest);
    } else if (keyword == "AmbientColor") {
      scene_.ambient_color = vector(rest);
    } else if (keyword == "AmbientIntensity") {
      scene_.ambient_intensity = real_number(rest);
    } else {
      return false;
    }
    return true;
  }

  bool read_item_setting(Item& item, std::string_view keyword, std::string_view rest) {
    if (!rest.empty() && keyword == keywords_of(item.kind).name) {
      item.given_name = rest;
    } else if (keyword == "ParentItem") {
      item.parent_id = item_id(rest);
    } else if (keyword == "PivotPosition" || keyword == "Pivot") {
      item.pivot = vector(rest);
    } else if (item.light && keyword == "LightColor") {
      item.light->color = vector(rest);
    } else if (item.light && keyword == "LightType") {
      item.light->type = whole_number(rest, 0, INT32_MAX);
    } else {
      return item.camera && read_camera_setting(*item.camera, keyword, rest);
    }
    return true;
  }

  bool read_camera_setting(CameraSettings& camera, std::string_view keyword, std::string_view rest) const {
    const auto number = std::ranges::find(camera_number_keywords, keyword, &Keyword<CameraSettings, int>::name);
    if (number != camera_number_keywords.end()) {
      camera.*number->member = whole_number(rest, number->minimum, INT32_MAX);
    } else if (keyword == "FrameSize") {
      camera.width_pixels = whole_number(first_word(rest), 1, 1 << 20);
      camera.height_pixels = whole_number(rest_of(rest), 1, 1 << 20);
    } else if (keyword == "ApertureHeight") {
      camera.aperture_height = positive_number(rest);
    } else if (keyword == "DepthOfField") {
      camera.depth_of_field = whole_number(rest, 0, INT32_MAX) != 0;
    } else {
      return false;
    }
    return true;
  }

  /// Settings of the current item that may be animated.
  Envelope* keyed_setting(std::string_view keyword) {
    Item* item = current_item();
    if (item != nullptr && item->light && keyword == "LightIntensity") {
      return &item->light->intensity;
    }
    const auto value = std::ranges::find(camera_value_keywords, keyword, &CameraValue::name);
    return item != nullptr && item->camera && value != camera_value_keywords.end() ? &((*item->camera).*value->member)
                                                                                   : nullptr;
  }

  /// A line that needs no other to be understood.
  bool read_plain_statement(std::string_view keyword, std::string_view rest) {
    return read_item_start(keyword, rest) || read_scene_setting(keyword, rest) ||
           (in_item_ && read_item_setting(*current_item(), keyword, rest));
  }

  void read_statement() {
    const std::string_view line = lines_[next_];
    const std::string_view keyword = first_word(line);
    const std::string_view rest = rest_of(line);
    if (starts_scene_section(keyword)) {
      in_item_ = false;
    }
    if (keyword == "Plugin") {
      read_plugin(rest);
    } else if (Envelope* setting = keyed_setting(keyword)) {
      *setting = read_value(rest);
    } else if (in_item_ && keyword == keywords_of(current_item()->kind).motion) {
      read_motion(current_item()->motion);
    } else if (keyword.starts_with('{') || opens_envelope(rest)) {
      keep_lines_until(end_of_block());
    } else if (!holds_envelope(rest) && read_plain_statement(keyword, rest)) {
      ++next_;
    } else {
      // Not understood, or animated where only a number is supported: the line is kept, and the value does not change.
      keep_lines_until(next_ + 1);
    }
  }

  const std::string& file_name_;
  std::vector<std::string_view> lines_;
  std::size_t next_ = 0;
  Scene scene_;
  bool in_item_ = false;
  std::array<std::uint32_t, item_keywords.size()> added_{};
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
